// upnp_server.h - brings the listeners and the discovery threads up and down.
//
// One plain listener serves each usable address, with a twin for remote access
// when a remote port is set. Starting and stopping belong to one thread at a
// time; what the running threads read of it is told at each call.
#ifndef SERVER_UPNP_SERVER_H
#define SERVER_UPNP_SERVER_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include "runtime/upnp_socket.h"
#include <stdint.h>

UPNP_C_BEGIN

enum { UPNP_MAX_INTERFACES = 5 };

// Values of the caller's state word.
enum {
    UPNP_SERVER_STOPPED  = 0,
    UPNP_SERVER_STARTED  = 1
};
#define UPNP_SERVER_STOPPING 0xFFFFFFFFu

// 1 while the process serves. The program sets it, before upnp_server_start;
// the library only reads it, and every long-running thread ends when it is not
// 1. Shared by threads: accessed atomically.
UPNP_API extern int32_t g_server_running;

// The addresses found at the start, g_nInterfaceCount rows, the ones that are
// not served because of their subnet included.
UPNP_API extern int32_t g_nInterfaceCount;
UPNP_API extern char    g_IPaddress[UPNP_MAX_INTERFACES][UPNP_IP_SIZE];

// Port of the last plain listener started, the loopback of a machine with more
// addresses left aside.
UPNP_API extern int32_t g_localPort;

// Opens a listener on each address and starts its threads. state, which may be
// null, becomes 1; if it is 1 already nothing starts but, for a renderer
// beside a control point, the heartbeats. Of several addresses in one /24 only
// the first is served; without any address 127.0.0.1 is. An address on which no
// port can be bound is logged as critical, which ends the process unless the
// program's exit function returns; discovery then runs on it all the same.
UPNP_API void upnp_server_start(uint32_t *state);

// Closes all listeners and tells the threads to end, without waiting for the
// connections. state, which may be null, goes through 0xFFFFFFFF to 0; if it
// is one of the two already nothing happens. Takes 200 ms and more, and waits
// for the thread that holds the global lock.
UPNP_API void upnp_server_stop(uint32_t *state);

// Starts the heartbeats of servers that run without any.
UPNP_API void upnp_server_start_heartbeat_late(void);

// Searches on each served address.
UPNP_API void M_Search(void);

// "ip:port" of the first plain listener. Borrowed: rewritten by each start.
UPNP_API char *getHttpServer(void);

// The plain listener of one row, null behind the last. Borrowed for good.
UPNP_API HttpServerEntry *getHTTPServerData(uint32_t index);

// The lock of the socket watchdog, which exists between start and stop. 1 when
// it was taken, 0 when there is none.
UPNP_API int32_t upnp_global_lock(void);
UPNP_API void    upnp_global_unlock(void);

// --- Settings, made before the start ----------------------------------------

// Port of the remote-access listeners; 0, as at load, for none.
UPNP_API void server_set_remote_port(int32_t port);

// Called at the end of each restart that follows a change of addresses.
UPNP_API void server_set_cp_callback(void (*callback)(void));

// --- Content protection -----------------------------------------------------

// Slots for a module that protects content. Null, as at load, for none.

// The servers start: 0 for success. A failure is logged as critical, which ends
// the process; if the program's exit function returns, the start goes on.
typedef int32_t (*DtcpStart)(void);
// An address is about to be served, also one that is then skipped.
typedef void (*DtcpAddress)(const char *ip);
// The addresses have changed: called between the stop and the new start.
typedef void (*DtcpNetworkChange)(void);
// The servers have stopped.
typedef void (*DtcpStop)(void);
// Writes the Content-Type of a protected response, size bytes with its NUL.
typedef void (*DtcpContentType)(HttpRequest *request, char *text,
                                uint32_t size);

UPNP_API void server_set_dtcp_callbacks(DtcpStart         start,
                                        DtcpAddress       address,
                                        DtcpNetworkChange network_change,
                                        DtcpStop          stop,
                                        DtcpContentType   content_type);

// What a licence module answers about a request; the library stores the slots
// for its programs and calls none of them.
typedef int32_t (*WmdrmHook)(HttpRequest *request);

UPNP_API extern WmdrmHook cb_IsWmdrmRequest;
UPNP_API extern WmdrmHook cb_HTTP_get_content;
UPNP_API extern WmdrmHook cb_wmdrm_upnp_soap_authorized;
UPNP_API extern WmdrmHook cb_wmdrm_upnp_soap_validated;
UPNP_API extern WmdrmHook cb_wmdrm_upnp_soap_registered;

// Fills the five slots, in their order.
UPNP_API void server_set_wmdrm_callbacks(WmdrmHook is_wmdrm_request,
                                         WmdrmHook get_content,
                                         WmdrmHook soap_authorized,
                                         WmdrmHook soap_validated,
                                         WmdrmHook soap_registered);

UPNP_C_END
#endif
