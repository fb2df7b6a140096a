// wpl_fuzz.cpp - any bytes as a WPL text: read, written, read again, released.

#include "documents/upnp_wpl.h"
#include "documents/upnp_wpl_store.h"
#include "fuzz/fuzz.h"
#include "runtime/upnp_mem.h"

#include <cstring>

using fuzz::require;

static char *half(void *, const char *src)
{
    char *text = upnp_strdup_impl(src);

    text[strlen(src) / 2] = '\0';
    return text;
}

// Every item comes once, and each can be moved to the front.
static void walk(uint32_t id, uint32_t count)
{
    void    *state = nullptr;
    uint32_t seen = 0;

    for (WplItem *item = upnp_wpl_find_first_playlist_item(id, &state); item;
         item = upnp_wpl_find_next_playlist_item(&state), ++seen)
        upnp_wpl_free_item(item);
    upnp_wpl_find_playlist_item_release(&state);
    require(seen == count);
    require((upnp_wpl_set_item_track(id, count / 2, 1) == UPNP_WPL_OK) ==
            (count > 0));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    int64_t     used = upnp_mem_used();
    UpnpString *text =
        upnp_string_add(nullptr, data, static_cast<uint32_t>(size));
    UpnpString *written = upnp_string_create(nullptr, 0);
    uint32_t    id = 0, again = 0, count = 0;

    upnp_wpl_init();
    if (upnp_wpl_convert_from_xml(&id, text) == UPNP_WPL_OK) {
        require(upnp_wpl_get_playlist_properties(id, nullptr, nullptr, nullptr,
                                                 nullptr, nullptr, nullptr,
                                                 &count) == UPNP_WPL_OK);
        walk(id, count);
        require(upnp_wpl_convert_to_xml(id, written) == UPNP_WPL_OK);
        upnp_wpl_convert_from_xml(&again, written);
        require(upnp_wpl_convert_to_xml_with_filter(id, written, half,
                                                    nullptr) == UPNP_WPL_OK);
        if (again && again != id)
            upnp_wpl_delete_playlist(again);
        require(upnp_wpl_delete_playlist(id) == UPNP_WPL_OK);
    }
    upnp_string_free(written);
    upnp_string_free(text);

    // Ids are never used twice: the table would grow from run to run.
    wpl::drop(&wpl::store.playlists);
    wpl::store = { nullptr, 0, 1 };
    require(upnp_mem_used() == used);
    return 0;
}
