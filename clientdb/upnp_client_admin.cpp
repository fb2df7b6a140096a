// upnp_client_admin.cpp - what an operator sees and changes of the clients.

#include "clientdb/upnp_client_admin.h"

#include "clientdb/client_match.h"
#include "clientdb/client_state.h"
#include "clientdb/upnp_client_query.h"
#include "clientdb/upnp_client_table.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <stdio.h>
#include <string.h>

static constexpr size_t NUMBER_BYTES = 16;
static constexpr size_t MAC_LENGTH = UPNP_MAC_SIZE - 1;

static bool is_equal(const char *text, const char *key)
{
    return text && strcmp(text, key) == 0;
}

static bool is_hex_digit(char c)
{
    return c && strchr("0123456789ABCDEF", c);
}

// Copies "aa:BB:cc:dd:ee:ff" in upper case; false for any other form.
static bool read_mac(const char *text, char (&mac)[UPNP_MAC_SIZE])
{
    if (strnlen(text, UPNP_MAC_SIZE) != MAC_LENGTH)
        return false;
    for (size_t i = 0; i < MAC_LENGTH; ++i) {
        mac[i] = static_cast<char>(upnp_toupper(text[i]));
        if (i % 3 == 2 ? mac[i] != ':' : !is_hex_digit(mac[i]))
            return false;
    }
    mac[MAC_LENGTH] = '\0';
    return true;
}

static ClientEntry *find_mac_locked(const char *mac, ClientEntry **previous)
{
    ClientEntry *entry = g_pClients;

    *previous = nullptr;
    while (entry && !is_equal(entry->mac, mac)) {
        *previous = entry;
        entry = entry->next;
    }
    return entry;
}

// Gives a record a type by an operator's word, with the type's own texts.
static void set_type_locked(ClientEntry *entry, int32_t id)
{
    entry->id = id;
    entry->fix_level = clientdb::FIXED;
    clientdb::set_text(entry->header1, clientdb::copy_keyword(id, "HH:"));
    clientdb::set_text(entry->header2, clientdb::copy_keyword(id, "H2:"));
    clientdb::set_text(entry->friendly_name, clientdb::copy_keyword(id, "NA:"));
}

// The default view's name stands for no view of its own.
static bool set_view_locked(ClientEntry *entry, const char *view)
{
    if (strcmp(view, g_strTreeDefaultView) == 0) {
        bool had_one = entry->view != nullptr;
        clientdb::set_text(entry->view, nullptr);
        return had_one;
    }
    if (is_equal(entry->view, view))
        return false;
    clientdb::set_text(entry->view, upnp_strdup_impl(view));
    return true;
}

static bool change_locked(ClientEntry *entry, int32_t id, int32_t enabled,
                          const char *view)
{
    bool has_changed = entry->enabled != enabled;

    entry->enabled = enabled;
    if (entry->id != id) {
        set_type_locked(entry, id);
        clientdb::set_text(entry->view,
                           clientdb::client_registered_default_view(id));
        return true;
    }
    if (view && set_view_locked(entry, view))
        has_changed = true;
    return has_changed;
}

// Null when out of memory.
static ClientEntry *add_locked(const char *mac, int32_t id, int32_t enabled)
{
    char        *copy = upnp_strdup_impl(mac);
    ClientEntry *entry = copy ? upnp_client_db_add_new_client() : nullptr;

    if (!entry) {
        clientdb::set_text(copy, nullptr);
        return nullptr;
    }
    entry->mac = copy;
    entry->enabled = enabled;
    set_type_locked(entry, id);
    return entry;
}

