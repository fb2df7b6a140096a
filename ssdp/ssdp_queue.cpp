// ssdp_queue.cpp - answers to searches that go out from the next tick.

#include "ssdp/ssdp_queue.h"

#include "runtime/upnp_lock.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_packet.h"

#include <atomic>
#include <string.h>
#include <time.h>

namespace {
struct Node {
    SsdpQueuedNotify *record;
    Node             *next;
};
}

static constexpr int32_t TURNS = 3;  // UDP may lose one
static constexpr int32_t TURN_PAUSE_MS = 50;
static constexpr int32_t LEAVING_MS = 20;

// The lock is ready before anything runs and is never taken away, so that a
// handler may queue at any time, also around a stop.
static CriticalSection queue_lock = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };

static Node             *newest;  // guarded by queue_lock
static std::atomic<bool> is_ready;

static void clear_locked()
{
    while (newest) {
        Node *node = newest;
        newest = node->next;
        if (node->record)
            upnp_free_impl(node->record);
        upnp_free_impl(node);
    }
}

void SSDP_queue_clear(void)
{
    EnterCriticalSection(&queue_lock);
    clear_locked();
    LeaveCriticalSection(&queue_lock);
}

void SSDP_init(void)
{
    if (is_ready)
        return;
    SSDP_queue_clear();
    is_ready = true;
}

void SSDP_exit(void)
{
    if (!is_ready.exchange(false))
        return;
    SSDP_queue_clear();
    // A handler that was about to queue gets its time, and its record goes too.
    Sleep(LEAVING_MS);
    SSDP_queue_clear();
}

void SSDP_queue_notify_packet(SsdpQueuedNotify *record)
{
    Node    *node;
    uint32_t now;

    if (!record)
        return;
    node = static_cast<Node *>(upnp_malloc_impl(sizeof(Node)));
    if (!node)
        return;
    EnterCriticalSection(&queue_lock);
    // The wait for the lock, as long as others are sent, is no part of delay.
    now = static_cast<uint32_t>(time(nullptr));
    record->dueTime =
        static_cast<int32_t>(now + static_cast<uint32_t>(record->delay));
    *node = { record, newest };
    newest = node;
    LeaveCriticalSection(&queue_lock);
}

// The interface may have been stopped since: an empty row answers nothing. The
// texts may have been filled to the brim, without a NUL.
static void send_answer(const SsdpQueuedNotify &record)
{
    char    target[sizeof(record.searchTarget) + 1] = {};
    char    dest_ip[sizeof(record.destIp) + 1] = {};
    char    local_ip[UPNP_IP_SIZE] = {};
    int32_t sock;

    memcpy(target, record.searchTarget, sizeof(record.searchTarget));
    memcpy(dest_ip, record.destIp, sizeof(record.destIp));
    if (record.server)
        shared::copy_text_out(local_ip, record.server->ip, sizeof(local_ip));
    if (local_ip[0] == '\0')
        return;

    sock = upnp_socket_create_udp();
    if (sock == -1) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SSDP,
                      "SSDP_process_queued_notify_packets",
                      "UDPSocket creation returned error=%d", 0);
        return;
    }
    setSockOptNoSignal(sock);
    for (int32_t turn = 0; turn < TURNS; ++turn) {
        SSDP_send_notify(sock, local_ip, shared::load(record.server->httpPort),
                         dest_ip, record.destPort, target, 0);
        Sleep(TURN_PAUSE_MS);
    }
    upnp_close_socket(&sock);
}

static bool is_running()
{
    return shared::load(g_server_running) == 1;
}

static void send_queued_locked()
{
    int32_t now = static_cast<int32_t>(time(nullptr));

    for (Node **link = &newest; *link && is_running();) {
        Node *node = *link;

        // An answer that is overdue, even by a second, stays.
        if (!node->record || node->record->dueTime < now) {
            link = &node->next;
            continue;
        }
        send_answer(*node->record);
        *link = node->next;
        upnp_free_impl(node->record);
        upnp_free_impl(node);
    }
}

void SSDP_process_queued_notify_packets(void)
{
    if (!is_running())
        return;
    EnterCriticalSection(&queue_lock);
    if (is_ready && newest)
        send_queued_locked();
    LeaveCriticalSection(&queue_lock);
}
