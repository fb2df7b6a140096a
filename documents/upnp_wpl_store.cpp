// upnp_wpl_store.cpp - the playlists by id, and the lock around them.
//
// The lock is made at load and never destroyed: a thread may still wait for it
// while another one closes the store. Init and exit only move the flag that
// every taker looks at.

#include "documents/upnp_wpl_store.h"

#include "runtime/upnp_lock.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem_text.h"

#include <atomic>
#include <string.h>
#include <utility>

// The table takes this much a slot, five times what a pointer needs, and grows
// by a few slots: programs may count on the memory that this shows.
static constexpr uint64_t SLOT_BYTES = 40;
static constexpr uint64_t GROWTH_BYTES = 200;
static constexpr uint32_t GROWTH_SLOTS = 5;

static CriticalSection   wpl_lock_section = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };
static std::atomic<bool> wpl_lock_ready;

wpl::Store wpl::store = { nullptr, 0, 1 };

static void complain(const char *who)
{
    upnp_log_impl(UPNP_LOG_CRITICAL, LOG_SYSTEM, who,
                  "critical section not initialized");
}

static bool grow_table_locked()
{
    wpl::Store &store = wpl::store;
    uint64_t    used = store.capacity * SLOT_BYTES;
    auto      **grown =
        static_cast<wpl::WplPlaylist **>(mem::new_zeroed(used + GROWTH_BYTES));

    if (!grown)
        return false;
    if (store.playlists) {
        memcpy(grown, store.playlists, used);
        upnp_free_impl(store.playlists);
    }
    store.playlists = grown;
    store.capacity += GROWTH_SLOTS;
    return true;
}

// The playlist of the same title and type, or null.
static wpl::WplPlaylist *find_twin_locked(const wpl::WplPlaylist *playlist)
{
    for (uint32_t id = 1; id < wpl::store.next_id; ++id) {
        wpl::WplPlaylist *other = wpl::store.playlists[id];

        if (other && other->title && other->type == playlist->type &&
            strcmp(other->title, playlist->title) == 0)
            return other;
    }
    return nullptr;
}

static void merge(wpl::WplPlaylist *found, wpl::WplPlaylist *fresh,
                  bool replace)
{
    if (fresh->source == WPL_SOURCE_CDS)
        found->source = WPL_SOURCE_CDS;
    if (!replace)
        return;
    wpl::take_over(found, fresh);
    if (fresh->generator)
        std::swap(found->generator, fresh->generator);
}

bool wpl::lock()
{
    if (!wpl_lock_ready) {
        complain("wpl_lock");
        return false;
    }
    EnterCriticalSection(&wpl_lock_section);
    return true;
}

void wpl::unlock(bool held)
{
    if (held)
        LeaveCriticalSection(&wpl_lock_section);
    else
        complain("wpl_unlock");
}

wpl::WplPlaylist *wpl::find_locked(uint32_t id)
{
    return id < store.capacity ? store.playlists[id] : nullptr;
}

wpl::WplPlaylist *wpl::create_playlist(const char *title, uint32_t type,
                                       uint32_t source, const char *generator,
                                       const char *orig_filename)
{
    auto *playlist =
        static_cast<WplPlaylist *>(upnp_calloc_impl(1, sizeof(WplPlaylist)));

    if (!playlist)
        return nullptr;
    playlist->type = type;
    playlist->source = source;
    playlist->title = upnp_strdup_impl(title);
    if (!copy_text(&playlist->generator, generator) ||
        !copy_text(&playlist->orig_filename, orig_filename)) {
        release_playlist(playlist);
        return nullptr;
    }
    return playlist;
}

void wpl::release_playlist(WplPlaylist *playlist)
{
    if (!playlist)
        return;
    for (uint32_t i = 0; i < playlist->item_count; ++i)
        release_contents(&playlist->items[i]);
    drop(&playlist->items);
    drop(&playlist->cache);
    drop(&playlist->path);
    drop(&playlist->title);
    drop(&playlist->orig_filename);
    drop(&playlist->generator);
    upnp_free_impl(playlist);
}

// Growth leaves a slot to spare: of the first five, 1 to 3 are used.
bool wpl::register_playlist_locked(WplPlaylist *playlist, bool replace,
                                   uint32_t *out_id)
{
    WplPlaylist *found;
    bool         has_room;

    if (!playlist || !playlist->title) {
        release_playlist(playlist);
        return false;
    }

    found = find_twin_locked(playlist);
    if (found) {
        merge(found, playlist, replace);
        release_playlist(playlist);
        *out_id = found->id;
        return true;
    }

    has_room = store.next_id + 1 < store.capacity || grow_table_locked();
    if (!has_room) {
        release_playlist(playlist);
        return false;
    }
    playlist->id = store.next_id++;
    store.playlists[playlist->id] = playlist;
    *out_id = playlist->id;
    return true;
}

void wpl::take_over(WplPlaylist *playlist, WplPlaylist *fresh)
{
    std::swap(playlist->items, fresh->items);
    std::swap(playlist->item_count, fresh->item_count);
    std::swap(playlist->cache, fresh->cache);
    std::swap(playlist->source, fresh->source);
    std::swap(playlist->type, fresh->type);
}

bool wpl::append_item(WplPlaylist *playlist, WplItem *item)
{
    if (!grow_by_one(&playlist->items, playlist->item_count))
        return false;
    playlist->items[playlist->item_count++] = *item;
    upnp_free_impl(item);
    drop(&playlist->cache);
    return true;
}

bool wpl::replace_text(char **text, const char *replacement)
{
    char *copy;

    if (!copy_text(&copy, replacement))
        return false;
    drop(text);
    *text = copy;
    return true;
}

void upnp_wpl_init(void)
{
    wpl_lock_ready = true;
}

void upnp_wpl_exit(void)
{
    wpl_lock_ready = false;
}
