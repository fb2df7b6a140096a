// ssdp_listen.cpp - hears what is sent to the SSDP group on one interface.

#include "ssdp/upnp_ssdp.h"

#include "runtime/upnp_lock.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "runtime/upnp_thread_once.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_hold.h"
#include "ssdp/ssdp_queue.h"
#include "ssdp/ssdp_state.h"

#include <stdio.h>
#include <string.h>

static constexpr uint32_t DATAGRAM_BYTES = 1024;
static constexpr int32_t  RESTART_PAUSE_MS = 50;
static constexpr int32_t  THREAD_PRIORITY = 5;
static constexpr char     listen_name[] = "SSDP_listen_Impl";

// Guards strIFblacklist among the listen threads.
static CriticalSection blacklist_lock = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };

static bool is_running()
{
    return shared::load(g_server_running) == 1;
}

// Adds the address to the list. While the list is empty nothing is added, since
// the empty text is found in every address.
static bool add_to_blacklist(const char *ip)
{
    char longer[SSDP_BLACKLIST_SIZE];
    bool is_listed;

    EnterCriticalSection(&blacklist_lock);
    is_listed = strstr(ip, strIFblacklist) != nullptr;
    if (!is_listed) {
        snprintf(longer, sizeof(longer), "%.*s,%s",
                 static_cast<int>(sizeof(longer) - 1), strIFblacklist, ip);
        memcpy(strIFblacklist, longer, sizeof(longer));
    }
    LeaveCriticalSection(&blacklist_lock);
    return !is_listed;
}

static bool open_socket(ssdp::Hold &hold, HttpServerEntry *entry,
                        const char *ip)
{
    int32_t sock = upnp_create_listen_socket(ip);

    upnp_close_socket(&entry->listenSocket);
    if (sock != -1 &&
        ssdp::show(hold, entry, &HttpServerEntry::listenSocket, sock))
        return true;
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, listen_name,
                  "Could not create listen socket for IP %s!", ip);
    if (add_to_blacklist(ip))
        Sleep(RESTART_PAUSE_MS);
    return false;
}

// Hands every packet to the handlers. True when a read has failed and the
// thread is to start anew, false when it is to end.
static bool listen_until_stopped(const ssdp::Hold &hold)
{
    char    packet[DATAGRAM_BYTES + 1];
    char    ip[UPNP_IP_SIZE];
    int32_t port, length;

    while (is_running() && ssdp::is_valid(hold)) {
        length = upnp_recvfrom(hold.own, packet, DATAGRAM_BYTES, ip, &port);
        if (length < 1) {
            upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, listen_name,
                          "socket received bad value: %i bytes", length);
            Sleep(RESTART_PAUSE_MS);
            return is_running() && ssdp::is_valid(hold);
        }
        packet[length] = '\0';
        ssdp::call_handlers(packet, hold.entry, ip, port);
        SSDP_process_queued_notify_packets();
    }
    return false;
}

int32_t SSDP_listen_Impl(HttpServerEntry *entry)
{
    ssdp::Hold hold;
    char       ip[UPNP_IP_SIZE];
    bool       starts_anew;

    if (!is_running() || !entry)
        return 0;
    shared::copy_text_out(ip, entry->ip, sizeof(ip));
    if (open_socket(hold, entry, ip)) {
        starts_anew = listen_until_stopped(hold);
        // A read error costs a restart and not the loss of the interface.
        ssdp::close(hold);
        if (starts_anew)
            thread_once::start(SSDP_listen, entry, THREAD_PRIORITY);
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, listen_name,
                  "SSDP terminated listen thread");
    return 0;
}

void *SSDP_listen(void *entry)
{
    upnp_log_impl(UPNP_LOG_INFO, LOG_SSDP, "SSDP_listen",
                  "starting SSDP listen thread");
    upnp_init_thread("SSDP_listen");
    SSDP_listen_Impl(static_cast<HttpServerEntry *>(entry));
    upnp_end_thread();
    return nullptr;
}
