// ssdp_msearch.cpp - searches one interface for devices.
//
// A reader owns the unicast socket and receives the answers; a sender sends
// bursts of requests on the same socket.

#include "ssdp/ssdp_state.h"

#include "config/upnp_ini_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "runtime/upnp_thread_once.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_hold.h"
#include "ssdp/ssdp_queue.h"

#include <string_view>

static constexpr uint32_t DATAGRAM_BYTES = 1024;
static constexpr int32_t  FIRST_PORT = 1030;
static constexpr int32_t  PORT_LIMIT = 2001;
static constexpr int32_t  THREAD_PRIORITY = 5;
static constexpr int32_t  STEP_MS = 100;
static constexpr int32_t  PACKET_PAUSE_MS = 10;
static constexpr int32_t  PASSES = 2;
static constexpr int32_t  INITIAL_BURSTS = 3;
static constexpr char     msearch_name[] = "SSDP_M_Search_Impl";

// --- Requests ---------------------------------------------------------------

#define SEARCH_REQUEST(mx, device)                                             \
    "M-SEARCH * HTTP/1.1\r\n"                                                  \
    "MX: " mx "\r\n"                                                           \
    "ST: urn:schemas-upnp-org:device:" device ":1\r\n"                         \
    "HOST: 239.255.255.250:1900\r\n"                                           \
    "MAN: \"ssdp:discover\"\r\n"                                               \
    "\r\n"

namespace {
struct Request {
    bool (*is_wanted)();
    std::string_view text;
};
}

static bool wants_remoteui_server()
{
    return upnp_ssdp_search_remoteui_server_is_enabled() != 0;
}

static bool wants_renderer()
{
    return upnp_ssdp_search_dmr_is_enabled() != 0;
}

static bool wants_server()
{
    return upnp_ssdp_search_dms_is_enabled() != 0;
}

static bool wants_quick_renderer()
{
    return upnp_ssdp_get_quick_msearches_enabled() && wants_renderer();
}

static bool wants_quick_server()
{
    return upnp_ssdp_get_quick_msearches_enabled() && wants_server();
}

// In the order in which they are sent.
// clang-format off
static constexpr Request requests[] = {
    { wants_remoteui_server,          SEARCH_REQUEST("3",  "RemoteUIServer") },
    { wants_quick_renderer,           SEARCH_REQUEST("3",  "MediaRenderer") },
    { wants_quick_server,             SEARCH_REQUEST("3",  "MediaServer") },
    { wants_renderer,                 SEARCH_REQUEST("10", "MediaRenderer") },
    { wants_server,                   SEARCH_REQUEST("10", "MediaServer") },
    { ssdp::searches_remoteui_client, SEARCH_REQUEST("3",  "RemoteUIClient") },
    { ssdp::searches_igd,             SEARCH_REQUEST("10", "InternetGatewayDevice") },
};
// clang-format on

// --- The sender -------------------------------------------------------------

namespace {
// A row, up to its next stop.
struct Sender {
    HttpServerEntry *entry;
    uint32_t         generation;
};
}

static bool has_socket(const Sender &sender)
{
    return shared::load(sender.entry->msearchSocket) != -1 &&
           shared::load(sender.entry->generation) == sender.generation;
}

static void send_requests(int32_t sock)
{
    for (const Request &request : requests) {
        if (!request.is_wanted())
            continue;
        upnp_sendto(sock, request.text.data(),
                    static_cast<uint32_t>(request.text.size()), SSDP_GROUP,
                    SSDP_PORT);
        Sleep(PACKET_PAUSE_MS);
    }
}

// Each pass takes the socket that the row shows then: another reader may have
// come in the place of one that has failed.
static void send_pass(const Sender &sender)
{
    ssdp::Hold hold;

    if (!ssdp::join(hold, sender.entry, &HttpServerEntry::msearchSocket))
        return;
    if (hold.generation == sender.generation)
        send_requests(hold.own);
    ssdp::leave(hold);
}

static void send_burst(const Sender &sender)
{
    for (int32_t pass = 0; pass < PASSES; ++pass) {
        Sleep(STEP_MS);
        if (!has_socket(sender))
            return;
        send_pass(sender);
    }
}

// Waits in steps, until a new burst is wanted or the socket is gone.
static void wait_for_next_burst(const Sender &sender, int32_t interval_ms)
{
    for (; interval_ms > 0; interval_ms -= STEP_MS) {
        if (shared::load(sender.entry->msearchWake) || !has_socket(sender))
            return;
        Sleep(STEP_MS);
    }
}

