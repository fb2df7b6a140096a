// upnp_client_match.cpp - finds the client type behind a head or a Browse.

#include "clientdb/client_match.h"
#include "clientdb/client_state.h"
#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_query.h"
#include "clientdb/upnp_client_table.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <stdio.h>
#include <string.h>
#include <strings.h>

static constexpr uint32_t MARK_BYTES = 128;
static constexpr uint32_t BROWSE_BYTES = 1024;
static constexpr size_t   PARAMETER_BYTES = 512;
static constexpr size_t   TAG_BYTES = 32;

void clientdb::set_text(char *&slot, char *text)
{
    if (slot)
        upnp_free_impl(slot);
    slot = text;
}

void clientdb::take_over(ClientEntry *entry, Match &match)
{
    entry->id = match.id;
    entry->fix_level = match.fix_level;
    set_text(entry->header1, match.header1);
    set_text(entry->header2, match.header2);
    set_text(entry->friendly_name, match.name);
    set_text(entry->view, client_registered_default_view(match.id));
    match = {};
}

void clientdb::release(Match &match)
{
    for (char **text : { &match.header1, &match.header2, &match.name })
        set_text(*text, nullptr);
}

// "DB:FIX" stands in "DB:FIXPC" as well, so the longer word goes first.
int32_t clientdb::fix_level_of(int32_t id)
{
    if (upnp_client_db_supports_option(id, "DB:FIXPC"))
        return FIXED_FOR_IP;
    return upnp_client_db_supports_option(id, "DB:FIX") ? FIXED : NOT_FIXED;
}

char *clientdb::copy_keyword(int32_t id, const char *key)
{
    char value[MARK_BYTES];

    upnp_client_db_getKeyword(section_of(id), value, sizeof(value), key);
    return upnp_strdup_impl(value);
}

static void give_keyword(char **out, int32_t id, const char *key)
{
    if (out)
        *out = clientdb::copy_keyword(id, key);
}

// The key whose value stands in headers, or null; mark receives that value. A
// section with "HH:" is never asked for its "H2:".
static const char *matching_key(const char *section, const char *headers,
                                char (&mark)[MARK_BYTES])
{
    if (upnp_client_db_getKeyword(section, mark, MARK_BYTES, "HH:"))
        return upnp_istrstr(headers, mark) ? "HH:" : nullptr;
    if (upnp_client_db_getKeyword(section, mark, MARK_BYTES, "H2:"))
        return strstr(headers, mark) ? "H2:" : nullptr;
    return nullptr;
}

int32_t upnp_client_db_check_header(const char *headers, int32_t *out_id,
                                    int32_t *out_fix_level, char **out_header1,
                                    char **out_header2, char **out_name)
{
    int32_t     found = -1;
    int32_t     fix_level = clientdb::NOT_FIXED;
    const char *first_key = "HH:";
    char        mark[MARK_BYTES];

    if (out_fix_level)
        *out_fix_level = clientdb::NOT_FIXED;
    if (!headers)
        return 0;
    upnp_log_impl(UPNP_LOG_TRACE, LOG_CLIENT_DB, "upnp_client_db_check_header",
                  "Checking http header to find a matching client.db entry "
                  "(%s)",
                  headers);

    for (int32_t id = 0; const char *section = clientdb::client_db_entries[id];
         ++id) {
        const char *key = matching_key(section, headers, mark);
        if (!key)
            continue;
        upnp_log_impl(UPNP_LOG_TRACE, LOG_CLIENT_DB,
                      "upnp_client_db_check_header",
                      "Found matching candidate for client using the http "
                      "header (%s) id=%d",
                      mark, static_cast<int>(id));
        found = id;
        fix_level = clientdb::fix_level_of(id);
        if (fix_level != clientdb::NOT_FIXED) {
            first_key = key;
            break;
        }
    }
    if (fix_level == clientdb::NOT_FIXED && found < 1)
        return 0;

    if (out_id)
        *out_id = found;
    if (out_fix_level)
        *out_fix_level = fix_level;
    give_keyword(out_header1, found, first_key);
    give_keyword(out_header2, found, "H2:");
    give_keyword(out_name, found, "NA:");
    return 1;
}

