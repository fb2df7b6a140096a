// ssdp_packet.h - the packets of SSDP, and the sets of them that each role
// sends. UPnP Device Architecture 1.0, sections 1.1 and 1.2.
//
// Every call works on the caller's socket and keeps nothing; any thread.
// Packets are cut at 511 bytes. A null type stands for the root entry: the UDN
// alone. udn is "uuid:...", path the path part of LOCATION.
#ifndef SSDP_SSDP_PACKET_H
#define SSDP_SSDP_PACKET_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Send one ssdp:alive, one unicast answer to a search, one ssdp:byebye.
// Each returns what the sending returns: -1 on failure.
UPNP_API int32_t SSDP_notify_packet(const char *destIp, int32_t destPort,
                                    int32_t socket, const char *localIp,
                                    int32_t httpPort, const char *type,
                                    const char *udn, const char *path);
UPNP_API int32_t SSDP_http_packet(const char *destIp, int32_t destPort,
                                  int32_t socket, const char *localIp,
                                  int32_t httpPort, const char *type,
                                  const char *udn, const char *path);
UPNP_API int32_t SSDP_byebye_packet(const char *destIp, int32_t destPort,
                                    int32_t socket, const char *type,
                                    const char *udn);

// Sends what matches a search target, for each role in force: as
// announcements if isAnnouncement is not 0, else as answers. "ssdp:all"
// matches everything; other targets are compared exactly. Some roles pause
// after each packet, on the calling thread. A null target sends nothing.
UPNP_API void SSDP_send_notify(int32_t socket, const char *localIp,
                               int32_t httpPort, const char *destIp,
                               int32_t destPort, const char *searchTarget,
                               int32_t isAnnouncement);

// The same for the media transfer protocol device alone, in force or not.
UPNP_API void SSDP_MediaTransferProtocol(int32_t socket, const char *localIp,
                                         int32_t httpPort, const char *destIp,
                                         int32_t     destPort,
                                         const char *searchTarget,
                                         int32_t     isAnnouncement);

// Sends the byebye set of every role in force. It names less than the
// announcements do.
UPNP_API void SSDP_send_byebye(int32_t socket, const char *destIp,
                               int32_t destPort);

// The remote UI server's set alone, in force or not, on the heartbeat socket of
// every served address, in two passes with 210 ms behind each.
UPNP_API void SSDP_ruis_send_announcement(void);
UPNP_API void SSDP_ruis_send_byebye(void);

// A datagram socket bound to ip and port that sends multicast from there, with
// the time to live of "ssdpttl"; -1 on failure. Caller closes it.
UPNP_API int32_t SSDP_create_send_socket(const char *ip, int32_t port);

UPNP_C_END
#endif
