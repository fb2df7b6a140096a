// ssdp_packet.cpp - writes and sends the single packets.

#include "ssdp/ssdp_packet.h"

#include "config/upnp_ini_file.h"
#include "http/http_product.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_socket.h"
#include "ssdp/upnp_ssdp.h"

#include <stdio.h>
#include <string.h>

static constexpr size_t PACKET_BYTES = 512;
static constexpr size_t USN_BYTES = 512;
static constexpr size_t DATE_BYTES = 32;

static constexpr char alive_format[] =
    "NOTIFY * HTTP/1.1\r\n"
    "HOST: %s:%d\r\n"
    "CACHE-CONTROL: max-age=%u\r\n"
    "LOCATION: http://%s:%d%s\r\n"
    "NT: %s\r\n"
    "NTS: ssdp:alive\r\n"
    "SERVER: %s\r\n"
    "USN: %s\r\n"
    "\r\n";

static constexpr char answer_format[] =
    "HTTP/1.1 200 OK\r\n"
    "CACHE-CONTROL: max-age=%u\r\n"
    "DATE: %s\r\n"
    "EXT:\r\n"
    "LOCATION: http://%s:%d%s\r\n"
    "SERVER: %s\r\n"
    "ST: %s\r\n"
    "USN: %s\r\n"
    "Content-Length: 0\r\n"
    "\r\n";

static constexpr char byebye_format[] =
    "NOTIFY * HTTP/1.1\r\n"
    "HOST: %s:%d\r\n"
    "NT: %s\r\n"
    "NTS: ssdp:byebye\r\n"
    "USN: %s\r\n"
    "\r\n";

// The root entry is named by its UDN alone, all others by both.
static void build_usn(char (&usn)[USN_BYTES], const char *type, const char *udn)
{
    if (type)
        snprintf(usn, sizeof(usn), "%s::%s", udn, type);
    else
        snprintf(usn, sizeof(usn), "%s", udn);
}

// What the packet holds is sent, which may be less than was formatted.
static int32_t send_packet(uint32_t level, const char *function, int32_t socket,
                           const char *ip, int32_t port, const char *packet)
{
    upnp_log_impl(level, LOG_SSDP, function, "### SSDP sending:\n%s", packet);
    return upnp_sendto(socket, packet, static_cast<uint32_t>(strlen(packet)),
                       ip, static_cast<uint16_t>(port));
}

int32_t SSDP_notify_packet(const char *destIp, int32_t destPort, int32_t socket,
                           const char *localIp, int32_t httpPort,
                           const char *type, const char *udn, const char *path)
{
    char packet[PACKET_BYTES];
    char usn[USN_BYTES];

    build_usn(usn, type, udn);
    // HOST names the group whatever the destination is.
    snprintf(packet, sizeof(packet), alive_format, SSDP_GROUP, SSDP_PORT,
             shared::load(g_UPNP_SSDP_BEAT_TIME), localIp, httpPort, path,
             type ? type : udn, http_product::server, usn);
    return send_packet(UPNP_LOG_INFO, "SSDP_notify_packet", socket, destIp,
                       destPort, packet);
}

int32_t SSDP_http_packet(const char *destIp, int32_t destPort, int32_t socket,
                         const char *localIp, int32_t httpPort,
                         const char *type, const char *udn, const char *path)
{
    char packet[PACKET_BYTES];
    char usn[USN_BYTES];
    char date[DATE_BYTES] = "";

    build_usn(usn, type, udn);
    upnp_date_getGMT(date, sizeof(date));
    snprintf(packet, sizeof(packet), answer_format,
             shared::load(g_UPNP_SSDP_BEAT_TIME), date, localIp, httpPort, path,
             http_product::server, type ? type : udn, usn);
    return send_packet(UPNP_LOG_TRACE, "SSDP_http_packet", socket, destIp,
                       destPort, packet);
}

int32_t SSDP_byebye_packet(const char *destIp, int32_t destPort, int32_t socket,
                           const char *type, const char *udn)
{
    char packet[PACKET_BYTES];
    char usn[USN_BYTES];

    build_usn(usn, type, udn);
    snprintf(packet, sizeof(packet), byebye_format, SSDP_GROUP, SSDP_PORT,
             type ? type : udn, usn);
    return send_packet(UPNP_LOG_INFO, "SSDP_byebye_packet", socket, destIp,
                       destPort, packet);
}

int32_t SSDP_create_send_socket(const char *ip, int32_t port)
{
    int32_t sock = upnp_socket_create_udp();

    if (sock == -1)
        return -1;
    setSockOptReuseAddr(sock);
    if (upnp_socket_bind(sock, ip, static_cast<uint16_t>(port)) == -1) {
        upnp_close_socket(&sock);
        return -1;
    }
    setSockOptMulticast(sock, upnp_ini_file_getInt(INI_SSDPTTL), ip);
    setSockOptNoSignal(sock);
    return sock;
}