UpnpString *upnp_print_client(UpnpString *text, const ClientEntry *entry)
{
    char id[NUMBER_BYTES];
    char enabled[NUMBER_BYTES];

    if (!entry)
        return text;
    snprintf(id, sizeof(id), "%d", static_cast<int>(entry->id));
    snprintf(enabled, sizeof(enabled), "%d", static_cast<int>(entry->enabled));

    const char *const lines[] = {
        id,
        entry->mac,
        entry->ip,
        entry->udn,
        enabled,
        entry->friendly_name,
        entry->icon_url,
        entry->icon_mime_type,
        entry->view ? entry->view : g_strTreeDefaultView,
        upnp_client_db_supports_option(entry->id, "DV:") ? "1" : "0",
        "##########",
    };
    for (const char *line : lines) {
        text = upnp_string_concat(text, line ? line : "");
        if (text)
            text = upnp_string_concat(text, "\n");
        if (!text)
            return nullptr;
    }
    return text;
}

UpnpString *upnp_get_connected_client_list(void)
{
    UpnpString *text = nullptr;

    clientdb::lock();
    ClientEntry *entry = g_pClients;

    while (entry) {
        text = upnp_print_client(text, entry);
        entry = text ? entry->next : nullptr;
    }
    clientdb::unlock();
    return text;
}

UpnpString *upnp_client_add(const char *mac, int32_t id, int32_t enabled,
                            const char *view)
{
    ClientEntry *previous = nullptr;
    char         upper[UPNP_MAC_SIZE];
    bool         has_changed = true;

    if (!mac)
        return nullptr;
    if (!read_mac(mac, upper)) {
        upnp_log_impl(UPNP_LOG_INFO, LOG_CLIENT_DB, "upnp_client_add",
                      "\"%s\" is not a valid MAC adddress", mac);
        return upnp_string_concat(nullptr, "invalid MAC address");
    }

    clientdb::lock();
    ClientEntry *entry = find_mac_locked(upper, &previous);
    if (entry)
        has_changed = change_locked(entry, id, enabled, view);
    else
        entry = add_locked(upper, id, enabled);
    UpnpString *text = upnp_print_client(nullptr, entry);
    has_changed = has_changed && entry;
    clientdb::unlock();

    if (has_changed)
        client_table_write();
    return text;
}

UpnpString *upnp_client_delete(const char *mac)
{
    ClientEntry *previous = nullptr;

    if (!mac)
        return nullptr;

    clientdb::lock();
    ClientEntry *entry = find_mac_locked(mac, &previous);
    if (entry) {
        (previous ? previous->next : g_pClients) = entry->next;
        client_table_free(entry);
    }
    clientdb::unlock();

    if (!entry)
        return upnp_string_concat(nullptr, "not found!");
    client_table_write();
    return upnp_string_concat(nullptr, "deleted!");
}

static UpnpString *enable_by(char *ClientEntry::*field, const char *key,
                             int32_t enabled)
{
    UpnpString *text = nullptr;
    bool        has_changed = false;

    if (!key)
        return nullptr;

    clientdb::lock();
    for (ClientEntry *entry = g_pClients; entry; entry = entry->next) {
        if (!is_equal(entry->*field, key) || entry->enabled == enabled)
            continue;
        entry->enabled = enabled;
        // A text that was lost to a lack of memory does not begin anew.
        if (text || !has_changed)
            text = upnp_print_client(text, entry);
        has_changed = true;
    }
    clientdb::unlock();

    if (has_changed)
        client_table_write();
    return text;
}

UpnpString *upnp_client_enable_by_friendlyname(const char *name,
                                               int32_t     enabled)
{
    return enable_by(&ClientEntry::friendly_name, name, enabled);
}

UpnpString *upnp_client_enable_by_udn(const char *udn, int32_t enabled)
{
    return enable_by(&ClientEntry::udn, udn, enabled);
}

UpnpString *upnp_client_enable_by_mac(const char *mac, int32_t enabled)
{
    return enable_by(&ClientEntry::mac, mac, enabled);
}

UpnpString *upnp_client_enable_by_ip(const char *ip, int32_t enabled)
{
    return enable_by(&ClientEntry::ip, ip, enabled);
}
