// upnp_server_stop.cpp - closes the listeners and tells the threads to end.

#include "server/upnp_server.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "server/server_rows.h"
#include "server/upnp_dtcp.h"
#include "ssdp/ssdp_queue.h"

static constexpr int32_t SETTLE_MS = 200;

// Closing the sockets and raising generation is what ends the row's threads.
static void stop_row(HttpServerEntry &plain, HttpServerEntry &remote)
{
    bool was_served = server::is_served(plain);
    char ip[UPNP_IP_SIZE];

    shared::copy_text_out(ip, plain.ip, sizeof(ip));
    if (was_served)
        upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_server_stop",
                      "Server stopping at %s", ip);

    upnp_close_socket(&plain.httpSocket);
    upnp_close_socket(&plain.msearchSocket);
    upnp_close_socket(&plain.listenSocket);
    upnp_close_socket(&plain.heartbeatSocket);
    upnp_close_socket(&remote.httpSocket);
    if (was_served) {
        shared::store(plain.generation, shared::load(plain.generation) + 1);
        shared::copy_text_in(plain.ip, "", sizeof(plain.ip));
    }
}

void upnp_server_stop(uint32_t *state)
{
    if (state) {
        uint32_t now = shared::load(*state);
        if (now == UPNP_SERVER_STOPPED || now == UPNP_SERVER_STOPPING)
            return;
        shared::store(*state, UPNP_SERVER_STOPPING);
    }
    if (!server::in_restart)
        server::remove_global_lock();
    Sleep(SETTLE_MS);

    // A row that is not served may still hold sockets of an earlier start.
    for (int32_t i = 0; i < UPNP_MAX_INTERFACES; ++i)
        stop_row(server::plain_rows[i], server::remote_rows[i]);

    server::remove_byebye_file();
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_server_stop",
                  "Server terminated");
    if (cb_dtcp_stop)
        cb_dtcp_stop();
    SSDP_exit();
    if (state)
        shared::store(*state, UPNP_SERVER_STOPPED);
}
