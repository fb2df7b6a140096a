// upnp_client_device.cpp - follows an SSDP announcement to the device's own
// description, and finds its client type there.

#include "clientdb/client_match.h"
#include "clientdb/client_state.h"
#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_query.h"
#include "clientdb/upnp_client_table.h"
#include "documents/upnp_xml.h"
#include "http/http_client.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"
#include "runtime/upnp_thread.h"
#include "runtime/upnp_thread_once.h"

#include <initializer_list>
#include <stdio.h>
#include <string.h>

static constexpr uint32_t MARK_BYTES = 256;
static constexpr size_t   PACKET_BYTES = 1024;
static constexpr size_t   URL_BYTES = 256;
static constexpr size_t   ADDRESS_BYTES = 20;
static constexpr size_t   MAC_BYTES = 32;
static constexpr int32_t  THREAD_PRIORITY = 5;

// The colon behind a UDN stands at least this far behind its start.
static constexpr size_t UDN_BYTES = 10;

static constexpr char scheme[] = "http://";
static constexpr char check_name[] = "upnp_client_db_check_device_description";

namespace {
// What a description tells; the texts are tracked and owned.
struct Device {
    clientdb::Match match;
    char           *mac;
    char           *ip;
    char           *udn;
    char           *icon_url;
    char           *icon_mime_type;
};
}

// --- Descriptions -----------------------------------------------------------

static void give_copy(char **out, const char *text)
{
    if (out && text)
        *out = upnp_strdup_impl(text);
}

// Further icons are ignored.
static void read_description(const char *body, char **out_name,
                             char **out_icon_url, char **out_icon_mime_type)
{
    XmlNode *root = upnp_xml_parse(body);
    XmlNode *icon = upnp_xml_find_tag(root, "icon");

    give_copy(out_name, upnp_xml_find_tag_value(root, "friendlyName"));
    if (icon) {
        give_copy(out_icon_url, upnp_xml_find_tag_value(icon->children, "url"));
        give_copy(out_icon_mime_type,
                  upnp_xml_find_tag_value(icon->children, "mimetype"));
    }
    upnp_xml_release(root);
}

// "D3:" takes the place of "D2:", but only in a section that has both.
static bool describes(const char *section, const char *body)
{
    char mark[MARK_BYTES];
    char further[MARK_BYTES];

    if (!upnp_client_db_getKeyword(section, mark, sizeof(mark), "DD:") ||
        !strstr(body, mark))
        return false;
    if (!upnp_client_db_getKeyword(section, mark, sizeof(mark), "D2:"))
        return true;
    if (upnp_client_db_getKeyword(section, further, sizeof(further), "D3:"))
        return strstr(body, further) != nullptr;
    return strstr(body, mark) != nullptr;
}

int32_t upnp_client_db_check_device_description(
    const char *url, char **out_name, char **out_h2, char **out_hh,
    char **out_icon_url, char **out_icon_mime_type, int32_t *out_id,
    int32_t *out_fix_level)
{
    UpnpString *answer = nullptr;
    int32_t     id = 0;
    int32_t     result = 0;

    if (!url)
        return 0;
    upnp_log_impl(UPNP_LOG_TRACE, LOG_CLIENT_DB, check_name,
                  "Trying to fetch the device description from client (%s)",
                  url);
    answer = HTTP_get(url);
    if (upnp_string_is_empty(answer))
        goto out;

    result = 1;
    upnp_log_impl(UPNP_LOG_TRACE, LOG_CLIENT_DB, check_name,
                  "Got device description from client\n%s", answer->buffer);
    read_description(answer->buffer, out_name, out_icon_url,
                     out_icon_mime_type);

    while (clientdb::client_db_entries[id] &&
           !describes(clientdb::client_db_entries[id], answer->buffer))
        ++id;
    if (!clientdb::client_db_entries[id])
        goto out;

    if (out_id)
        *out_id = id;
    if (out_fix_level)
        *out_fix_level = clientdb::fix_level_of(id);
    if (out_h2)
        *out_h2 = clientdb::copy_keyword(id, "H2:");
    if (out_hh)
        *out_hh = clientdb::copy_keyword(id, "HH:");
    upnp_log_impl(UPNP_LOG_TRACE, LOG_CLIENT_DB, check_name,
                  "Found matching candidate for client using the dd id=%d",
                  static_cast<int>(id));

out:
    upnp_string_safe_free(&answer);
    return result;
}

// --- Announcements ----------------------------------------------------------

// The first URL of a packet, up to a blank, a control or a high byte, and the
// address in it.
static bool read_location(const char *packet, char (&url)[URL_BYTES],
                          char (&ip)[ADDRESS_BYTES])
{
    const char *text = upnp_istrstr(packet, scheme);
    size_t      length = 0;

    if (!text)
        return false;
    while (length < URL_BYTES - 1 && static_cast<int8_t>(text[length]) > ' ')
        ++length;
    memcpy(url, text, length);
    url[length] = '\0';

    snprintf(ip, sizeof(ip), "%s", url + strlen(scheme));
    ip[strcspn(ip, ":/")] = '\0';
    return true;
}

