// upnp_socket_options.cpp - socket options, multicast and the SSDP listener.

#include "runtime/upnp_socket.h"

#include "runtime/upnp_log.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

// UPnP Device Architecture 1.0, 1.1.2: the group that all devices listen to.
static constexpr char     SSDP_GROUP[] = "239.255.255.250";
static constexpr uint16_t SSDP_GROUP_PORT = 1900;

static in_addr parse_address(const char *ip)
{
    return { ip ? inet_addr(ip) : INADDR_NONE };
}

template <typename Value>
static int32_t set_option(int32_t fd, int level, int name, const Value &value)
{
    return setsockopt(fd, level, name, &value, sizeof(value));
}

static int32_t set_timeout(int32_t fd, int name, int32_t ms)
{
    timeval timeout = { ms / 1000, (ms % 1000) * 1000 };

    return set_option(fd, SOL_SOCKET, name, timeout);
}

static int32_t fail_listen_socket(const char *text)
{
    upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "upnp_create_listen_socket",
                  "### %s failed", text);
    return -1;
}

int32_t setSockOptReceiveTimeout(int32_t fd, int32_t ms)
{
    return set_timeout(fd, SO_RCVTIMEO, ms);
}

int32_t setSockOptSendTimeout(int32_t fd, int32_t ms)
{
    return set_timeout(fd, SO_SNDTIMEO, ms);
}

int32_t setSockOptReuseAddr(int32_t fd)
{
    return set_option(fd, SOL_SOCKET, SO_REUSEADDR, int{ 1 });
}

int32_t upnp_setSockOptReuseAddr(int32_t fd)
{
    return setSockOptReuseAddr(fd);
}

int32_t setSockOptMulticast(int32_t fd, int32_t ttl, const char *if_ip)
{
    set_option(fd, IPPROTO_IP, IP_MULTICAST_IF, parse_address(if_ip));
    return set_option(fd, IPPROTO_IP, IP_MULTICAST_TTL,
                      static_cast<uint8_t>(ttl));
}

int32_t setSockOptTTL(int32_t fd, int32_t ttl)
{
    int       in_force;
    socklen_t size = sizeof(in_force);

    set_option(fd, IPPROTO_IP, IP_TTL, ttl);
    return getsockopt(fd, IPPROTO_IP, IP_TTL, &in_force, &size);
}

int32_t upnp_socket_setSockOptAddMembership(int32_t fd, const char *group_ip,
                                            const char *if_ip)
{
    ip_mreq request = {};

    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM,
                  "upnp_socket_setSockOptAddMembership",
                  "### joining SSDP multicast group %s on if %s ",
                  group_ip ? group_ip : "<null>", if_ip ? if_ip : "<null>");
    request.imr_multiaddr = parse_address(group_ip);
    request.imr_interface = parse_address(if_ip);
    return set_option(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, request);
}

// A socket that cannot be bound or cannot join stays open, on purpose: only
// the result tells of the failure.
int32_t upnp_create_listen_socket(const char *if_ip)
{
    int32_t fd = upnp_socket_create_udp();

    if (fd == -1)
        return fail_listen_socket("upnp_socket_create_udp");

    setSockOptNoSignal(fd);
    setSockOptReuseAddr(fd);
    if (upnp_socket_bind(fd, SSDP_GROUP, SSDP_GROUP_PORT) == -1)
        return fail_listen_socket("upnp_socket_bind");
    if (upnp_socket_setSockOptAddMembership(fd, SSDP_GROUP, if_ip) == -1)
        return fail_listen_socket("setSockOptAddMembership");
    return fd;
}

void setSockOptNoSignal(int32_t) {}

void setSockOptAVPriority(int32_t) {}

void setSockOptInteractivePriority(int32_t) {}

void setSockOptBackgroundPriority(int32_t) {}
