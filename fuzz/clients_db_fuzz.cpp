// clients_db_fuzz.cpp - any bytes as clients.db: cut into types, asked,
// matched.

#include "clientdb/client_state.h"
#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_query.h"
#include "fuzz/fuzz.h"
#include "runtime/upnp_mem.h"

#include <cstring>

using fuzz::require;

static void take(char *text, size_t most)
{
    if (!text)
        return;
    require(strlen(text) <= most);
    upnp_free_impl(text);
}

static void ask(int32_t id)
{
    const char *mime_type = upnp_client_db_needs_special_mime_type(id, "mp4");

    if (mime_type)
        require(upnp_client_db_special_mime_type_get_extension(mime_type));
    upnp_client_db_is_psp(id);
    upnp_client_db_DLNA_version(id);
    upnp_client_db_get_value(id, "XM:AASCALE=");
    take(upnp_client_db_get_description_file(id), 1023);
    take(upnp_client_db_get_webbrowse(id), 1023);
    take(upnp_client_db_get_default_view(id), 1023);
    take(upnp_client_db_albumart_scaling(id), 63);
    take(upnp_client_db_get_supported_transcoding_profiles(id), SIZE_MAX);
    take(upnp_client_db_get_extra_params(id, "mp3"), SIZE_MAX);
}

// The text holds all marks, so that each type with one is a candidate.
static void match(const char *text)
{
    int32_t id = -1, fix_level = -1;
    char   *header1 = nullptr, *header2 = nullptr, *name = nullptr;
    bool is_found = upnp_client_db_check_header(text, &id, &fix_level, &header1,
                                                &header2, &name);

    require(is_found == (id >= 0) && is_found == (name != nullptr));
    take(header1, 127);
    take(header2, 127);
    take(name, 127);

    id = -1;
    upnp_client_db_match_by_browse("BrowseMetadata", "0", "*", "0", "20", "",
                                   &id, "10.0.0.1", text);
    require(id < 0 || clientdb::client_db_entries[id]);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Text text = fuzz::stretch(data, size);

    fuzz::load_client_types(nullptr, 0);
    int64_t used = upnp_mem_used();

    fuzz::load_client_types(text.bytes.get(), text.size);
    int32_t id = 0;
    for (; const char *section = clientdb::client_db_entries[id]; ++id) {
        require(strncmp(section, ">>", strlen(section)) == 0 ||
                strncmp(section, ">>", 2) == 0);
        ask(id);
    }
    require(id < UPNP_CLIENT_TYPES);
    ask(id);
    take(upnp_client_db_get_table(), SIZE_MAX);
    match(text.bytes.get());
    upnp_client_db_exit();

    require(upnp_mem_used() == used);
    return 0;
}
