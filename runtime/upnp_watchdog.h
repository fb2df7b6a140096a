// upnp_watchdog.h - closes a socket at its deadline, which bounds a call that
// blocks on it.
//
// A blocking connect has no timeout of its own: its caller names the socket and
// a time, connects, and releases the watch. One background thread shuts down
// and closes what has passed its deadline, and so wakes the blocked call.
//
// The watchdog works between the start and the stop of the server only, and
// its thread looks at the list every 250 ms or sooner.
// Threads: any.
#ifndef RUNTIME_UPNP_WATCHDOG_H
#define RUNTIME_UPNP_WATCHDOG_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// One watched socket. Owned by the watchdog: a caller keeps the address as a
// handle and reads nothing through it, since the record may go at any time.
typedef struct SocketTimeout {
    int32_t               fd;        // -1 just before the record is freed
    uint64_t              deadline;  // ms of getSystemTime
    struct SocketTimeout *next;      // in order of deadline
} SocketTimeout;

// Has fd closed in timeout_ms milliseconds. Returns the handle of the watch,
// which upnp_release_socket_timeout takes once; null, with fd not watched and
// left open, for a timeout_ms of 0, for an fd of -1, when out of memory and
// when no server is running.
//
// The thread that watches starts with the first watch and ends once
// g_server_running is not 1. If it then ends with no watch left, before the
// server has stopped, no other one starts: later watches never fire.
UPNP_API SocketTimeout *upnp_enforce_socket_timeout(uint32_t timeout_ms,
                                                    int32_t  fd);

// Ends a watch: close_now says that the watched call has failed. Returns
// whether the connection is dead, whoever saw it first: 0 for a call that did
// not fail and was still watched, and for a null handle; else 1. The socket of
// a watch that had not fired is shut down and closed if close_now is not 0.
//
// A server that has stopped takes all its watches with it and closes none of
// their sockets; releasing such a watch gives 1 too.
UPNP_API int32_t upnp_release_socket_timeout(SocketTimeout *handle,
                                             int32_t        close_now);

UPNP_C_END
#endif
