// upnp_ssdp.h - discovery: which devices this process is, what it announces
// and what it searches for.
//
// Settings are plain words, set by the program before upnp_server_start and
// read by the discovery threads. Packets that arrive are not parsed here: they
// go as text to the registered handlers. UPnP Device Architecture 1.0,
// section 1.
#ifndef SSDP_UPNP_SSDP_H
#define SSDP_UPNP_SSDP_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

#define SSDP_GROUP "239.255.255.250"
#define SSDP_PORT  1900

enum {
    SSDP_MAX_HANDLERS   = 19,
    SSDP_BLACKLIST_SIZE = 512
};

// --- Roles: all off at load, and any mix is possible ------------------------

// These two cannot be undone.
UPNP_API void    upnp_ssdp_isMediaServer(void);
UPNP_API int32_t upnp_ssdp_getMediaServer(void);
UPNP_API void    upnp_ssdp_isRenderer(void);
UPNP_API int32_t upnp_ssdp_getRenderer(void);

// These take a flag, stored as it is.
UPNP_API void    upnp_ssdp_isControlPoint(int32_t flag);
UPNP_API int32_t upnp_ssdp_getControlPoint(void);
UPNP_API void    upnp_ssdp_hasRemoteUIServer(int32_t flag);
UPNP_API int32_t upnp_ssdp_getRemoteUIServer(void);
UPNP_API void    upnp_ssdp_hasRemoteUIClient(int32_t flag);
UPNP_API int32_t upnp_ssdp_getRemoteUIClient(void);
UPNP_API void    upnp_ssdp_hasMediaTransferProtocol(int32_t flag);
UPNP_API int32_t upnp_ssdp_getMTP(void);

// 1 if either remote UI role is on.
UPNP_API int32_t upnp_ssdp_getRemoteUI(void);

// Sets g_bHaveWMDRM, by which a content-protection module makes itself known.
UPNP_API extern int32_t g_bHaveWMDRM;
UPNP_API void           upnp_ssdp_have_wmdrm(void);

// --- Searches: servers and renderers are searched for at load ---------------

UPNP_API void    upnp_ssdp_enable_search_dms(int32_t flag);
UPNP_API int32_t upnp_ssdp_search_dms_is_enabled(void);
UPNP_API void    upnp_ssdp_enable_search_dmr(int32_t flag);
UPNP_API int32_t upnp_ssdp_search_dmr_is_enabled(void);
UPNP_API void    upnp_ssdp_enable_search_remoteui_server(int32_t flag);
UPNP_API int32_t upnp_ssdp_search_remoteui_server_is_enabled(void);
UPNP_API void    upnp_ssdp_enable_search_remoteui_client(int32_t flag);
UPNP_API void    upnp_ssdp_enable_search_igd(int32_t flag);

// Seconds between the first three bursts of requests, and between later ones;
// 0, as at load, sends no such bursts.
UPNP_API void    upnp_ssdp_set_msearch_initial_interval(int32_t seconds);
UPNP_API int32_t upnp_ssdp_get_msearch_initial_interval(void);
UPNP_API void    upnp_ssdp_set_msearch_interval(int32_t seconds);
UPNP_API int32_t upnp_ssdp_get_msearch_interval(void);

// Whether each burst also asks with an MX of 3 seconds; off at load.
UPNP_API void    upnp_ssdp_set_enable_quick_msearches(int32_t flag);
UPNP_API int32_t upnp_ssdp_get_quick_msearches_enabled(void);

// Searches on one interface: starts its reader and its sender, or wakes the
// sender that is there.
UPNP_API void SSDP_m_search(HttpServerEntry *entry);

// --- Announcements ----------------------------------------------------------

// The max-age announced, in seconds, 1810 at load. The setter ignores values
// below 60.
UPNP_API extern uint32_t g_UPNP_SSDP_BEAT_TIME;
UPNP_API void            SSDP_set_upnp_beattime(uint32_t seconds);

// 1 while a heartbeat runs.
UPNP_API int32_t upnp_ssdp_heartbeat_active(void);

// These ask the heartbeats, which look every 100 ms. The first that obeys a
// request clears it: with several interfaces the others may not see it.

// Asks for an announcement, and waits half a second for it on the calling
// thread. Without effect while the heartbeats are silent.
UPNP_API void upnp_ssdp_send_alive(void);

// Says byebye; ends the silence with an announcement; ends the heartbeat. The
// silence behind a byebye is that of all interfaces, and outlives a stop and a
// new start.
UPNP_API void SSDP_trigger_byebye(void);
UPNP_API void SSDP_trigger_wakeup(void);
UPNP_API void SSDP_trigger_shutdown(void);

// --- Handlers of received packets -------------------------------------------

// Called with each packet, as text, on the thread that received it, and so on
// several threads at once. The listen threads hand over the sender's address
// and port, the search threads the local address and the sender's port. All
// arguments are borrowed for the call. The result is ignored.
typedef int32_t (*SsdpHandler)(const char *packet, HttpServerEntry *server,
                               const char *ip, int32_t port);

// Adds a handler, at most 19, for good; name is for the log and may be null.
// One registered twice is called twice.
UPNP_API void upnp_ssdp_register_handler(SsdpHandler handler, const char *name);

// 1 if the handler is registered.
UPNP_API int32_t upnp_ssdp_handler_is_registered(SsdpHandler handler);

// --- Thread entries, one of each per served address -------------------------

// entry is an HttpServerEntry *. The _Impl calls do the work, the others wrap
// them for upnp_start_thread; their result is always 0. A null entry ends at
// once.
UPNP_API void   *SSDP_heartbeat(void *entry);
UPNP_API int32_t SSDP_heartbeat_Impl(HttpServerEntry *entry);
UPNP_API void   *SSDP_listen(void *entry);
UPNP_API int32_t SSDP_listen_Impl(HttpServerEntry *entry);

// Texts of addresses whose listen socket failed, each behind a comma. Empty at
// load, and only a program that fills it sees it grow.
UPNP_API extern char strIFblacklist[SSDP_BLACKLIST_SIZE];

UPNP_C_END
#endif
