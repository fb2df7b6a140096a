// upnp_client_types.cpp - loads clients.db and cuts it into client types.
//
// A section stays the text that it is in the file. Whatever is asked about a
// client type is searched for in that text.

#include "clientdb/upnp_client_db.h"

#include "clientdb/client_state.h"
#include "clientdb/upnp_client_table.h"
#include "config/upnp_ini_file.h"
#include "documents/upnp_resource.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_string.h"

#include <string.h>

static constexpr char   section_mark[] = ">>";
static constexpr size_t LAST_SECTION = UPNP_CLIENT_TYPES - 2;

char g_strTreeDefaultView[128];

char   *clientdb::client_db_entries[UPNP_CLIENT_TYPES];
char   *clientdb::client_views;
int32_t clientdb::client_autoenable = 1;

const char *clientdb::section_of(int32_t id)
{
    if (static_cast<uint32_t>(id) >= UPNP_CLIENT_TYPES)
        return nullptr;
    return client_db_entries[id] ? client_db_entries[id] : "";
}

static void clear_sections()
{
    for (char *&section : clientdb::client_db_entries) {
        if (section)
            upnp_free_impl(section);
        section = nullptr;
    }
}

// Each section ends in front of the next mark, so what follows the last mark
// belongs to none.
static void split_sections(const char *text)
{
    const char *start = text;

    for (size_t i = 0; (start = strstr(start, section_mark)) != nullptr; ++i) {
        const char *next = strstr(start + 1, section_mark);
        if (!next)
            return;

        uint32_t size = static_cast<uint32_t>(next - start);
        char    *section = static_cast<char *>(upnp_malloc_impl(size));
        if (!section)
            return;
        memcpy(section, start, size);
        section[size - 1] = '\0';
        clientdb::client_db_entries[i] = section;

        if (i == LAST_SECTION) {
            upnp_log_impl(UPNP_LOG_CRITICAL, LOG_CLIENT_DB, "split_sections",
                          "Too much clients in clients.db");
            return;
        }
        // The next mark is at most one byte behind this one, as in ">>>";
        // three bytes on is still inside the text.
        start += 3;
    }
}

// Puts the types of the file, or none, in the place of those before.
static void load_types()
{
    char     name[] = "clients.db";
    uint32_t size = 0;
    void    *data = nullptr;

    bool has_file = upnp_resource_get(name, &size, &data) && data;

    clear_sections();
    clientdb::clear_mime_table();
    if (!has_file)
        return;
    if (size != 0) {
        char *text = static_cast<char *>(data);
        text[size - 1] = '\0';
        clientdb::build_mime_table(text);
        split_sections(text);
    }
    upnp_free_impl(data);
}

void upnp_client_db_init(void)
{
    if (upnp_ini_file_isSet(INI_CLEARCLIENTSONRESTART))
        reset_clients();

    load_types();

    exit_client_table();
    exit_client_udn_table();
    init_client_table();
}

void upnp_client_db_exit(void)
{
    exit_client_table();
    exit_client_udn_table();

    clientdb::lock();
    clear_sections();
    clientdb::clear_mime_table();
    if (clientdb::client_views)
        upnp_free_impl(clientdb::client_views);
    clientdb::client_views = nullptr;
    clientdb::unlock();
}

void upnp_client_db_add_view(const char *view)
{
    char *marked = view ? upnp_string_append(view, "#") : nullptr;

    if (!marked)
        return;

    char *views = upnp_string_append(clientdb::client_views, marked);
    upnp_free_impl(marked);
    if (!views)
        return;
    if (clientdb::client_views)
        upnp_free_impl(clientdb::client_views);
    clientdb::client_views = views;
}

void upnp_client_db_set_defaultview(const char *view)
{
    if (!view)
        return;

    clientdb::lock();
    size_t length = strnlen(view, sizeof(g_strTreeDefaultView) - 1);
    memmove(g_strTreeDefaultView, view, length);
    g_strTreeDefaultView[length] = '\0';
    clientdb::unlock();
}

int32_t upnp_client_db_set_autoenable(int32_t value)
{
    shared::store(clientdb::client_autoenable, value);
    return value;
}
