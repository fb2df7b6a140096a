// upnp_nic.cpp - restarts the servers when the addresses change, and answers
// which addresses are the machine's own.

#include "server/upnp_nic.h"

#include "config/upnp_ini_file.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "server/server_rows.h"
#include "server/upnp_dtcp.h"

#include <algorithm>
#include <atomic>
#include <string.h>

static constexpr int32_t CHECK_SECONDS = 30;
static constexpr int32_t RESTART_PAUSE_MS = 1000;

static constexpr char check_name[] = "check_NIC_change";

// The codes of the library's error table that are used here.
enum { SUCCESS = 0, BAD_PARAMETER = 2, OUT_OF_MEMORY = 8, FAILED = 14 };

namespace {
struct Address {
    char text[UPNP_IP_SIZE];
};
}

static std::atomic<bool> triggered;
static uint32_t          last_check;  // of the thread that checks

// --- The tables -------------------------------------------------------------

static int32_t address_count()
{
    return std::min<int32_t>(shared::load(g_nInterfaceCount),
                             UPNP_MAX_INTERFACES);
}

static Address copy_address(char *ip)
{
    Address copy;

    shared::copy_text_out(copy.text, ip, sizeof(copy.text));
    return copy;
}

static bool can_ask(const char *text)
{
    return text && *text && address_count() >= 1;
}

// The first plain listener whose address fits, null if there is none. *ip gets
// its address.
template <typename Fits>
static HttpServerEntry *find_listener(Fits fits, Address *ip)
{
    for (HttpServerEntry &row : server::plain_rows) {
        *ip = copy_address(row.ip);
        if (ip->text[0] && fits(row, ip->text))
            return &row;
    }
    return nullptr;
}

// --- The watch --------------------------------------------------------------

static bool is_time_to_check(uint32_t now)
{
    if (triggered)
        return true;
    return upnp_ini_file_getBoolean(INI_NICRESTART) &&
           static_cast<int32_t>(now - last_check) >= CHECK_SECONDS;
}

static bool is_in(const char (&table)[UPNP_MAX_INTERFACES][UPNP_IP_SIZE],
                  int32_t count, const char *ip)
{
    return std::any_of(table, table + count,
                       [ip](const char *row) { return strcmp(row, ip) == 0; });
}

static bool addresses_have_changed()
{
    char    table[UPNP_MAX_INTERFACES][UPNP_IP_SIZE] = {};
    int32_t count = 0;
    int32_t old_count = shared::load(g_nInterfaceCount);

    upnp_get_interfaces(&count, table, UPNP_MAX_INTERFACES,
                        upnp_ini_file_getString(INI_IP));
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, check_name, "IP count: %d / %d",
                  count, old_count);
    if (count != old_count)
        return true;

    for (int32_t i = 0; i < count; ++i) {
        upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, check_name, "IP verify: %s",
                      table[i]);
        if (!is_in(table, count, copy_address(g_IPaddress[i]).text))
            return true;
    }
    return false;
}

// The null state words leave those of the program's own start untouched.
static void restart()
{
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, check_name,
                  "Server restarting due to NIC changes");
    triggered = false;
    server::in_restart = 1;

    upnp_server_stop(nullptr);
    if (cb_dtcp_network_change)
        cb_dtcp_network_change();
    Sleep(RESTART_PAUSE_MS);
    upnp_server_start(nullptr);

    server::in_restart = 0;
    if (server::restart_callback)
        server::restart_callback();
}

void check_NIC_change(uint32_t now)
{
    if (!is_time_to_check(now))
        return;
    last_check = now;
    triggered = false;
    if (addresses_have_changed())
        restart();
}

void Server_trigger_NICchange(void)
{
    triggered = true;
}

int32_t upnp_server_is_in_restart(void)
{
    return server::in_restart;
}

// --- Local addresses --------------------------------------------------------

int32_t upnp_is_my_server(const char *ip, uint32_t port)
{
    auto fits = [=](HttpServerEntry &row, const char *row_ip) {
        return strcmp(row_ip, ip) == 0 &&
               static_cast<uint32_t>(shared::load(row.httpPort)) == port;
    };
    Address found;

    return can_ask(ip) && find_listener(fits, &found);
}

int32_t is_local_ip(const char *ip)
{
    if (!can_ask(ip))
        return 0;
    for (int32_t i = 0; i < address_count(); ++i) {
        if (strcmp(copy_address(g_IPaddress[i]).text, ip) == 0)
            return 1;
    }
    return 0;
}

char *upnp_get_used_local_ip(const char *text)
{
    auto occurs = [text](HttpServerEntry &, const char *row_ip) {
        const char *place = strstr(text, row_ip);
        if (!place)
            return false;
        char behind = place[strlen(row_ip)];
        return behind < '0' || behind > '9';
    };
    Address found;

    if (!can_ask(text) || !find_listener(occurs, &found))
        return nullptr;
    return upnp_strdup_impl(found.text);
}

int32_t upnp_get_matching_local_server(const char *ip, char **local_ip,
                                       uint32_t *local_port, uint32_t *reserved)
{
    if (local_ip)
        *local_ip = nullptr;
    if (local_port)
        *local_port = 0;
    if (reserved)
        *reserved = 0;
    if (!ip || *ip < '0' || *ip > '9')
        return BAD_PARAMETER;

    const char *last_dot = strrchr(ip, '.');
    if (!last_dot || address_count() < 1)
        return FAILED;

    auto    length = static_cast<size_t>(last_dot + 1 - ip);
    Address found;
    auto   *row = find_listener(
        [=](HttpServerEntry &, const char *row_ip) {
            return strncmp(row_ip, ip, length) == 0;
        },
        &found);
    if (!row)
        return FAILED;

    if (local_port)
        *local_port = static_cast<uint32_t>(shared::load(row->httpPort));
    if (local_ip) {
        *local_ip = upnp_strdup_impl(found.text);
        if (!*local_ip)
            return OUT_OF_MEMORY;
    }
    return SUCCESS;
}

int32_t upnp_server_is_local_network(const char *ip)
{
    return upnp_get_matching_local_server(ip, nullptr, nullptr, nullptr) ==
           SUCCESS;
}

char *upnp_get_matching_local_ip(const char *ip)
{
    char *local_ip;

    upnp_get_matching_local_server(ip, &local_ip, nullptr, nullptr);
    return local_ip;
}
