// upnp_client_identify.cpp - the client behind a request, and its record.

#include "clientdb/upnp_client_identify.h"

#include "clientdb/client_match.h"
#include "clientdb/client_state.h"
#include "clientdb/upnp_client_table.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "server/upnp_nic.h"

#include <string.h>
#include <string_view>

using clientdb::Match;

static constexpr size_t MAC_BYTES = 32;

// Takes the place of a head that no type knows, so that a type whose mark
// stands in this text serves DLNA devices of any make.
static constexpr char dlna_mark[] = "DLNADOC/1.50";

static bool is_equal(const char *text, const char *key)
{
    return text && strcmp(text, key) == 0;
}

static bool stands_in(const char *headers, const char *mark)
{
    return mark && mark[0] && strstr(headers, mark);
}

// A piece of the address will do: 192.168.0.5 counts as the server's own
// machine for a listener at 192.168.0.50.
static bool is_own_request(const char *base_url, const char *ip,
                           const char *headers)
{
    static constexpr const char *targets[] = { "/rpc/", "/configpage/",
                                               "/resources/" };
    static constexpr const char *marks[] = { "M-SEARCH",
                                             "Aggregation, QuorelMedia" };

    if (!strstr(base_url, ip))
        return false;

    std::string_view line = headers;
    line = line.substr(0, line.find("\r\n"));
    for (const char *target : targets) {
        if (line.find(target) != line.npos)
            return true;
    }
    for (const char *mark : marks) {
        if (strstr(headers, mark))
            return true;
    }
    return false;
}

static bool match_head(const char *headers, Match &match)
{
    return upnp_client_db_check_header(headers, &match.id, &match.fix_level,
                                       &match.header1, &match.header2,
                                       &match.name);
}

// Whether the record's type is to be taken without looking any further.
static bool is_settled(const ClientEntry *entry, const char *headers)
{
    if (entry->fix_level == clientdb::FIXED)
        return true;
    return entry->fix_level == clientdb::FIXED_FOR_IP &&
           (stands_in(headers, entry->header1) ||
            stands_in(headers, entry->header2));
}

// Gives the record another type if the head names one; whether it did.
static bool rematch_locked(ClientEntry *entry, const char *headers)
{
    bool  is_free = entry->fix_level == clientdb::NOT_FIXED;
    Match match = {};

    if (!is_free && entry->fix_level != clientdb::FIXED_FOR_IP)
        return false;

    bool is_other = match_head(headers, match) && match.id != entry->id &&
                    (is_free || match.fix_level > clientdb::NOT_FIXED);
    if (is_other)
        clientdb::take_over(entry, match);
    clientdb::release(match);
    return is_other;
}

// Finds the type among the records of an address that have been seen since the
// start; a known, settled client ends here.
static bool find_by_ip(const char *ip, const char *headers, int32_t *id)
{
    ClientEntry *previous = nullptr;
    bool         is_done = false;
    bool         has_changed = false;
    int32_t      best = -1;

    clientdb::lock();
    for (ClientEntry *entry = g_pClients; entry && !is_done;
         previous = entry, entry = entry->next) {
        if (!is_equal(entry->ip, ip) || !entry->connected)
            continue;
        is_done = is_settled(entry, headers);
        if (!is_done && rematch_locked(entry, headers)) {
            clientdb::client_table_move_to_front(entry, previous);
            is_done = has_changed = true;
        }
        if (is_done || entry->fix_level == clientdb::FIXED_FOR_IP || best < 0)
            best = entry->id;
    }
    clientdb::unlock();

    if (has_changed)
        client_table_write();
    *id = best;
    return is_done || best > 0;
}

// Brings the records of a machine back, at the address it has now, and finds
// the type among them.
static bool find_by_mac(const char *mac, const char *ip, const char *headers,
                        int32_t *id)
{
    ClientEntry *previous = nullptr;
    ClientEntry *next = nullptr;
    bool         is_done = false;
    int32_t      best = -1;

    clientdb::lock();
    for (ClientEntry *entry = g_pClients; entry && !is_done; entry = next) {
        next = entry->next;
        if (!is_equal(entry->mac, mac)) {
            previous = entry;
            continue;
        }
        if (!is_equal(entry->ip, ip))
            clientdb::set_text(entry->ip, upnp_strdup_impl(ip));
        entry->connected = 1;
        clientdb::client_table_move_to_front(entry, previous);
        if (!previous)
            previous = entry;

        is_done = is_settled(entry, headers);
        if (is_done || entry->fix_level == clientdb::FIXED_FOR_IP)
            best = entry->id;
    }
    clientdb::unlock();

    *id = best;
    if (!is_done && best <= 0)
        return false;
    client_table_write();
    return true;
}

static bool has_record_locked(const char *mac, const char *ip)
{
    const ClientEntry *entry = g_pClients;

    while (entry && !(is_equal(entry->mac, mac) && is_equal(entry->ip, ip)))
        entry = entry->next;
    return entry != nullptr;
}

// A record that is there already stays as it is: the next request finds it by
// its address and corrects it.
static void add_record(const char *mac, const char *ip, Match &match)
{
    ClientEntry *entry = nullptr;
    char        *mac_copy = upnp_strdup_impl(mac);
    char        *ip_copy = upnp_strdup_impl(ip);

    clientdb::lock();
    if (mac_copy && ip_copy && !has_record_locked(mac, ip))
        entry = upnp_client_db_add_new_client();
    if (entry) {
        clientdb::set_text(entry->mac, mac_copy);
        clientdb::set_text(entry->ip, ip_copy);
        mac_copy = ip_copy = nullptr;
        entry->connected = 1;
        clientdb::take_over(entry, match);
    }
    clientdb::unlock();

    clientdb::set_text(mac_copy, nullptr);
    clientdb::set_text(ip_copy, nullptr);
    if (entry)
        client_table_write();
}

int32_t upnp_client_db_add_by_ip(const char *base_url, const char *ip,
                                 const char *header)
{
    Match   match = {};
    char    mac[MAC_BYTES];
    int32_t id = 0;

    if (!base_url || !ip || !header || !ip[0] || !header[0] ||
        is_own_request(base_url, ip, header))
        return 0;
    if (find_by_ip(ip, header, &id))
        return id;

    bool has_mac = clientdb::peer_mac(ip, mac);
    if (has_mac && find_by_mac(mac, ip, header, &id))
        return id;

    match.id = clientdb::GENERIC_PROFILE;
    if (!match_head(header, match) && has_mac)
        match_head(dlna_mark, match);
    id = match.id;
    if (has_mac) {
        upnp_log_impl(UPNP_LOG_TRACE, LOG_CLIENT_DB, "upnp_client_db_add_by_ip",
                      "no entry found in known clients list for ip=%s, mac=%s "
                      "creating new entry",
                      ip, mac);
        add_record(mac, ip, match);
    }
    clientdb::release(match);
    return id;
}

int32_t upnp_client_db_access_allowed(const char *ip)
{
    int32_t is_allowed = shared::load(clientdb::client_autoenable);

    if (!ip)
        return is_allowed;
    if (is_local_ip(ip))
        return 1;

    clientdb::lock();
    ClientEntry *entry = g_pClients;
    while (entry && !is_equal(entry->ip, ip))
        entry = entry->next;
    if (entry)
        is_allowed = entry->enabled;
    clientdb::unlock();
    return is_allowed;
}
