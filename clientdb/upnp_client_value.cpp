// upnp_client_value.cpp - the texts and numbers behind the keys of a type.

#include "clientdb/client_state.h"
#include "clientdb/upnp_client_query.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_string.h"
#include "server/upnp_server.h"

#include <algorithm>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static constexpr size_t   LINE_BYTES = 1023;
static constexpr size_t   SCALING_BYTES = 63;
static constexpr size_t   NO_LIMIT = SIZE_MAX;
static constexpr uint32_t KEY_BYTES = 3;  // two letters and a colon

// The text behind the first key of a type, or null.
static const char *text_behind(int32_t id, const char *key)
{
    const char *section = clientdb::section_of(id);
    const char *hit = section && key ? strstr(section, key) : nullptr;

    return hit ? hit + strlen(key) : nullptr;
}

// A tracked copy of text up to the first of the stops, of at most limit bytes.
static char *copy_until(const char *text, const char *stops, size_t limit)
{
    if (!text)
        return nullptr;

    // A section has fewer than 4 GiB, so its length fits.
    uint32_t length =
        static_cast<uint32_t>(std::min(strcspn(text, stops), limit));
    char *copy = static_cast<char *>(upnp_malloc_impl(length + 1));
    if (!copy)
        return nullptr;
    memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

int32_t upnp_client_db_DLNA_version(int32_t id)
{
    static constexpr struct {
        const char *text;  // behind "XM:DLNA"
        int32_t     version;
    } levels[] = {
        { "10", 10 },
        { "15", 15 },
        { "NO", -1 },
    };
    const char *text = text_behind(id, "XM:DLNA");

    if (!text)
        return 0;
    for (const auto &level : levels) {
        if (strncmp(text, level.text, strlen(level.text)) == 0)
            return level.version;
    }
    return 0;
}

int32_t upnp_client_db_get_value(int32_t id, const char *keyword)
{
    const char *text = text_behind(id, keyword);

    return text ? static_cast<int32_t>(strtol(text, nullptr, 10)) : 0;
}

char *upnp_client_db_get_description_file(int32_t id)
{
    return copy_until(text_behind(id, "DF:"), "\r\n", LINE_BYTES);
}

char *upnp_client_db_get_webbrowse(int32_t id)
{
    return copy_until(text_behind(id, "WB:"), "\n", LINE_BYTES);
}

char *upnp_client_db_get_default_view(int32_t id)
{
    return copy_until(text_behind(id, "DV:"), "\n", LINE_BYTES);
}

char *upnp_client_db_get_supported_transcoding_profiles(int32_t id)
{
    char *profiles = copy_until(text_behind(id, "TR:"), "\n", NO_LIMIT);

    return upnp_string_strip_trailing_whitespaces(profiles);
}

char *upnp_client_db_albumart_scaling(int32_t id)
{
    const char *text = text_behind(id, "XM:AASCALE");

    // The byte behind the word only separates, whatever it is.
    if (text && *text)
        ++text;
    return copy_until(text, "#\r\n", SCALING_BYTES);
}

char *upnp_client_db_get_extra_params(int32_t id, const char *name)
{
    char key[32];

    if (!name)
        return nullptr;
    snprintf(key, sizeof(key), "TP:%s,", name);
    return copy_until(text_behind(id, key), "\r\n", NO_LIMIT);
}

char *upnp_client_db_get_table(void)
{
    UpnpString *table = nullptr;
    char       *copy = nullptr;
    char        name[128];

    for (int32_t id = 0; id < UPNP_CLIENT_TYPES; ++id) {
        const char *section = clientdb::section_of(id);
        if (!strstr(section, "NA:"))
            continue;
        upnp_client_db_getKeyword(section, name, sizeof(name), "NA:");
        table = upnp_string_sprintf(table, "%s%03d,%s", table ? "," : "",
                                    static_cast<int>(id), name);
        if (!table)
            return nullptr;
    }
    copy = upnp_string_copy_cstring(table);
    upnp_string_safe_free(&table);
    return copy;
}

char *clientdb::client_registered_default_view(int32_t id)
{
    char *view = upnp_client_db_get_default_view(id);

    if (view && client_views && strstr(client_views, view))
        return view;
    if (view)
        upnp_free_impl(view);
    return nullptr;
}

int32_t upnp_client_db_getKeyword(const char *section, char *buffer,
                                  uint32_t size, const char *key)
{
    uint32_t n = 0;

    if (!buffer)
        return 0;
    buffer[0] = '\0';
    if (!section || size == 0 || !key)
        return 0;

    const char *text = strstr(section, key);
    if (!text || strnlen(text, KEY_BYTES) < KEY_BYTES)
        return 0;
    text += KEY_BYTES;

    // Identification stops early while the server is on its way down.
    while (n + 1 < size && static_cast<int8_t>(text[n]) >= ' ') {
        buffer[n] = text[n];
        ++n;
        if (shared::load(g_server_running) != 1)
            break;
    }
    buffer[n] = '\0';
    return n != 0;
}
