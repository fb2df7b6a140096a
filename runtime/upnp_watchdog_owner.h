// upnp_watchdog_owner.h - watches whose owner learns who closes the socket.
//
// The result of upnp_release_socket_timeout does not tell a socket that the
// watchdog has closed from one that a stop of the server has left open.
#ifndef RUNTIME_UPNP_WATCHDOG_OWNER_H
#define RUNTIME_UPNP_WATCHDOG_OWNER_H

#include "runtime/upnp_watchdog.h"

namespace watchdog {

// upnp_enforce_socket_timeout. *closed becomes true when the watchdog closes
// fd or is about to; it may be null, else it stays valid until the release.
SocketTimeout *enforce(uint32_t timeout_ms, int32_t fd, bool *closed);

// upnp_release_socket_timeout, with the closed of the enforce. *closed is not
// changed any more once this returns.
int32_t release(SocketTimeout *handle, int32_t close_now, const bool *closed);

}

#endif
