// upnp_wpl_file.cpp - playlists from WPL texts and files, and to files.

#include "documents/upnp_wpl.h"

#include "documents/upnp_wpl_store.h"
#include "documents/upnp_wpl_text.h"
#include "files/upnp_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_media_name.h"
#include "runtime/upnp_mem_text.h"

#include <string.h>
#include <utility>

using wpl::WplPlaylist;

static constexpr uint32_t TEXT_CAPACITY = 128;

// The whole file as a text, or null. Nothing stands in an empty file, nor in a
// pipe or a device, whose opening might wait for ever.
static char *read_file(const char *path)
{
    UpnpFileStat stat;
    UpnpFile    *file = nullptr;
    char        *text = nullptr;
    int32_t      count = -1;

    if (upnp_file_stat(path, &stat) == -1 || stat.size <= 0)
        return nullptr;
    file = upnp_file_open_read(path);
    if (!file)
        return nullptr;

    text = static_cast<char *>(
        mem::new_block(static_cast<uint64_t>(stat.size) + 1));
    if (text) {
        text[stat.size] = '\0';
        count = upnp_file_read(file, text, static_cast<uint32_t>(stat.size));
    }
    if (count != stat.size)
        wpl::drop(&text);
    upnp_file_close(file);
    return text;
}

// The playlist of a file, or null.
static WplPlaylist *parse_file(const char *path)
{
    char        *text = read_file(path);
    WplPlaylist *playlist = nullptr;

    if (!text)
        return nullptr;
    wpl::parse_text(text, &playlist);
    upnp_free_impl(text);
    if (playlist && !playlist->title)
        playlist->title = upnp_build_title_from_filename(path);
    return playlist;
}

// The text of a playlist, empty without a title; null when out of memory.
static UpnpString *text_of(const WplPlaylist *playlist)
{
    UpnpString *text = upnp_string_create(nullptr, TEXT_CAPACITY);

    if (!text || !playlist->title)
        return text;
    return wpl::append_text(text, playlist, nullptr, nullptr);
}

// Whether the file could be made. What the disk then refuses goes unseen.
static bool write_file(const char *path, const UpnpString *text)
{
    UpnpFile *file = upnp_file_open_write(path);

    if (!file)
        return false;
    upnp_file_write(file, text->buffer, text->length);
    upnp_file_close(file);
    return true;
}

// A playlist from iTunes is not tied to the file that it was read from.
static bool register_file_locked(WplPlaylist *fresh, const char *path,
                                 uint32_t *out_id)
{
    if (fresh->source != WPL_SOURCE_ITUNES &&
        !wpl::copy_text(&fresh->path, path)) {
        wpl::release_playlist(fresh);
        return false;
    }
    return wpl::register_playlist_locked(fresh, true, out_id);
}

// Another device's list is known by the title kept here, so its file is made
// to agree. Without memory for the new text the file stays.
static void correct_title(const WplPlaylist *playlist, const WplPlaylist *fresh,
                          const char *path)
{
    UpnpString *text;

    if (!playlist->title || !fresh->title ||
        strcmp(playlist->title, fresh->title) == 0 ||
        playlist->source != WPL_SOURCE_CDS)
        return;
    text = text_of(playlist);
    if (!text)
        return;
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM,
                  "upnp_wpl_create_playlist_from_file",
                  "WPL title %s does not match %s, replacing %s\n",
                  fresh->title, playlist->title, path);
    upnp_file_unlink(path);
    write_file(path, text);
    upnp_string_free(text);
}

// Unlike a merge, a reload also takes over that there is no generator.
static bool reload_locked(WplPlaylist *fresh, const char *path, uint32_t id)
{
    WplPlaylist *playlist = wpl::find_locked(id);

    if (playlist) {
        wpl::take_over(playlist, fresh);
        std::swap(playlist->generator, fresh->generator);
        correct_title(playlist, fresh, path);
    }
    wpl::release_playlist(fresh);
    return playlist != nullptr;
}

static bool load_locked(const char *path, uint32_t *id_inout)
{
    WplPlaylist *fresh = parse_file(path);

    if (!fresh)
        return false;
    if (*id_inout == 0)
        return register_file_locked(fresh, path, id_inout);
    return reload_locked(fresh, path, *id_inout);
}

// A playlist gets its path once; a later title does not change it. False when
// no name could be made of the title.
static bool choose_path_locked(WplPlaylist *playlist, const char *directory)
{
    char       *name = upnp_remove_bad_chars(playlist->title);
    UpnpString *path;

    if (!name)
        return false;
    path = upnp_string_sprintf(nullptr, "%s%c%s.wpl", directory, '/', name);
    playlist->path = upnp_string_copy_cstring(path);
    upnp_string_free(path);
    upnp_free_impl(name);
    return true;
}

static bool may_overwrite(const WplPlaylist *playlist)
{
    const char *origin = playlist->orig_filename;

    return playlist->source == WPL_SOURCE_CDS &&
           (!origin || strcmp(origin, playlist->path) != 0);
}

// The text is made first: without memory for it the old file stays.
static bool save_locked(const WplPlaylist *playlist)
{
    bool        exists = upnp_file_exists(playlist->path);
    UpnpString *text;
    bool        written;

    if (exists && !may_overwrite(playlist))
        return false;
    text = text_of(playlist);
    if (!text)
        return false;
    if (exists)
        upnp_file_unlink(playlist->path);
    written = write_file(playlist->path, text);
    upnp_string_free(text);
    return written;
}

static uint32_t flush_locked(uint32_t id, const char *directory,
                             char **out_path)
{
    WplPlaylist *playlist = wpl::find_locked(id);

    if (!playlist)
        return UPNP_WPL_FAILED;
    if (!playlist->path && !choose_path_locked(playlist, directory))
        return UPNP_WPL_OUT_OF_MEMORY;
    if (!playlist->path || !*playlist->path)
        return UPNP_WPL_OK;
    if (!save_locked(playlist))
        return UPNP_WPL_FAILED;
    if (!out_path)
        return UPNP_WPL_OK;

    char *copy = upnp_strdup_impl(playlist->path);
    if (copy)
        *out_path = copy;
    return wpl::status(copy != nullptr);
}

uint32_t upnp_wpl_convert_from_xml(uint32_t *out_id, const UpnpString *string)
{
    WplPlaylist *playlist;

    if (!out_id || !string || !wpl::parse_text(string->buffer, &playlist))
        return UPNP_WPL_FAILED;
    return wpl::status(wpl::with_lock(
        [&] { return wpl::register_playlist_locked(playlist, true, out_id); }));
}

uint32_t upnp_wpl_create_playlist_from_file(const char *path,
                                            uint32_t   *id_inout)
{
    if (!path || !id_inout)
        return UPNP_WPL_FAILED;
    return wpl::status(
        wpl::with_lock([&] { return load_locked(path, id_inout); }));
}

uint32_t upnp_wpl_flush(uint32_t id, const char *directory, char **out_path)
{
    if (!directory)
        return UPNP_WPL_FAILED;
    return wpl::with_lock(
        [&] { return flush_locked(id, directory, out_path); });
}
