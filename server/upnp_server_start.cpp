// upnp_server_start.cpp - brings listeners and discovery up, address by address.

#include "server/upnp_server.h"

#include "config/upnp_ini_file.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread_once.h"
#include "server/server_rows.h"
#include "server/upnp_dtcp.h"
#include "ssdp/ssdp_queue.h"
#include "ssdp/upnp_ssdp.h"

#include <stdio.h>
#include <string.h>
#include <string_view>

static constexpr int32_t ACCEPT_PRIORITY = 6;
static constexpr int32_t LISTEN_PRIORITY = 5;
static constexpr int32_t HEARTBEAT_PRIORITY = 3;

static constexpr char start_name[] = "upnp_server_start";
static constexpr char loopback[] = "127.0.0.1";

// --- Addresses --------------------------------------------------------------

// The tables are filled in one go at the end, since connections of an earlier
// start may be reading them.
static void find_addresses()
{
    int32_t count = 0;
    char    table[UPNP_MAX_INTERFACES][UPNP_IP_SIZE] = {};

    upnp_get_interfaces(&count, table, UPNP_MAX_INTERFACES,
                        upnp_ini_file_getString(INI_IP));
    if (count < 1) {
        strcpy(table[0], loopback);
        count = 1;
    }
    for (int32_t i = 0; i < count; ++i)
        shared::copy_text_in(g_IPaddress[i], table[i], UPNP_IP_SIZE);
    shared::store(g_nInterfaceCount, count);
}

static std::string_view subnet_of(std::string_view ip)
{
    return ip.substr(0, ip.rfind('.'));
}

// The rows before it count whether they are served or not.
static bool has_same_subnet_as_earlier(int32_t row)
{
    for (int32_t i = 0; i < row; ++i) {
        if (subnet_of(g_IPaddress[i]) == subnet_of(g_IPaddress[row]))
            return true;
    }
    return false;
}

// With other addresses beside it, loopback is a second-rate one.
static bool is_mere_loopback(const char *ip)
{
    return strcmp(ip, loopback) == 0 && g_nInterfaceCount != 1;
}

// --- One address ------------------------------------------------------------

// Threads of an earlier start may still look at the row: its generation, which
// tells them to end, stays. One that comes late may even have put a socket there
// behind the stop.
static void reset_row(HttpServerEntry &row, const char *ip)
{
    shared::copy_text_in(row.ip, ip, sizeof(row.ip));
    shared::store(row.httpPort, 0);
    upnp_close_socket(&row.httpSocket);
    upnp_close_socket(&row.listenSocket);
    upnp_close_socket(&row.msearchSocket);
    upnp_close_socket(&row.heartbeatSocket);
    shared::store(row.msearchSenderActive, 0);
    shared::store(row.msearchWake, 0);
    shared::store(row.byebyeFirst, 0);
    shared::store(row.remoteAccess, 0);
    shared::store(row.tls, 0);
}

static bool create_listener(HttpServerEntry &row, int32_t wanted_port,
                            const char *ip)
{
    int32_t  socket = -1;
    uint32_t port = static_cast<uint32_t>(wanted_port);

    HTTP_create_server_socket(&socket, &port, ip);
    shared::store(row.httpPort, static_cast<int32_t>(port));
    shared::store(row.httpSocket, socket);
    return socket != -1;
}

static void start_plain_listener(HttpServerEntry &row, const char *ip)
{
    if (create_listener(row, upnp_ini_file_getInt(INI_HTTPPORT), ip)) {
        upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, start_name,
                      "HTTP Server starting at %s:%d", ip, row.httpPort);
        thread_once::start(HTTP_accept, &row, ACCEPT_PRIORITY);
    } else {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, start_name,
                      "Ignoring failing IP %s", ip);
    }
}

