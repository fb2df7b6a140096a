// upnp_wpl_tracks.cpp - the items of a playlist: added, walked, moved, removed.

#include "documents/upnp_wpl.h"

#include "documents/upnp_wpl_store.h"

#include <algorithm>
#include <string.h>

using wpl::WplPlaylist;

namespace {
struct ItemWalk {
    uint32_t id;
    uint32_t track;  // the next one
};
}
static_assert(sizeof(ItemWalk) == 8);

// A copy for the caller, null if there is no such track.
static WplItem *copy_track_locked(const WplPlaylist *playlist, uint32_t track)
{
    return track < playlist->item_count
               ? wpl::copy_item(&playlist->items[track])
               : nullptr;
}

// Leaves the array as large as it was.
static bool remove_track_locked(WplPlaylist *playlist, uint32_t track)
{
    WplItem *gap;

    if (track >= playlist->item_count)
        return false;
    gap = playlist->items + track;
    wpl::release_contents(gap);
    std::copy(gap + 1, playlist->items + playlist->item_count, gap);
    --playlist->item_count;
    wpl::drop(&playlist->cache);
    return true;
}

// The first track of that src, item_count if there is none.
static uint32_t track_of_locked(const WplPlaylist *playlist, const char *src)
{
    uint32_t track = 0;

    while (track < playlist->item_count &&
           strcmp(playlist->items[track].src, src) != 0)
        ++track;
    return track;
}

static bool move_locked(WplPlaylist *playlist, uint32_t from, uint32_t to)
{
    WplItem *items = playlist->items;

    if (from >= playlist->item_count || to > playlist->item_count)
        return false;
    // from counts from 0 and to from 1, yet equal numbers are taken for equal
    // places, on purpose.
    if (from == to)
        return true;
    if (from < to)
        std::rotate(items + from, items + from + 1, items + to);
    else if (to > 0)
        std::rotate(items + to - 1, items + from, items + from + 1);
    wpl::drop(&playlist->cache);
    return true;
}

uint32_t upnp_wpl_add_item(uint32_t id, WplItem *item)
{
    if (!item || !item->src)
        return UPNP_WPL_FAILED;
    return wpl::change(id, [&](WplPlaylist *playlist) {
        return wpl::append_item(playlist, item);
    });
}

WplItem *upnp_wpl_get_item_by_track(uint32_t id, uint32_t track)
{
    return wpl::with_playlist<WplItem *>(id, [&](WplPlaylist *playlist) {
        return copy_track_locked(playlist, track);
    });
}

WplItem *upnp_wpl_find_first_playlist_item(uint32_t id, void **state)
{
    auto begin = [&](WplPlaylist *playlist) -> WplItem * {
        auto *walk =
            static_cast<ItemWalk *>(upnp_malloc_impl(sizeof(ItemWalk)));

        if (!walk)
            return nullptr;
        *walk = { id, 1 };
        *state = walk;
        return copy_track_locked(playlist, 0);
    };

    return state ? wpl::with_playlist<WplItem *>(id, begin) : nullptr;
}

WplItem *upnp_wpl_find_next_playlist_item(void **state)
{
    auto    *walk = state ? static_cast<ItemWalk *>(*state) : nullptr;
    WplItem *item;

    if (!walk)
        return nullptr;
    item = upnp_wpl_get_item_by_track(walk->id, walk->track);
    if (item)
        ++walk->track;
    return item;
}

void upnp_wpl_find_playlist_item_release(void **state)
{
    if (state)
        wpl::drop(state);
}

uint32_t upnp_wpl_set_item_src(uint32_t id, uint32_t track, const char *src)
{
    if (!src)
        return UPNP_WPL_FAILED;
    return wpl::change(id, [&](WplPlaylist *playlist) {
        return track < playlist->item_count &&
               wpl::replace_text(&playlist->items[track].src, src);
    });
}

uint32_t upnp_wpl_set_item_track(uint32_t id, uint32_t from, uint32_t to)
{
    return wpl::change(id, [&](WplPlaylist *playlist) {
        return move_locked(playlist, from, to);
    });
}

uint32_t upnp_wpl_remove_item_by_track(uint32_t id, uint32_t track)
{
    return wpl::change(id, [&](WplPlaylist *playlist) {
        return remove_track_locked(playlist, track);
    });
}

uint32_t upnp_wpl_remove_item_by_file(uint32_t id, const char *src)
{
    if (!src)
        return UPNP_WPL_FAILED;
    return wpl::change(id, [&](WplPlaylist *playlist) {
        return remove_track_locked(playlist, track_of_locked(playlist, src));
    });
}

uint32_t upnp_wpl_remove_item(uint32_t id, const WplItem *item)
{
    return upnp_wpl_remove_item_by_file(id, item ? item->src : nullptr);
}
