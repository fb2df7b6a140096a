// upnp_socket.h - thin wrappers of IPv4 sockets, with the library's retries.
//
// Addresses are dotted-quad texts, in buffers of UPNP_IP_SIZE bytes when they
// come out; ports are in host order unless said otherwise. An address that goes
// in and is null or unreadable counts as 255.255.255.255. A failure is the
// value of the system call, mostly -1, with errno as the call left it.
// Threads: no state is kept.
#ifndef RUNTIME_UPNP_SOCKET_H
#define RUNTIME_UPNP_SOCKET_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

#define UPNP_IP_SIZE 17  // bytes for one address text and its NUL

// New stream or datagram socket, which child programs do not inherit; -1 on
// failure. Caller closes it.
UPNP_API int32_t upnp_socket_create_tcp(void);
UPNP_API int32_t upnp_socket_create_udp(void);

// bind, connect and listen (backlog 128): 0, or -1 on failure.
UPNP_API int32_t upnp_socket_bind(int32_t fd, const char *ip, uint16_t port);
UPNP_API int32_t upnp_socket_connect(int32_t fd, const char *ip, uint16_t port);
UPNP_API int32_t upnp_socket_listen(int32_t fd);

// The next connection, whose peer is not asked for; child programs do not
// inherit it. -1 on failure. Caller closes it.
UPNP_API int32_t upnp_socket_accept(int32_t fd);

// Shuts the socket down both ways, closes it and stores -1 in *fd. Does
// nothing for null and for -1; a descriptor of 0 is only forgotten.
UPNP_API void upnp_close_socket(int32_t *fd);

// One recv with these flags, repeated every 50 ms while a signal interrupts
// it. A receive timeout (EAGAIN) comes back as -1.
UPNP_API int32_t upnp_recv(int32_t fd, void *buffer, uint32_t length,
                           int32_t flags);

// Sends all length bytes, none below 1, waiting while the socket is full,
// without SIGPIPE.
// Returns -1 on failure, else the value of the last send, which is not the
// total: test for -1 only.
UPNP_API int32_t upnp_send(int32_t fd, const void *data, int64_t length);

// One recvfrom. ip_out (17 bytes) and port_out (host order) get the sender;
// both may be null. A failure gives "0.0.0.0" and 0, an empty datagram the
// empty text and 0.
UPNP_API int32_t upnp_recvfrom(int32_t fd, void *buffer, uint32_t length,
                               char *ip_out, int32_t *port_out);

// One sendto.
UPNP_API int32_t upnp_sendto(int32_t fd, const void *data, uint32_t length,
                             const char *ip, uint16_t port);

// Writes the text of a network-order address and returns out; null if size
// bytes are too few.
UPNP_API const char *upnp_inet_ntoa(uint32_t address, char *out, uint32_t size);

// gethostname: 0, or -1 on failure.
UPNP_API int32_t upnp_gethostname(char *buffer, uint32_t size);

// Writes the first IPv4 address of a host into ip_out (17 bytes). A null name
// or one that cannot be looked up gives "127.0.0.1" and a warning. With a null
// ip_out nothing is written.
UPNP_API void upnp_gethostbyname(const char *name, char *ip_out);

// The text of errno. Borrowed: valid until the thread's next such call.
UPNP_API const char *getLastSocketError(void);

// Writes the peer's address (17 bytes) and its port, the latter in NETWORK
// byte order, widened; "0.0.0.0" and 0 if there is no peer. Does nothing for a
// descriptor of 0 or a null pointer.
UPNP_API void upnp_util_get_peername(int32_t fd, char *ip_out,
                                     int32_t *port_out);

// SO_RCVTIMEO and SO_SNDTIMEO, in milliseconds; 0 waits for ever.
UPNP_API int32_t setSockOptReceiveTimeout(int32_t fd, int32_t ms);
UPNP_API int32_t setSockOptSendTimeout(int32_t fd, int32_t ms);

// SO_REUSEADDR, under two names.
UPNP_API int32_t setSockOptReuseAddr(int32_t fd);
UPNP_API int32_t upnp_setSockOptReuseAddr(int32_t fd);

// Sends multicast through the interface with the address if_ip, with this
// time to live. Returns the result of the second setting only.
UPNP_API int32_t setSockOptMulticast(int32_t fd, int32_t ttl,
                                     const char *if_ip);

// IP_TTL, then read back; returns the result of the reading.
UPNP_API int32_t setSockOptTTL(int32_t fd, int32_t ttl);

// Joins a multicast group on the interface with the address if_ip.
UPNP_API int32_t upnp_socket_setSockOptAddMembership(int32_t fd,
                                                     const char *group_ip,
                                                     const char *if_ip);

// A socket that hears the SSDP group 239.255.255.250:1900 on one interface
// and nothing else, or -1. It is bound to the group's address, not to the
// wildcard. When binding or joining fails the descriptor stays open.
UPNP_API int32_t upnp_create_listen_socket(const char *if_ip);

// Options of other systems: they do nothing on Linux. upnp_send keeps SIGPIPE
// away by itself.
UPNP_API void setSockOptNoSignal(int32_t fd);
UPNP_API void setSockOptAVPriority(int32_t fd);
UPNP_API void setSockOptInteractivePriority(int32_t fd);
UPNP_API void setSockOptBackgroundPriority(int32_t fd);

UPNP_C_END
#endif
