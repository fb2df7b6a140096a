// ssdp_heartbeat.cpp - announces one interface as long as it is served.
//
// The thread's tick also drives the queue of answers to searches.

#include "ssdp/upnp_ssdp.h"

#include "config/upnp_ini_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_hold.h"
#include "ssdp/ssdp_packet.h"
#include "ssdp/ssdp_queue.h"
#include "ssdp/ssdp_state.h"

static constexpr int32_t  TICK_MS = 100;
static constexpr uint32_t TICKS_PER_SECOND = 10;
static constexpr uint32_t MOST_TICKS = 599;  // between two announcements
static constexpr int32_t  FIRST_PAUSE_MS = 500;
static constexpr int32_t  SET_PAUSE_MS = 210;
static constexpr int32_t  STATIONARY_PAUSE_MS = 10000;
static constexpr int32_t  NMC_STATIONARY = 1;
static constexpr int32_t  LAST_PORT = 2899;

namespace {
struct Beat {
    ssdp::Hold hold;
    char       ip[UPNP_IP_SIZE];
    int32_t    http_port;
};
}

static bool is_running()
{
    return shared::load(g_server_running) == 1;
}

// --- Announcing -------------------------------------------------------------

static void announce(const Beat &beat)
{
    SSDP_send_notify(beat.hold.own, beat.ip, beat.http_port, SSDP_GROUP,
                     SSDP_PORT, "ssdp:all", 1);
}

static void say_byebye_twice(int32_t sock)
{
    SSDP_send_byebye(sock, SSDP_GROUP, SSDP_PORT);
    SSDP_send_byebye(sock, SSDP_GROUP, SSDP_PORT);
}

// A stop has shut the thread's socket down: the farewell needs one of its own.
static void say_farewell(const Beat &beat)
{
    int32_t sock;

    if (ssdp::is_valid(beat.hold)) {
        say_byebye_twice(beat.hold.own);
        return;
    }
    sock = SSDP_create_send_socket(beat.ip, 0);
    if (sock == -1)
        return;
    say_byebye_twice(sock);
    upnp_close_socket(&sock);
}

// --- The life of one heartbeat ----------------------------------------------

// The ports above 1900 are for machines where another program keeps that one
// to itself. When no port is free the socket stays in the row.
static bool bind_upwards(const Beat &beat)
{
    for (int32_t port = SSDP_PORT; port <= LAST_PORT; ++port) {
        if (upnp_socket_bind(beat.hold.own, beat.ip,
                             static_cast<uint16_t>(port)) != -1)
            return true;
    }
    upnp_log_impl(UPNP_LOG_WARNING, LOG_SSDP, "SSDP_heartbeat_Impl",
                  "could not bind to %s:%d", beat.ip, SSDP_PORT);
    return false;
}

static bool open_socket(Beat &beat, HttpServerEntry *entry)
{
    int32_t sock = upnp_socket_create_udp();

    // A socket that a failed heartbeat has left behind gives way.
    if (sock != -1)
        upnp_close_socket(&entry->heartbeatSocket);
    if (sock == -1 || !ssdp::show(beat.hold, entry,
                                  &HttpServerEntry::heartbeatSocket, sock)) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SSDP, "SSDP_heartbeat_Impl",
                      "could not create UDP socket");
        return false;
    }
    setSockOptReuseAddr(beat.hold.own);
    if (!bind_upwards(beat)) {
        ssdp::leave(beat.hold);
        return false;
    }
    setSockOptMulticast(beat.hold.own, upnp_ini_file_getInt(INI_SSDPTTL),
                        beat.ip);
    setSockOptNoSignal(beat.hold.own);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, "SSDP_heartbeat_Impl",
                  "SSDP heartbeat started for %s:%d", beat.ip, SSDP_PORT);
    return true;
}

// Devices that an unclean end left behind go away before the new ones appear.
static void introduce(const Beat &beat)
{
    if (shared::load(beat.hold.entry->byebyeFirst)) {
        say_byebye_twice(beat.hold.own);
        Sleep(FIRST_PAUSE_MS);
    }
    if (upnp_ini_file_getInt(INI_NMCMODE) == NMC_STATIONARY)
        Sleep(STATIONARY_PAUSE_MS);
    announce(beat);
    Sleep(SET_PAUSE_MS);
    announce(beat);
    Sleep(SET_PAUSE_MS);
}

static bool is_time_to_announce(uint32_t ticks)
{
    uint32_t third = shared::load(g_UPNP_SSDP_BEAT_TIME) / 3;

    return ticks > MOST_TICKS || ticks > third * TICKS_PER_SECOND ||
           ssdp::force_alive_request;
}

static void beat_until_stopped(const Beat &beat)
{
    uint32_t ticks = 0;

    while (is_running() && ssdp::is_valid(beat.hold)) {
        Sleep(TICK_MS);
        if (!is_running() || ssdp::shutdown_request ||
            shared::load(beat.hold.entry->heartbeatSocket) == -1)
            return;
        SSDP_process_queued_notify_packets();

        // Of several interfaces the first that sees a request obeys it alone;
        // the silence is everyone's.
        if (ssdp::byebye_request.exchange(0)) {
            SSDP_send_byebye(beat.hold.own, SSDP_GROUP, SSDP_PORT);
            ssdp::silent = 1;
            continue;
        }
        if (ssdp::silent)
            continue;
        if (ssdp::wakeup_request.exchange(0))
            announce(beat);
        if (is_time_to_announce(++ticks)) {
            announce(beat);
            ssdp::force_alive_request = 0;
            ticks = 0;
        }
    }
}

int32_t SSDP_heartbeat_Impl(HttpServerEntry *entry)
{
    Beat beat = {};

    if (!entry)
        return 0;
    shared::copy_text_out(beat.ip, entry->ip, sizeof(beat.ip));
    beat.http_port = shared::load(entry->httpPort);
    ssdp::shutdown_request = 0;
    if (!open_socket(beat, entry))
        return 0;

    introduce(beat);
    beat_until_stopped(beat);
    say_farewell(beat);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, "SSDP_heartbeat_Impl",
                  "SSDP heartbeat stopped for %s", beat.ip);
    ssdp::close(beat.hold);
    ssdp::shutdown_request = 0;
    return 0;
}

void *SSDP_heartbeat(void *entry)
{
    upnp_init_thread("SSDP_heartbeat");
    ssdp::heartbeat_active = 1;
    SSDP_heartbeat_Impl(static_cast<HttpServerEntry *>(entry));
    // With several interfaces the first thread to end speaks for all.
    ssdp::heartbeat_active = 0;
    upnp_end_thread();
    return nullptr;
}
