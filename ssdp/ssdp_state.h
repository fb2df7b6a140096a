// ssdp_state.h - the words that the discovery threads share.
//
// Plain words by which the program steers threads that run; each is read at
// every tick and carries no other data, so a relaxed order is enough.
#ifndef SSDP_SSDP_STATE_H
#define SSDP_SSDP_STATE_H

#include "ssdp/upnp_ssdp.h"

#include <atomic>

namespace ssdp {

// Requests to the heartbeats.
extern std::atomic<int32_t> shutdown_request;
extern std::atomic<int32_t> byebye_request;
extern std::atomic<int32_t> wakeup_request;
extern std::atomic<int32_t> force_alive_request;
extern std::atomic<int32_t> silent;            // no announcements meanwhile
extern std::atomic<int32_t> heartbeat_active;  // a heartbeat runs

// Search switches and intervals that no exported getter tells of.
bool    searches_remoteui_client();
bool    searches_igd();
int32_t msearch_initial_interval_ms();
int32_t msearch_interval_ms();

// Hands a packet to every registered handler, in the order of registration.
void call_handlers(const char *packet, HttpServerEntry *server, const char *ip,
                   int32_t port);

// The body of the thread that SSDP_m_search starts.
void *msearch_thread(void *entry);

}

#endif