namespace {
struct BrowseParameter {
    const char *name;
    const char *value;  // null: not compared
};
}

// Copies what stands between the tags of name, in any case; empty if there is
// no such element.
static void read_element(const char *text, const char *name,
                         char (&value)[PARAMETER_BYTES])
{
    char tag[TAG_BYTES];

    value[0] = '\0';
    snprintf(tag, sizeof(tag), "<%s>", name);
    const char *start = upnp_istrstr(text, tag);
    if (!start)
        return;
    start += strlen(tag);

    snprintf(tag, sizeof(tag), "</%s>", name);
    const char *end = upnp_istrstr(start, tag);
    if (!end)
        return;

    size_t length =
        std::min(static_cast<size_t>(end - start), PARAMETER_BYTES - 1);
    memcpy(value, start, length);
    value[length] = '\0';
}

// A parameter that the marks do not mention is no obstacle.
static bool is_allowed(const char *marks, const BrowseParameter &parameter)
{
    char wanted[PARAMETER_BYTES];

    if (!parameter.value)
        return true;
    read_element(marks, parameter.name, wanted);
    return !wanted[0] || strcasecmp(wanted, parameter.value) == 0;
}

template <size_t Count>
static bool browses_like(const char *section, const char *headers,
                         const BrowseParameter (&parameters)[Count])
{
    char marks[BROWSE_BYTES];

    if (!upnp_client_db_getKeyword(section, marks, sizeof(marks), "HB:") ||
        !upnp_istrstr(headers, marks))
        return false;
    if (!upnp_client_db_getKeyword(section, marks, sizeof(marks), "MB:"))
        return false;
    return std::all_of(parameters, parameters + Count,
                       [&](const BrowseParameter &parameter) {
                           return is_allowed(marks, parameter);
                       });
}

// Name, marks and view stay those of the old type.
static void retype_by_ip(const char *ip, int32_t id)
{
    ClientEntry *previous = nullptr;

    clientdb::lock();
    ClientEntry *entry = g_pClients;

    while (entry &&
           (!entry->ip || strcmp(entry->ip, ip) != 0 || entry->id == id)) {
        previous = entry;
        entry = entry->next;
    }
    if (entry) {
        entry->id = id;
        entry->fix_level = clientdb::FIXED;
        clientdb::client_table_move_to_front(entry, previous);
        upnp_log_impl(UPNP_LOG_WARNING, LOG_CLIENT_DB,
                      "upnp_client_db_update_by_ip",
                      "%s (id=%d) detected at IP %s by browse parameters",
                      entry->friendly_name ? entry->friendly_name : "(null)",
                      static_cast<int>(id), ip);
    }
    clientdb::unlock();

    if (entry)
        client_table_write();
}

void upnp_client_db_match_by_browse(const char *browse_flag,
                                    const char *object_id, const char *filter,
                                    const char *starting_index,
                                    const char *request_count,
                                    const char *sort_criteria, int32_t *out_id,
                                    const char *ip, const char *headers)
{
    const BrowseParameter parameters[] = {
        { "BrowseFlag", browse_flag },
        { "ObjectID", object_id },
        { "Filter", filter },
        { "StartingIndex", starting_index },
        { "RequestCount", request_count },
        { "SortCriteria", sort_criteria },
    };
    int32_t id = 0;

    while (clientdb::client_db_entries[id] &&
           !browses_like(clientdb::client_db_entries[id], headers, parameters))
        ++id;
    if (!clientdb::client_db_entries[id])
        return;

    if (out_id)
        *out_id = id;
    if (ip)
        retype_by_ip(ip, id);
}
