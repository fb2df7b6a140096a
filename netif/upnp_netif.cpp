// upnp_netif.cpp - asks the system for the machine's interfaces.

#include "netif/upnp_netif.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

// get_hwinterface looks no further than this.
static constexpr int32_t MAX_NAMED_INTERFACES = 8;

static constexpr int32_t IFREQ_BYTES = sizeof(struct ifreq);

// As many entries as callers ask for need no heap.
static constexpr int32_t STACK_ENTRIES = 64;

static int32_t count_entries(int32_t bytes)
{
    return bytes / IFREQ_BYTES;
}

// Fills array, which may be shorter than what the system has, and returns the
// number of entries that the system speaks of, or -1.
static int32_t list_interfaces(int32_t fd, struct ifreq *array, int32_t bytes)
{
    struct ifconf request = {};

    request.ifc_len = bytes;
    request.ifc_req = array;
    if (ioctl(fd, SIOCGIFCONF, &request) == -1)
        return -1;
    return count_entries(request.ifc_len);
}

static void format_address(const struct ifreq &entry, char *ip)
{
    struct sockaddr_in address;
    uint8_t            bytes[4];

    // The flags lie over the family; the address bytes are untouched.
    memcpy(&address, &entry.ifr_addr, sizeof(address));
    memcpy(bytes, &address.sin_addr, sizeof(bytes));
    snprintf(ip, UPNP_IP_SIZE, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2],
             bytes[3]);
}

static bool take_if_up(const struct ifreq &entry, char *row)
{
    char ip[UPNP_IP_SIZE];
    bool is_up = entry.ifr_flags & IFF_UP;

    format_address(entry, ip);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_get_interfaces",
                  is_up ? "get_interface_addresses %s"
                        : "get_interface_addresses - DOWN %s",
                  ip);
    if (is_up)
        memcpy(row, ip, sizeof(ip));
    return is_up;
}

void upnp_get_interfaces(int32_t *count, char (*table)[UPNP_IP_SIZE],
                         int32_t maxCount, const char *fixedIp)
{
    std::array<struct ifreq, STACK_ENTRIES> few;
    struct ifreq                           *many = nullptr;
    struct ifreq                           *entries = few.data();
    int32_t                                 bytes;
    int32_t                                 entry_count;

    if (!count || !table)
        return;
    *count = 0;
    if (maxCount < 1)
        return;

    if (fixedIp && *fixedIp) {
        snprintf(table[0], UPNP_IP_SIZE, "%s", fixedIp);
        *count = 1;
        return;
    }

    bytes = std::min(maxCount, INT32_MAX / IFREQ_BYTES) * IFREQ_BYTES;
    if (maxCount > STACK_ENTRIES) {
        many = static_cast<struct ifreq *>(
            upnp_malloc_impl(static_cast<uint32_t>(bytes)));
        if (!many)
            return;
        entries = many;
    }

    entry_count = get_interface_addresses(entries, bytes);
    if (entry_count < 0)
        upnp_log_impl(UPNP_LOG_CRITICAL, LOG_SYSTEM, "upnp_get_interfaces",
                      "Error in get_interface_addresses() function. "
                      "Please use -ip param!");

    for (int32_t i = 0; i < entry_count && *count < maxCount; ++i)
        *count += take_if_up(entries[i], table[*count]);
    if (many)
        upnp_free_impl(many);
}

int32_t get_interface_addresses(struct ifreq *ifreqArray, int32_t byteSize)
{
    int32_t fd;
    int32_t count;

    if (!ifreqArray)
        return -1;

    fd = upnp_socket_create_tcp();
    if (fd == -1) {
        perror("socket");
        return -1;
    }

    count = list_interfaces(fd, ifreqArray, byteSize);
    if (count == -1) {
        perror("ioctl(GetIfConf)");
        close(fd);
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "get_interface_addresses",
                      "Could not get interface configuration");
        return -1;
    }

    if (count_entries(byteSize) < count) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "get_interface_addresses",
                      "System returned %d interfaces,but we requested only %d",
                      count, count_entries(byteSize));
        count = count_entries(byteSize);
    }

    for (int32_t i = 0; i < count; ++i)
        ioctl(fd, SIOCGIFFLAGS, &ifreqArray[i]);
    close(fd);
    return count;
}

int32_t get_hwinterface(char *nameOut, int32_t nameSize, int32_t index)
{
    std::array<struct ifreq, MAX_NAMED_INTERFACES> entries = {};
    std::string_view                               name;
    int32_t                                        fd = -1;
    int32_t                                        count;
    int32_t                                        result = 0;

    if (!nameOut || nameSize == 0 || index < 0)
        return -1;
    if (index >= MAX_NAMED_INTERFACES)
        return 0;

    fd = upnp_socket_create_tcp();
    if (fd == -1)
        return -1;

    count = list_interfaces(fd, entries.data(), sizeof(entries));
    if (count == -1) {
        result = -1;
        goto out;
    }
    if (index >= count)
        goto out;

    name = entries[static_cast<size_t>(index)].ifr_name;
    if (nameSize < static_cast<int32_t>(name.size() + 1)) {
        result = -2;
        goto out;
    }
    memcpy(nameOut, name.data(), name.size() + 1);
    result = 1;

out:
    if (close(fd) == -1 && result == 1)
        result = -1;
    return result;
}