static void send_until_done(const Sender &sender)
{
    int32_t budget = INITIAL_BURSTS;

    while (has_socket(sender)) {
        send_burst(sender);
        shared::store(sender.entry->msearchWake, 0);

        int32_t interval_ms = ssdp::msearch_initial_interval_ms();
        if (budget > 0)
            --budget;
        if (budget == 0 || interval_ms <= 0) {
            budget = 0;
            interval_ms = ssdp::msearch_interval_ms();
            // A negative interval is no wait, not an end.
            if (interval_ms == 0)
                return;
        }
        wait_for_next_burst(sender, interval_ms);
    }
}

// Sends as the row's only sender; whether a wish came just as that ended.
static bool send_alone(HttpServerEntry *entry)
{
    if (!shared::replace(entry->msearchSenderActive, 0, 1))
        return false;

    const Sender sender = { entry, shared::load(entry->generation) };
    send_until_done(sender);
    // Behind a stop the word belongs to the next start's sender, which comes
    // with a socket.
    if (shared::load(entry->generation) != sender.generation &&
        shared::load(entry->msearchSocket) != -1)
        return false;
    shared::store(entry->msearchSenderActive, 0);
    return shared::load(entry->msearchWake) && has_socket(sender);
}

static void *sender_thread(void *entry_arg)
{
    HttpServerEntry *entry = static_cast<HttpServerEntry *>(entry_arg);

    upnp_init_thread("SSDP MSearch Send");
    while (entry && send_alone(entry))
        ;
    upnp_end_thread();
    return nullptr;
}

// --- The reader -------------------------------------------------------------

static bool bind_upwards(int32_t sock, const char *ip)
{
    for (int32_t port = FIRST_PORT; port < PORT_LIMIT; ++port) {
        if (upnp_socket_bind(sock, ip, static_cast<uint16_t>(port)) != -1)
            return true;
        upnp_log_impl(
            UPNP_LOG_INFO, LOG_SSDP, msearch_name,
            "failed to get free port for %s:%d, reason: %s - retrying", ip,
            port, getLastSocketError());
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, msearch_name,
                  "SSDP terminated M-Search thread - no free port found");
    return false;
}

// The handlers get the local address here, and not the sender's.
static void read_answers(const ssdp::Hold &hold, const char *local_ip)
{
    char    packet[DATAGRAM_BYTES + 1];
    int32_t port, length;

    while (shared::load(g_server_running) == 1) {
        length =
            upnp_recvfrom(hold.own, packet, DATAGRAM_BYTES, nullptr, &port);
        if (length < 1 || shared::load(g_server_running) != 1)
            return;
        packet[length] = '\0';
        ssdp::call_handlers(packet, hold.entry, local_ip, port);
        SSDP_process_queued_notify_packets();
    }
}

// Makes this thread the reader, unless the row has one: it is then only a wish
// for a new burst.
static bool become_reader(ssdp::Hold &hold, HttpServerEntry *entry)
{
    int32_t sock;

    if (shared::load(entry->msearchSocket) != -1)
        return false;
    sock = upnp_socket_create_udp();
    return sock != -1 &&
           ssdp::show(hold, entry, &HttpServerEntry::msearchSocket, sock);
}

static void wake_or_start_sender(HttpServerEntry *entry)
{
    if (shared::load(entry->msearchSenderActive)) {
        shared::store(entry->msearchWake, 1);
        if (shared::load(entry->msearchSenderActive))
            return;  // and it has yet to look at the wish
    }
    thread_once::start(sender_thread, entry, THREAD_PRIORITY);
}

static void search(HttpServerEntry *entry)
{
    ssdp::Hold hold;
    char       ip[UPNP_IP_SIZE];

    if (!become_reader(hold, entry)) {
        if (shared::load(entry->msearchSocket) != -1)
            wake_or_start_sender(entry);
        return;
    }
    shared::copy_text_out(ip, entry->ip, sizeof(ip));
    if (!bind_upwards(hold.own, ip)) {
        ssdp::leave(hold);  // the socket stays in the row
        return;
    }
    setSockOptNoSignal(hold.own);
    setSockOptMulticast(hold.own, upnp_ini_file_getInt(INI_SSDPTTL), ip);
    wake_or_start_sender(entry);

    read_answers(hold, ip);
    ssdp::close(hold);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, msearch_name,
                  "SSDP terminated M-Search thread");
}

void *ssdp::msearch_thread(void *entry)
{
    upnp_init_thread("SSDP_M_Search_T");
    if (entry)
        search(static_cast<HttpServerEntry *>(entry));
    upnp_end_thread();
    return nullptr;
}
