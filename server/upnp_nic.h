// upnp_nic.h - follows the machine's addresses, and tells local ones apart.
//
// The library has no thread for this: the program calls check_NIC_change from
// a loop of its own, always on the same thread. The queries run on any thread;
// while a restart is under way their answers may be empty.
//
// A null or empty text, and a machine without addresses, give 0 or null, except
// that upnp_get_matching_local_server gives its codes. "Plain listener" means
// one that is not for remote access.
#ifndef SERVER_UPNP_NIC_H
#define SERVER_UPNP_NIC_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- The watch --------------------------------------------------------------

// Restarts the servers on the calling thread if the addresses have changed;
// their order does not matter. now is a running clock in seconds, which may
// wrap. Looks at most once in 30 seconds, and only with the property
// "nicrestart", unless a check was asked for. Connections under way go on. A
// restart takes more than a second.
UPNP_API void check_NIC_change(uint32_t now);

// Asks the next check_NIC_change to look, whatever the clock and the property
// say. Any thread.
UPNP_API void Server_trigger_NICchange(void);

// 1 from the decision to restart until the servers are up again. Any thread.
UPNP_API int32_t upnp_server_is_in_restart(void);

// --- Local addresses --------------------------------------------------------

// 1 if a plain listener has exactly this address and port.
UPNP_API int32_t upnp_is_my_server(const char *ip, uint32_t port);

// 1 if the address is one of this machine's, served or not.
UPNP_API int32_t is_local_ip(const char *ip);

// The address of the first plain listener that occurs in text without a digit
// behind it, so that "10.0.0.1" is not found in "10.0.0.12"; only the first
// occurrence of each is looked at. Null if there is none and when out of
// memory. Caller frees with upnp_free_impl.
UPNP_API char *upnp_get_used_local_ip(const char *text);

// Finds the first plain listener whose address shares all but its last number
// with ip. *local_ip gets its address, which the caller frees with
// upnp_free_impl, *local_port its port, and *reserved 0. All three may be
// null, and are cleared first.
//
// 0 if one was found; 2 if ip is null or does not begin with a digit; 14 for
// none, for an ip without a dot and for a machine without addresses; 8 if the
// address could not be copied.
UPNP_API int32_t upnp_get_matching_local_server(const char *ip, char **local_ip,
                                                uint32_t *local_port,
                                                uint32_t *reserved);

// 1 if the above gives 0.
UPNP_API int32_t upnp_server_is_local_network(const char *ip);

// The address that the above finds, or null. Caller frees with upnp_free_impl.
UPNP_API char *upnp_get_matching_local_ip(const char *ip);

UPNP_C_END
#endif
