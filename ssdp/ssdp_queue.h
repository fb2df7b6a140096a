// ssdp_queue.h - answers to searches that go out from the heartbeat's tick.
#ifndef SSDP_SSDP_QUEUE_H
#define SSDP_SSDP_QUEUE_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Makes the queue ready, and drops it with all that is still in it. The server
// start and stop call these; both may be repeated.
UPNP_API void SSDP_init(void);
UPNP_API void SSDP_exit(void);

UPNP_C_END
#endif