static void start_remote_listener(HttpServerEntry &remote,
                                  HttpServerEntry &plain, const char *ip)
{
    bool has_socket;

    if (server::remote_port == 0) {
        shared::store(remote.httpSocket, -1);
        return;
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, start_name, "remote access port %d",
                  server::remote_port);

    reset_row(remote, ip);
    shared::store(remote.generation, shared::load(plain.generation));
    shared::store(remote.tls,
                  static_cast<uint32_t>(upnp_ini_file_getInt(INI_ENABLETLS)));
    has_socket = create_listener(remote, server::remote_port, ip);
    shared::store(remote.remoteAccess, 1);
    if (!has_socket)
        return;

    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, start_name,
                  "HTTP Server for remote access starting at %s:%d", ip,
                  shared::load(plain.httpPort));
    thread_once::start(HTTP_accept, &remote, ACCEPT_PRIORITY);
}

static bool announces()
{
    return upnp_ssdp_getMediaServer() || upnp_ssdp_getRenderer() ||
           upnp_ssdp_getRemoteUI() || upnp_ssdp_getMTP();
}

static void start_heartbeat(HttpServerEntry &row, uint32_t byebye_first)
{
    shared::store(row.byebyeFirst, byebye_first);
    thread_once::start(SSDP_heartbeat, &row, HEARTBEAT_PRIORITY);
}

static void start_ssdp(HttpServerEntry &row, const char *ip,
                       uint32_t &byebye_first)
{
    if (is_mere_loopback(ip) &&
        upnp_ini_file_getInt(INI_DISABLELOCALSSDP) != 0)
        return;
    if (announces()) {
        // The file is looked for once a start; every row goes by the answer.
        byebye_first |= server::check_byebye_file();
        start_heartbeat(row, byebye_first);
    }
    thread_once::start(SSDP_listen, &row, LISTEN_PRIORITY);
}

static void serve_address(int32_t i, uint32_t &byebye_first)
{
    HttpServerEntry &row = server::plain_rows[i];
    const char      *ip = g_IPaddress[i];

    if (cb_dtcp_address)
        cb_dtcp_address(ip);
    if (has_same_subnet_as_earlier(i)) {
        upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, start_name,
                      "IP skipping, because same subnet as already used IP: %s",
                      ip);
        shared::copy_text_in(row.ip, "", sizeof(row.ip));
        return;
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, start_name, "IP init: %s", ip);
    reset_row(row, ip);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, start_name, "server interface %s",
                  ip);

    start_plain_listener(row, ip);
    start_remote_listener(server::remote_rows[i], row, ip);
    start_ssdp(row, ip, byebye_first);
    if (!is_mere_loopback(ip))
        shared::store(g_localPort, shared::load(row.httpPort));
}

// --- The start --------------------------------------------------------------

static void join_running_servers()
{
    if (server::in_restart || !upnp_ssdp_getRenderer())
        return;
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, start_name,
                  "CP already started internal servers, starting heartbeat for "
                  "renderer only");
    upnp_server_start_heartbeat_late();
}

void upnp_server_start(uint32_t *state)
{
    uint32_t byebye_first = 0;

    if (state && shared::load(*state) == UPNP_SERVER_STARTED) {
        join_running_servers();
        return;
    }
    server::create_global_lock();
    SSDP_init();
    if (state)
        shared::store(*state, UPNP_SERVER_STARTED);

    if (cb_dtcp_start && cb_dtcp_start() != 0)
        upnp_log_impl(UPNP_LOG_CRITICAL, LOG_SYSTEM, start_name,
                      "content protection could not be started");
    find_addresses();
    for (int32_t i = 0; i < g_nInterfaceCount; ++i)
        serve_address(i, byebye_first);

    if (upnp_ssdp_getMediaServer() || upnp_ssdp_getControlPoint() ||
        upnp_ssdp_getRemoteUI())
        M_Search();
    snprintf(server::address_text, sizeof(server::address_text), "%s:%d",
             server::plain_rows[0].ip,
             shared::load(server::plain_rows[0].httpPort));
}

void upnp_server_start_heartbeat_late(void)
{
    uint32_t byebye_first;

    if (upnp_ssdp_heartbeat_active())
        return;
    byebye_first = server::check_byebye_file();
    for (HttpServerEntry &row : server::plain_rows) {
        if (server::is_served(row))
            start_heartbeat(row, byebye_first);
    }
}
