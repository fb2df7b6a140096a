// ssdp_queue.h - answers to searches that a handler asks for and that go out
// from the next tick or the next packet.
#ifndef SSDP_SSDP_QUEUE_H
#define SSDP_SSDP_QUEUE_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// One answer to send. Allocated with upnp_malloc_impl; the queue owns it from
// SSDP_queue_notify_packet on.
typedef struct SsdpQueuedNotify {
    int32_t          delay;              // seconds that the answer stays valid
    char             searchTarget[128];  // the target to answer
    char             destIp[20];         // the searcher
    int32_t          destPort;
    HttpServerEntry *server;   // the interface to answer from; borrowed
    int32_t          dueTime;  // set by SSDP_queue_notify_packet
} SsdpQueuedNotify;

// Makes the queue ready, and drops it with all that is still in it. The server
// start and stop call these; both may be repeated. Any thread.
UPNP_API void SSDP_init(void);
UPNP_API void SSDP_exit(void);

// Takes over a record; null does nothing. If memory is out the record stays
// the caller's.
UPNP_API void SSDP_queue_notify_packet(SsdpQueuedNotify *record);

// Sends what is queued, each answer three times, 50 ms apart, holding the
// queue meanwhile. delay is a period of validity, not a postponement: an
// answer goes out at the first call, and one whose time has passed stays,
// unsent, until the queue is cleared.
UPNP_API void SSDP_process_queued_notify_packets(void);

// Frees all that is queued.
UPNP_API void SSDP_queue_clear(void);

UPNP_C_END
#endif
