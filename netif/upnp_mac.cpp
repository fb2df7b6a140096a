// upnp_mac.cpp - MAC addresses of this machine and of its neighbours.

#include "netif/upnp_netif.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_thread.h"

#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

static constexpr char no_mac[UPNP_MAC_SIZE] = "00:00:00:00:00:00";

static constexpr size_t   MAC_BYTES = 6;
static constexpr int32_t  MAX_MAC_INTERFACES = 5;
static constexpr uint32_t MAX_ARP_INDEX = 15;
static constexpr int32_t  ARP_ATTEMPTS = 5;
static constexpr int32_t  ARP_WAIT_MS = 100;

// Every byte of the identity of a machine without a MAC.
static constexpr int MAC_FILLER = 0x42;

// Opens the socket for a question about one interface and puts the name into
// the record; -1 on failure.
static int32_t init_ifreq(struct ifreq *request, const char *name)
{
    int32_t fd;

    if (!name || strlen(name) >= IFNAMSIZ) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "init_ifreq",
                      "illegal interface name: %s", name ? name : "<null>");
        return -1;
    }

    *request = {};
    memcpy(request->ifr_name, name, strlen(name));
    fd = upnp_socket_create_tcp();
    if (fd == -1) {
        perror("socket");
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "init_ifreq",
                      "could not create socket");
    }
    return fd;
}

// Asks the kernel's ARP table what it knows of a peer behind one interface.
static bool look_up_peer(const char *ip, const char *device, char *text)
{
    struct sockaddr_in address = {};
    struct arpreq      request = {};
    uint8_t            mac[MAC_BYTES];
    int32_t            fd;
    int                result;

    address.sin_family = AF_INET;
    if (!inet_aton(ip, &address.sin_addr))
        return false;
    memcpy(&request.arp_pa, &address, sizeof(address));
    snprintf(request.arp_dev, sizeof(request.arp_dev), "%s", device);

    fd = upnp_socket_create_udp();
    if (fd == -1)
        return false;
    result = ioctl(fd, SIOCGARP, &request);
    close(fd);
    if (result == -1)
        return false;

    memcpy(mac, request.arp_ha.sa_data, sizeof(mac));
    snprintf(text, UPNP_MAC_SIZE, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0],
             mac[1], mac[2], mac[3], mac[4], mac[5]);
    return strcmp(text, no_mac) != 0;
}

static bool look_up_peer_everywhere(const char *ip, char *text)
{
    char device[IF_NAMESIZE];

    for (uint32_t index = 0; index <= MAX_ARP_INDEX; ++index) {
        if (!if_indextoname(index, device))
            continue;
        if (!*ip || strcmp(ip, "127.0.0.1") == 0)
            *text = '\0';
        else if (look_up_peer(ip, device, text))
            return true;
    }
    return false;
}

// Meant to make the kernel resolve a peer, so that its ARP table knows it the
// next time. A system that refuses port 0, as Linux does, leaves it at that.
static void wake_arp(const char *ip)
{
    static constexpr uint8_t packet[8] = {};
    int32_t                  fd = upnp_socket_create_udp();

    if (fd == -1)
        return;
    upnp_sendto(fd, packet, sizeof(packet), ip, 0);
    close(fd);
}

char *get_mac_address(const char *interfaceName, char *textOut,
                      int32_t textSize)
{
    struct ifreq request;
    uint8_t      mac[MAC_BYTES];
    int32_t      fd = init_ifreq(&request, interfaceName);
    int          result;

    if (fd == -1)
        return nullptr;
    result = ioctl(fd, SIOCGIFHWADDR, &request);
    if (result == -1) {
        perror("ioctl(GetHwAddr)");
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "get_mac_address",
                      "Could not get MAC address of interface %s",
                      interfaceName);
    }
    close(fd);
    if (result == -1 || !textOut || textSize < 1)
        return nullptr;

    memcpy(mac, request.ifr_hwaddr.sa_data, sizeof(mac));
    snprintf(textOut, static_cast<size_t>(textSize),
             "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
             mac[4], mac[5]);
    textOut[textSize - 1] = '\0';
    return textOut;
}

int32_t upnp_get_mac(uint8_t *macOut)
{
    std::array<struct ifreq, MAX_MAC_INTERFACES> entries;
    char                                         text[UPNP_MAC_SIZE];
    int32_t                                      count;
    int32_t                                      i;

    if (!macOut)
        return -1;
    memset(macOut, MAC_FILLER, MAC_BYTES);
    memcpy(text, no_mac, sizeof(text));

    count = get_interface_addresses(entries.data(), sizeof(entries));
    for (i = 0; i < count; ++i) {
        get_mac_address(entries[static_cast<size_t>(i)].ifr_name, text,
                        sizeof(text));
        if (memcmp(text, no_mac, sizeof(text)) != 0)
            break;
    }
    if (i >= count)
        return -1;

    for (size_t at = 0; at < MAC_BYTES; ++at) {
        char *pair = text + 3 * at;

        pair[2] = '\0';
        macOut[at] = static_cast<uint8_t>(upnp_hexToi(pair));
    }
    return 0;
}

int32_t GetMACaddress(const char *ip, char *textOut)
{
    for (int32_t attempt = 0; attempt < ARP_ATTEMPTS; ++attempt) {
        if (ip && textOut && look_up_peer_everywhere(ip, textOut))
            return 1;
        if (ip && *ip)
            wake_arp(ip);
        Sleep(ARP_WAIT_MS);
    }
    return 0;
}
