// upnp_wpl_playlist.cpp - playlists: made, changed, walked and deleted.

#include "documents/upnp_wpl.h"

#include "documents/upnp_wpl_store.h"
#include "files/upnp_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem_text.h"
#include "runtime/upnp_thread.h"

#include <iterator>
#include <string.h>

using wpl::WplPlaylist;

// A playlist that was read from its own file leaves that file behind.
static bool loses_file(const WplPlaylist *playlist)
{
    const char *origin = playlist->orig_filename;

    if (!playlist->path)
        return false;
    return (origin && strcmp(origin, playlist->path) != 0) ||
           playlist->source == WPL_SOURCE_CDS ||
           playlist->source == WPL_SOURCE_UNKNOWN;
}

static bool delete_locked(WplPlaylist *playlist)
{
    static constexpr char me[] = "upnp_wpl_delete_playlist";

    if (loses_file(playlist)) {
        upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, me, "%s remove %s now", me,
                      playlist->path);
        upnp_file_unlink(playlist->path);
    }
    wpl::store.playlists[playlist->id] = nullptr;
    wpl::release_playlist(playlist);
    return true;
}

// The first id in use from position on, or 0.
static uint32_t id_from_locked(uint32_t position)
{
    for (; position < wpl::store.capacity; ++position) {
        if (wpl::find_locked(position))
            return position;
    }
    return 0;
}

template <typename Value> static void hand_out(Value *output, Value value)
{
    if (output)
        *output = value;
}

namespace {
// A text that is asked for.
struct TextOutput {
    char      **output;  // null if it is not
    const char *text;    // null leaves the output as it was
    char       *copy;
};
}

// All the texts, or none when out of memory.
static bool hand_out_copies(TextOutput *rows, size_t count)
{
    bool copied = true;

    for (size_t i = 0; i < count && copied; ++i) {
        if (rows[i].output)
            copied = wpl::copy_text(&rows[i].copy, rows[i].text);
    }
    for (size_t i = 0; i < count; ++i) {
        if (!copied)
            wpl::drop(&rows[i].copy);
        else if (rows[i].copy)
            *rows[i].output = rows[i].copy;
    }
    return copied;
}

uint32_t upnp_wpl_create_playlist(const char *title, uint32_t type,
                                  uint32_t source, const char *generator,
                                  const char *orig_filename, uint32_t *out_id)
{
    if (!title || !out_id)
        return UPNP_WPL_FAILED;

    WplPlaylist *playlist =
        wpl::create_playlist(title, type, source, generator, orig_filename);

    return wpl::status(wpl::with_lock([&] {
        return wpl::register_playlist_locked(playlist, false, out_id);
    }));
}

uint32_t upnp_wpl_delete_playlist(uint32_t id)
{
    return wpl::change(id, delete_locked);
}

uint32_t upnp_wpl_rename_playlist(uint32_t id, const char *title)
{
    return wpl::change(id, [&](WplPlaylist *playlist) {
        return wpl::replace_text(&playlist->title, title);
    });
}

uint32_t upnp_wpl_set_playlist_type(uint32_t id, uint32_t type)
{
    if (type < WPL_TYPE_M || type > WPL_TYPE_X)
        return UPNP_WPL_FAILED;
    return wpl::change(id, [&](WplPlaylist *playlist) {
        playlist->type = type;
        return true;
    });
}

uint32_t upnp_wpl_get_playlist_properties(uint32_t id, char **out_title,
                                          uint32_t *out_type,
                                          uint32_t *out_source,
                                          char    **out_generator,
                                          char    **out_orig_filename,
                                          char **out_path, uint32_t *out_count)
{
    auto answer = [&](WplPlaylist *playlist) {
        TextOutput texts[] = {
            { out_title, playlist->title, nullptr },
            { out_generator, playlist->generator, nullptr },
            { out_orig_filename, playlist->orig_filename, nullptr },
            { out_path, playlist->path, nullptr },
        };

        if (!hand_out_copies(texts, std::size(texts)))
            return false;
        hand_out(out_type, playlist->type);
        hand_out(out_source, playlist->source);
        hand_out(out_count, playlist->item_count);
        return true;
    };

    return wpl::change(id, answer);
}

uint32_t upnp_wpl_find_first_playlist(void **state)
{
    uint32_t id;

    if (!state)
        return 0;
    id = wpl::with_lock([] { return id_from_locked(1); });
    *state = id ? upnp_int_thread_param(static_cast<int32_t>(id + 1)) : nullptr;
    return *state ? id : 0;
}

uint32_t upnp_wpl_find_next_playlist(void **state)
{
    int32_t *position = state ? static_cast<int32_t *>(*state) : nullptr;
    uint32_t id;

    if (!position)
        return 0;
    id = wpl::with_lock(
        [&] { return id_from_locked(static_cast<uint32_t>(*position)); });
    if (id)
        *position = static_cast<int32_t>(id + 1);
    return id;
}

void upnp_wpl_find_playlist_release(void **state)
{
    if (state)
        wpl::drop(state);
}

void upnp_wpl_set_cache(uint32_t id, uint32_t count, const uint32_t *values)
{
    auto keep = [&](WplPlaylist *playlist) {
        uint64_t size = uint64_t{ count } * sizeof(*values);
        void    *copy;

        if (count != playlist->item_count || !values)
            return false;
        copy = mem::new_block(size);
        if (!copy)
            return false;
        memcpy(copy, values, size);
        wpl::drop(&playlist->cache);
        playlist->cache = static_cast<uint32_t *>(copy);
        return true;
    };

    wpl::change(id, keep);
}

void upnp_wpl_get_cache(uint32_t id, uint32_t count, uint32_t **out_values)
{
    auto give = [&](WplPlaylist *playlist) {
        uint64_t size = uint64_t{ count } * sizeof(**out_values);
        void    *copy;

        if (!playlist->cache || count != playlist->item_count || !out_values)
            return false;
        copy = mem::new_block(size);
        if (!copy)
            return false;
        memcpy(copy, playlist->cache, size);
        *out_values = static_cast<uint32_t *>(copy);
        return true;
    };

    wpl::change(id, give);
}
