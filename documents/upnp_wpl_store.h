// upnp_wpl_store.h - the playlists by id, and the lock around them.
#ifndef DOCUMENTS_UPNP_WPL_STORE_H
#define DOCUMENTS_UPNP_WPL_STORE_H

#include "documents/upnp_wpl.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_lost.h"

#include <stdint.h>

namespace wpl {

// All that it points to is its own.
struct WplPlaylist {
    uint32_t  id;             // its slot in the table; 0 before that
    uint32_t  type;           // 1 to 4, or what a caller made it with
    uint32_t  source;         // WPL_SOURCE_...
    char     *generator;      // may be null
    char     *orig_filename;  // may be null
    char     *title;          // null once it was cleared
    char     *path;           // may be null
    uint32_t *cache;          // item_count values, or null
    uint32_t  item_count;
    WplItem  *items;  // in playing order; may be null
};

// Guarded by the lock.
struct Store {
    WplPlaylist **playlists;  // null in slot 0 and where one was deleted
    uint32_t      capacity;   // slots
    uint32_t      next_id;    // first slot that was never used
};
extern Store store;

// --- The lock ----------------------------------------------------------------

// Whether the lock is held: not before init and after exit, which is logged.
// The result goes to unlock.
bool lock();
void unlock(bool held);

template <typename Call> auto with_lock(Call call)
{
    bool held = lock();
    auto result = call();

    unlock(held);
    return result;
}

// Null for an id without a playlist.
WplPlaylist *find_locked(uint32_t id);

// Calls with the playlist under the lock; an unknown id gives null or false.
template <typename Answer, typename Call>
Answer with_playlist(uint32_t id, Call call)
{
    return with_lock([&]() -> Answer {
        WplPlaylist *playlist = find_locked(id);
        return playlist ? call(playlist) : Answer();
    });
}

inline uint32_t status(bool succeeded)
{
    return succeeded ? UPNP_WPL_OK : UPNP_WPL_FAILED;
}

// The status of a call that tells whether it succeeded.
template <typename Call> uint32_t change(uint32_t id, Call call)
{
    return status(with_playlist<bool>(id, call));
}

// --- Records -----------------------------------------------------------------

// A playlist that is not in the table yet; null when out of memory. If only
// the title could not be copied it is null.
WplPlaylist *create_playlist(const char *title, uint32_t type, uint32_t source,
                             const char *generator, const char *orig_filename);

// Releases the record and all it holds. May be null.
void release_playlist(WplPlaylist *playlist);

// Puts a playlist into the table, or merges it into the one of its title and
// type: that one takes over its contents with replace set. Takes the record
// in any case. False when out of memory, for null and without a title.
bool register_playlist_locked(WplPlaylist *playlist, bool replace,
                              uint32_t *out_id);

// Items, source and type change places with those of fresh, and the cache,
// which fresh does not have. What was there goes when fresh is released.
void take_over(WplPlaylist *playlist, WplPlaylist *fresh);

// Moves the contents of an item behind the others and frees its record. False
// when out of memory: the item is then still the caller's.
bool append_item(WplPlaylist *playlist, WplItem *item);

// A deep copy; null when out of memory.
WplItem *copy_item(const WplItem *item);

// Releases what the record holds, but not the record.
void release_contents(WplItem *item);

// --- Blocks ------------------------------------------------------------------

// Frees a block that may be null, and forgets it.
template <typename Block> void drop(Block **block)
{
    if (*block)
        upnp_free_impl(*block);
    *block = nullptr;
}

// Copies a text that may be null. Whether that worked.
inline bool copy_text(char **copy, const char *text)
{
    *copy = upnp_strdup_impl(text);
    return *copy || !text;
}

// Puts a copy in the place of *text; without memory *text stays.
bool replace_text(char **text, const char *replacement);

// Makes room for one entry more than count: an array has no room to spare.
// Without memory the array stays as it is.
template <typename Entry> bool grow_by_one(Entry **array, uint32_t count)
{
    uint64_t size = (uint64_t{ count } + 1) * sizeof(Entry);

    if (size > UINT32_MAX)
        return false;
    void *grown = upnp_realloc_impl(*array, static_cast<uint32_t>(size));
    if (!grown) {
        if (*array)
            mem::keep_lost(*array);
        return false;
    }
    *array = static_cast<Entry *>(grown);
    return true;
}

}

#endif
