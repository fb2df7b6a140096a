// ssdp_settings.cpp - roles, search switches, timing, requests and handlers.

#include "ssdp/upnp_ssdp.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "runtime/upnp_thread_once.h"
#include "ssdp/ssdp_state.h"

using Word = std::atomic<int32_t>;

int32_t  g_bHaveWMDRM;
uint32_t g_UPNP_SSDP_BEAT_TIME = 1810;
char     strIFblacklist[SSDP_BLACKLIST_SIZE];

constinit Word ssdp::shutdown_request;
constinit Word ssdp::byebye_request;
constinit Word ssdp::wakeup_request;
constinit Word ssdp::force_alive_request;
constinit Word ssdp::silent;
constinit Word ssdp::heartbeat_active;

static constexpr uint32_t SHORTEST_BEAT_TIME = 60;  // seconds
static constexpr int32_t  ALIVE_WAIT_MS = 500;      // five ticks of a heartbeat
static constexpr int32_t  THREAD_PRIORITY = 5;

static Word media_server, renderer, control_point;
static Word remoteui_server, remoteui_client, mtp;

static Word search_dms{ 1 }, search_dmr{ 1 };
static Word search_remoteui_server, search_remoteui_client, search_igd;

static Word initial_interval_ms, interval_ms, quick_msearches;

// A handler is stored before the count is raised, so a thread that sees the
// count sees the handler too. Nothing is ever removed.
static std::atomic<SsdpHandler> handlers[SSDP_MAX_HANDLERS];
static std::atomic<int32_t>     handler_count;

// --- Roles ------------------------------------------------------------------

// clang-format off
void upnp_ssdp_isMediaServer(void)                    { media_server = 1; }
void upnp_ssdp_isRenderer(void)                       { renderer = 1; }
void upnp_ssdp_isControlPoint(int32_t flag)           { control_point = flag; }
void upnp_ssdp_hasRemoteUIServer(int32_t flag)        { remoteui_server = flag; }
void upnp_ssdp_hasRemoteUIClient(int32_t flag)        { remoteui_client = flag; }
void upnp_ssdp_hasMediaTransferProtocol(int32_t flag) { mtp = flag; }
void upnp_ssdp_have_wmdrm(void)                       { g_bHaveWMDRM = 1; }

int32_t upnp_ssdp_getMediaServer(void)    { return media_server; }
int32_t upnp_ssdp_getRenderer(void)       { return renderer; }
int32_t upnp_ssdp_getControlPoint(void)   { return control_point; }
int32_t upnp_ssdp_getRemoteUIServer(void) { return remoteui_server; }
int32_t upnp_ssdp_getRemoteUIClient(void) { return remoteui_client; }
int32_t upnp_ssdp_getMTP(void)            { return mtp; }
int32_t upnp_ssdp_getRemoteUI(void)       { return remoteui_server || remoteui_client; }

// --- Searches ---------------------------------------------------------------

void upnp_ssdp_enable_search_dms(int32_t flag)             { search_dms = flag; }
void upnp_ssdp_enable_search_dmr(int32_t flag)             { search_dmr = flag; }
void upnp_ssdp_enable_search_remoteui_server(int32_t flag) { search_remoteui_server = flag; }
void upnp_ssdp_enable_search_remoteui_client(int32_t flag) { search_remoteui_client = flag; }
void upnp_ssdp_enable_search_igd(int32_t flag)             { search_igd = flag; }

int32_t upnp_ssdp_search_dms_is_enabled(void)             { return search_dms; }
int32_t upnp_ssdp_search_dmr_is_enabled(void)             { return search_dmr; }
int32_t upnp_ssdp_search_remoteui_server_is_enabled(void) { return search_remoteui_server; }
bool    ssdp::searches_remoteui_client()                  { return search_remoteui_client != 0; }
bool    ssdp::searches_igd()                              { return search_igd != 0; }
// clang-format on

static int32_t seconds_to_ms(int32_t seconds)
{
    return static_cast<int32_t>(static_cast<uint32_t>(seconds) * 1000u);
}

void upnp_ssdp_set_msearch_initial_interval(int32_t seconds)
{
    initial_interval_ms = seconds_to_ms(seconds);
}

int32_t upnp_ssdp_get_msearch_initial_interval(void)
{
    return initial_interval_ms / 1000;
}

int32_t ssdp::msearch_initial_interval_ms()
{
    return initial_interval_ms;
}

void upnp_ssdp_set_msearch_interval(int32_t seconds)
{
    interval_ms = seconds_to_ms(seconds);
}

int32_t upnp_ssdp_get_msearch_interval(void)
{
    return interval_ms / 1000;
}

int32_t ssdp::msearch_interval_ms()
{
    return interval_ms;
}

void upnp_ssdp_set_enable_quick_msearches(int32_t flag)
{
    quick_msearches = flag != 0;
}

int32_t upnp_ssdp_get_quick_msearches_enabled(void)
{
    return quick_msearches;
}

void SSDP_m_search(HttpServerEntry *entry)
{
    thread_once::start(ssdp::msearch_thread, entry, THREAD_PRIORITY);
}

// --- Announcements ----------------------------------------------------------

void SSDP_set_upnp_beattime(uint32_t seconds)
{
    if (seconds >= SHORTEST_BEAT_TIME)
        shared::store(g_UPNP_SSDP_BEAT_TIME, seconds);
}

int32_t upnp_ssdp_heartbeat_active(void)
{
    return ssdp::heartbeat_active;
}

void upnp_ssdp_send_alive(void)
{
    ssdp::force_alive_request = 1;
    Sleep(ALIVE_WAIT_MS);
    ssdp::force_alive_request = 0;
}

void SSDP_trigger_byebye(void)
{
    ssdp::byebye_request = 1;
}

void SSDP_trigger_wakeup(void)
{
    ssdp::wakeup_request = 1;
    ssdp::silent = 0;
}

void SSDP_trigger_shutdown(void)
{
    ssdp::shutdown_request = 1;
}

// --- Handlers ---------------------------------------------------------------

void upnp_ssdp_register_handler(SsdpHandler handler, const char *name)
{
    int32_t count = handler_count;

    if (count >= SSDP_MAX_HANDLERS) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SSDP, "upnp_ssdp_register_handler",
                      "Too many callback handlers registered");
        return;
    }
    if (!handler) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SSDP, "upnp_ssdp_register_handler",
                      "missing handler function for");
        return;
    }
    handlers[count] = handler;
    handler_count = count + 1;
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, "upnp_ssdp_register_handler",
                  "registered handler %s", name ? name : "");
}

int32_t upnp_ssdp_handler_is_registered(SsdpHandler handler)
{
    for (int32_t i = 0; i < handler_count; ++i) {
        if (handlers[i] == handler)
            return 1;
    }
    return 0;
}

void ssdp::call_handlers(const char *packet, HttpServerEntry *server,
                         const char *ip, int32_t port)
{
    for (int32_t i = 0; i < handler_count; ++i)
        handlers[i].load()(packet, server, ip, port);
}
