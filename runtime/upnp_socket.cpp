// upnp_socket.cpp - IPv4 sockets: connections, transfers and names.

#include "runtime/upnp_socket.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"

#include <algorithm>
#include <arpa/inet.h>
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static constexpr int     LISTEN_BACKLOG = 128;
static constexpr int32_t RETRY_PAUSE_MS = 50;

// Room for a host's addresses: at first, and for all that one answer of the
// domain name system can hold (65,535 bytes; RFC 1035, 4.2.2).
static constexpr uint32_t LOOKUP_BYTES = 2048;
static constexpr uint32_t MAX_LOOKUP_BYTES = 1 << 20;

// An unreadable or missing text is the broadcast address, as for inet_addr.
static sockaddr_in make_address(const char *ip, uint16_t port)
{
    sockaddr_in address = {};

    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = ip ? inet_addr(ip) : INADDR_NONE;
    return address;
}

static sockaddr *generic(sockaddr_in *address)
{
    return reinterpret_cast<sockaddr *>(address);
}

// Fills ip_out to its end, with zeros behind the text.
static void put_address(char *ip_out, in_addr address)
{
    memset(ip_out, 0, UPNP_IP_SIZE);
    inet_ntop(AF_INET, &address, ip_out, UPNP_IP_SIZE);
}

// Takes the first address in the resolver's own order; getaddrinfo would sort
// them by how near they are. The answer is built in a block of size bytes.
// 0 for success, ERANGE when the block is too small.
static int look_up_in(char *block, uint32_t size, const char *name,
                      in_addr *address)
{
    hostent  entry;
    hostent *host = nullptr;
    int      host_error;
    int      error = gethostbyname2_r(name, AF_INET, &entry, block, size, &host,
                                      &host_error);

    if (error != 0)
        return error;
    if (!host || !host->h_addr_list[0])
        return ENOENT;
    memcpy(address, host->h_addr_list[0], sizeof(*address));
    return 0;
}

static bool look_up(const char *name, in_addr *address)
{
    char room[LOOKUP_BYTES];
    int  error = name ? look_up_in(room, sizeof(room), name, address) : ENOENT;

    for (uint32_t size = 2 * LOOKUP_BYTES;
         error == ERANGE && size <= MAX_LOOKUP_BYTES; size *= 2) {
        char *block = static_cast<char *>(upnp_malloc_impl(size));
        if (!block)
            break;
        error = look_up_in(block, size, name, address);
        upnp_free_impl(block);
    }
    return error == 0;
}

// No socket reaches a child process.
int32_t upnp_socket_create_tcp(void)
{
    return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

int32_t upnp_socket_create_udp(void)
{
    return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

int32_t upnp_socket_bind(int32_t fd, const char *ip, uint16_t port)
{
    sockaddr_in address = make_address(ip, port);

    return bind(fd, generic(&address), sizeof(address));
}

int32_t upnp_socket_connect(int32_t fd, const char *ip, uint16_t port)
{
    sockaddr_in address = make_address(ip, port);

    return connect(fd, generic(&address), sizeof(address));
}

int32_t upnp_socket_listen(int32_t fd)
{
    return listen(fd, LISTEN_BACKLOG);
}

int32_t upnp_socket_accept(int32_t fd)
{
    return accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
}

void upnp_close_socket(int32_t *fd)
{
    if (!fd)
        return;

    // The exchange lets only one of several closing threads have it.
    int32_t old = shared::exchange(*fd, -1);
    if (old == -1 || old == 0)
        return;
    shutdown(old, SHUT_RDWR);
    close(old);
}

int32_t upnp_recv(int32_t fd, void *buffer, uint32_t length, int32_t flags)
{
    for (;;) {
        ssize_t received = recv(fd, buffer, length, flags);
        if (received != -1 || errno != EINTR)
            return static_cast<int32_t>(received);
        Sleep(RETRY_PAUSE_MS);
    }
}

int32_t upnp_send(int32_t fd, const void *data, int64_t length)
{
    const char *next = static_cast<const char *>(data);
    int64_t     bytes_left = std::max<int64_t>(length, 0);

    // One turn at least: a length of 0 sends nothing, and tells how that went.
    for (;;) {
        ssize_t sent =
            send(fd, next, static_cast<size_t>(bytes_left), MSG_NOSIGNAL);
        if (sent == -1) {
            if (errno != EAGAIN && errno != EINTR)
                return -1;
            Sleep(RETRY_PAUSE_MS);
            continue;
        }
        next += sent;
        bytes_left -= sent;
        if (bytes_left == 0)
            return static_cast<int32_t>(sent);
    }
}

int32_t upnp_recvfrom(int32_t fd, void *buffer, uint32_t length, char *ip_out,
                      int32_t *port_out)
{
    sockaddr_in sender = {};
    socklen_t   size = sizeof(sender);
    ssize_t received = recvfrom(fd, buffer, length, MSG_WAITALL | MSG_NOSIGNAL,
                                generic(&sender), &size);

    if (ip_out && received != 0)
        put_address(ip_out, sender.sin_addr);
    else if (ip_out)
        *ip_out = '\0';
    if (port_out)
        *port_out = received != 0 ? ntohs(sender.sin_port) : 0;
    return static_cast<int32_t>(received);
}

int32_t upnp_sendto(int32_t fd, const void *data, uint32_t length,
                    const char *ip, uint16_t port)
{
    sockaddr_in address = make_address(ip, port);

    return static_cast<int32_t>(
        sendto(fd, data, length, 0, generic(&address), sizeof(address)));
}

const char *upnp_inet_ntoa(uint32_t address, char *out, uint32_t size)
{
    return inet_ntop(AF_INET, &address, out, size);
}

int32_t upnp_gethostname(char *buffer, uint32_t size)
{
    return gethostname(buffer, size);
}

void upnp_gethostbyname(const char *name, char *ip_out)
{
    in_addr address = { htonl(INADDR_LOOPBACK) };
    bool    found = look_up(name, &address);

    if (!ip_out)
        return;
    put_address(ip_out, address);
    if (!found)
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "upnp_gethostbyname",
                      "cannot get IP of %s, return local IP ",
                      name ? name : "");
}

const char *getLastSocketError(void)
{
    return strerror(errno);
}

void upnp_util_get_peername(int32_t fd, char *ip_out, int32_t *port_out)
{
    sockaddr_in peer = {};
    socklen_t   size = sizeof(peer);

    if (fd == 0 || !ip_out || !port_out)
        return;

    getpeername(fd, generic(&peer), &size);
    put_address(ip_out, peer.sin_addr);
    *port_out = peer.sin_port;  // in network order, unlike upnp_recvfrom's
}