// "USN: uuid:4d696e69-444c::upnp:rootdevice" gives "uuid:4d696e69-444c".
// Cuts the packet behind the UDN; null if it has none with a colon behind it.
static char *read_udn(char *packet)
{
    char *usn = upnp_istrstr(packet, "USN:");
    char *udn = upnp_istrstr(usn, "uuid:");

    if (!udn || strnlen(udn, UDN_BYTES) < UDN_BYTES)
        return nullptr;

    char *end = strchr(udn + UDN_BYTES, ':');
    if (!end)
        return nullptr;
    *end = '\0';
    return udn;
}

// Whether the device has not been seen before. It is remembered before it is
// fetched, so that one which does not answer is not asked again.
static bool is_new(const char *udn)
{
    clientdb::lock();
    ClientUdnEntry *entry = g_pDiscoveredUDNs;

    while (entry && !(entry->udn && strcmp(entry->udn, udn) == 0))
        entry = entry->next;

    bool is_known = entry != nullptr;
    if (!is_known) {
        char *copy = upnp_strdup_impl(udn);
        if (copy)
            entry = static_cast<ClientUdnEntry *>(
                upnp_calloc_impl(1, sizeof(ClientUdnEntry)));
        if (entry) {
            *entry = { copy, g_pDiscoveredUDNs };
            g_pDiscoveredUDNs = entry;
        } else if (copy) {
            upnp_free_impl(copy);
        }
    }
    clientdb::unlock();
    return !is_known;
}

static void move_text(char *&slot, char *&text)
{
    clientdb::set_text(slot, text);
    text = nullptr;
}

static void store_locked(Device &device)
{
    ClientEntry *previous = nullptr;
    ClientEntry *entry = g_pClients;

    while (entry && !(entry->ip && strcmp(entry->ip, device.ip) == 0)) {
        previous = entry;
        entry = entry->next;
    }
    if (entry) {
        clientdb::client_table_move_to_front(entry, previous);
    } else {
        entry = upnp_client_db_add_new_client();
        if (!entry)
            return;
        move_text(entry->ip, device.ip);
        entry->connected = 1;
    }
    move_text(entry->mac, device.mac);
    move_text(entry->udn, device.udn);
    move_text(entry->icon_url, device.icon_url);
    move_text(entry->icon_mime_type, device.icon_mime_type);
    clientdb::take_over(entry, device.match);
}

static void release(Device &device)
{
    for (char **text : { &device.mac, &device.ip, &device.udn, &device.icon_url,
                         &device.icon_mime_type })
        clientdb::set_text(*text, nullptr);
    clientdb::release(device.match);
}

// Fetches the description and keeps what it tells.
static void identify(const char *url, const char *ip, const char *mac,
                     const char *udn)
{
    Device device = {};

    // The type's "H2:" becomes header1 and its "HH:" header2, other than with
    // a match by head. Both fields are tried alike.
    device.match.id = -1;
    upnp_client_db_check_device_description(
        url, &device.match.name, &device.match.header1, &device.match.header2,
        &device.icon_url, &device.icon_mime_type, &device.match.id,
        &device.match.fix_level);
    if (device.match.id < 0)
        goto out;

    device.mac = upnp_strdup_impl(mac);
    device.ip = upnp_strdup_impl(ip);
    device.udn = upnp_strdup_impl(udn);
    if (device.mac && device.ip && device.udn) {
        clientdb::lock();
        store_locked(device);
        clientdb::unlock();
        client_table_write();
    }

out:
    release(device);
}

static void follow_up(const char *text)
{
    char packet[PACKET_BYTES];
    char url[URL_BYTES];
    char ip[ADDRESS_BYTES];
    char mac[MAC_BYTES];

    snprintf(packet, sizeof(packet), "%s", text);
    if (!read_location(packet, url, ip))
        return;

    const char *udn = read_udn(packet);
    if (!udn || strstr(udn, "RemoteUI-Client-Embedded-Device") ||
        !GetMACaddress(ip, mac) || !is_new(udn))
        return;
    identify(url, ip, mac, udn);
}

void upnp_client_db_add_by_ssdp_alive(const char *packet)
{
    if (!packet)
        return;

    char *copy = upnp_strdup_impl(packet);
    if (!copy) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_CLIENT_DB,
                      "upnp_client_db_add_by_ssdp_alive", "Out of memory");
        return;
    }
    if (!thread_once::start(upnp_client_db_check_client, copy, THREAD_PRIORITY))
        upnp_free_impl(copy);
}

void *upnp_client_db_check_client(void *packet)
{
    upnp_init_thread("upnp_client_db_check_client");
    if (packet) {
        follow_up(static_cast<const char *>(packet));
        upnp_free_impl(packet);
    }
    upnp_end_thread();
    return nullptr;
}
