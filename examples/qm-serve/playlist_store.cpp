// playlist_store.cpp - the playlists that stay from one run to the next.
//
// A file is read into a playlist of the table that has no title: one with a
// title would merge with the stored playlist of that title. None has a path of
// its own either, so that to give one back never deletes a file.

#include "qm-serve/playlist_store.h"

#include "config/upnp_ini_file.h"
#include "documents/upnp_wpl.h"
#include "documents/upnp_xml.h"
#include "qm-serve/playlists.h"
#include "qm-serve/search.h"
#include "qm-serve/text_file.h"
#include "qm-serve/title.h"
#include "qm-serve/url_text.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <unistd.h>

using namespace serve;
namespace fs = std::filesystem;

using CText = std::unique_ptr<char, decltype(&upnp_free_impl)>;
using Item = std::unique_ptr<WplItem, decltype(&upnp_wpl_free_item)>;

// What the XML tree of a larger file would take is out of all proportion.
static constexpr off_t MAX_WPL_BYTES = 16 << 20;

static constexpr char generator[] = "qm-serve";

// Set before the server starts, then only read.
static const MediaFolder *media;
static std::string        store_folder;  // with "/"

static std::mutex store_lock;
static uint32_t   reader;  // these two and the table guarded by store_lock
static uint32_t   last_id;

// --- The table --------------------------------------------------------------

static uint32_t create_locked(const std::string &title, uint32_t type)
{
    uint32_t id = 0;

    upnp_wpl_create_playlist(title.c_str(), type, WPL_SOURCE_FILE, generator,
                             nullptr, &id);
    last_id = std::max(last_id, id);
    return id;
}

static uint64_t key_of(const std::string &title, uint32_t type)
{
    return name_key(std::to_string(type) + "/" + title);
}

// None for an id that is not there, or has no title.
static std::optional<StoredPlaylist> look_up(uint32_t id)
{
    StoredPlaylist row = { id, 0, "", 0, 0 };
    char          *text = nullptr;

    upnp_wpl_get_playlist_properties(id, &text, &row.type, nullptr, nullptr,
                                     nullptr, nullptr, &row.count);
    CText title(text, upnp_free_impl);
    if (!title)
        return {};
    row.title = title.get();
    row.key = key_of(row.title, row.type);
    return row;
}

static std::vector<StoredPlaylist> all_locked()
{
    std::vector<StoredPlaylist> rows;
    void                       *walk = nullptr;

    for (uint32_t id = upnp_wpl_find_first_playlist(&walk); id != 0;
         id = upnp_wpl_find_next_playlist(&walk)) {
        if (std::optional<StoredPlaylist> row = look_up(id))
            rows.push_back(std::move(*row));
    }
    upnp_wpl_find_playlist_release(&walk);
    return rows;
}

static std::optional<StoredPlaylist> find_locked(uint64_t key)
{
    for (StoredPlaylist &row : all_locked()) {
        if (row.key == key)
            return std::move(row);
    }
    return {};
}

template <typename Function>
static void for_each_item(uint32_t id, Function use)
{
    void *walk = nullptr;

    for (WplItem *item = upnp_wpl_find_first_playlist_item(id, &walk); item;
         item = upnp_wpl_find_next_playlist_item(&walk))
        use(Item(item, upnp_wpl_free_item));
    upnp_wpl_find_playlist_item_release(&walk);
}

static std::vector<std::string> tracks_locked(uint32_t id)
{
    std::vector<std::string> tracks;

    for_each_item(id, [&](Item item) { tracks.push_back(item->src); });
    return tracks;
}

// --- Reading files ----------------------------------------------------------

// Reads a file into the reader, which keeps having no title.
static bool read_locked(int fd)
{
    std::string path = "/proc/self/fd/" + std::to_string(fd);
    uint32_t    id = reader;
    struct stat status;

    return fstat(fd, &status) == 0 && status.st_size <= MAX_WPL_BYTES &&
           upnp_wpl_create_playlist_from_file(path.c_str(), &id) == UPNP_WPL_OK;
}

// From the end on, where a removal moves nothing.
static void empty_reader_locked()
{
    uint32_t count = 0;

    upnp_wpl_get_playlist_properties(reader, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, nullptr, &count);
    while (count > 0)
        upnp_wpl_remove_item_by_track(reader, --count);
}

static std::string title_in(int fd)
{
    XmlNode    *root = upnp_xml_parse(read_text(fd).c_str());
    const char *value = upnp_xml_find_tag_value(root, "title");
    std::string title = xml_text(value ? value : "");

    upnp_xml_release(root);
    return title;
}

// The table holds attributes as they stand in a file, since it writes them so.
// Back to front: reading has turned them round.
static void add_locked(uint32_t id, const WplItem &item,
                       const std::string &track)
{
    Item fresh(upnp_wpl_create_item(track.c_str()), upnp_wpl_free_item);

    for (uint32_t i = item.attribute_count; i-- > 0;) {
        const WplItemAttribute &row = item.attributes[i];

        upnp_wpl_add_item_attribute(fresh.get(), row.name,
                                    html_escaped(row.value).c_str());
    }
    if (upnp_wpl_add_item(id, fresh.get()) == UPNP_WPL_OK)
        fresh.release();
}

// Makes a playlist of a file, for which name stands in where it has no title.
// A playlist that has title and type already is replaced: it keeps no title.
// Tracks that track_of gives no text for are left out.
template <typename Function>
static std::optional<StoredPlaylist>
take_in_locked(int fd, const std::string &name,
               std::optional<StoredPlaylist> &replaced, Function track_of)
{
    std::string title;
    uint32_t    type = WPL_TYPE_M;
    uint32_t    id;

    if (!read_locked(fd))
        return {};
    title = title_in(fd);
    if (upnp_util_string_is_empty(title.c_str()))
        title = title_of(name.substr(0, name.rfind('.')), true);
    upnp_wpl_get_playlist_properties(reader, nullptr, &type, nullptr, nullptr,
                                     nullptr, nullptr, nullptr);
    replaced = find_locked(key_of(title, type));
    if (replaced)
        upnp_wpl_rename_playlist(replaced->id, nullptr);
    id = create_locked(title, type);
    for_each_item(reader, [&](Item item) {
        std::string track = track_of(item->src);

        if (!track.empty())
            add_locked(id, *item, track);
    });
    empty_reader_locked();
    return look_up(id);
}

// --- Writing files ----------------------------------------------------------

// Makes a track, a path in the media folder, fit for a file, and for one who
// sees it from that folder if there is one.
static char *written_track(void *seen_from, const char *track)
{
    const std::string &folder = *static_cast<const std::string *>(seen_from);
    std::string        path = track;

    if (!folder.empty())
        path = fs::path(media->path + "/" + path).lexically_relative(folder);
    return upnp_strdup_impl(html_escaped(path).c_str());
}

// The library writes titles as they are, so this one is made fit meanwhile.
static std::string text_locked(const StoredPlaylist &row, std::string seen_from)
{
    UpnpString *text = upnp_string_create(nullptr, 1024);
    std::string result;

    upnp_wpl_rename_playlist(row.id, html_escaped(row.title).c_str());
    if (upnp_wpl_convert_to_xml_with_filter(row.id, text, written_track,
                                            &seen_from) == UPNP_WPL_OK)
        result = upnp_string_get_cstring(text);
    upnp_wpl_rename_playlist(row.id, row.title.c_str());
    upnp_string_safe_free(&text);
    return result;
}

static std::string path_of(const StoredPlaylist &row)
{
    char name[32];

    snprintf(name, sizeof(name), "%016" PRIx64 ".wpl", row.key);
    return store_folder + name;
}

// The file is there whole or as it was.
static bool save_locked(const StoredPlaylist &row)
{
    std::string     path = path_of(row);
    std::string     fresh = path + ".part";
    std::string     text = text_locked(row, "");
    std::error_code error;

    fs::create_directories(store_folder, error);
    if (!text.empty() && write_text(fresh, text) &&
        rename(fresh.c_str(), path.c_str()) == 0)
        return true;
    unlink(fresh.c_str());
    return false;
}

// --- Start and end ----------------------------------------------------------

// What people have put there gets a name of this program's making.
static void load_locked(const fs::path &path)
{
    FILE                         *file = fopen(path.c_str(), "re");
    std::optional<StoredPlaylist> row;
    std::optional<StoredPlaylist> replaced;

    if (!file)
        return;
    row = take_in_locked(fileno(file), path.filename(), replaced,
                         [](const char *track) { return track; });
    fclose(file);
    if (replaced)
        upnp_wpl_delete_playlist(replaced->id);
    if (row)
        rename(path.c_str(), path_of(*row).c_str());
    else
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "load_locked",
                      "%s is no playlist", path.c_str());
}

void serve::open_playlist_store(const MediaFolder &folder)
{
    std::scoped_lock      lock(store_lock);
    std::string           data = upnp_ini_file_getString(INI_APPDATA);
    std::vector<fs::path> paths;
    std::error_code       error;

    media = &folder;
    store_folder = fs::absolute(data, error) / "playlists/";
    upnp_wpl_init();
    reader = create_locked("", WPL_TYPE_M);
    upnp_wpl_rename_playlist(reader, nullptr);
    for (fs::directory_iterator entry(store_folder, error);
         !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (is_playlist(entry->path().filename()))
            paths.push_back(entry->path());
    }
    for (const fs::path &path : paths)
        load_locked(path);
}

void serve::close_playlist_store()
{
    std::scoped_lock lock(store_lock);

    for (uint32_t id = 1; id <= last_id; ++id)
        upnp_wpl_delete_playlist(id);
    upnp_wpl_exit();
}

// It grows by five places of 40 bytes each, and keeps one more than are used
// free; ids begin at 1.
int64_t serve::playlist_table_bytes()
{
    std::scoped_lock lock(store_lock);

    return last_id == 0 ? 0 : (int64_t{ last_id } + 1) / 5 * 200 + 200;
}

// --- Reading ----------------------------------------------------------------

std::vector<std::string> serve::read_playlist(int fd)
{
    std::scoped_lock         lock(store_lock);
    std::vector<std::string> tracks;

    if (!read_locked(fd))
        return {};
    tracks = tracks_locked(reader);
    empty_reader_locked();
    return tracks;
}

std::vector<StoredPlaylist> serve::stored_playlists()
{
    std::scoped_lock lock(store_lock);

    return all_locked();
}

std::vector<std::string> serve::stored_tracks(uint64_t key)
{
    std::scoped_lock              lock(store_lock);
    std::optional<StoredPlaylist> row = find_locked(key);

    return row ? tracks_locked(row->id) : std::vector<std::string>();
}

// No file can have a name with "/", nor lie outside the media folder.
ListedEntry serve::store_entry()
{
    return { "Playlists",
             "Playlists",
             upnp_class_of("", EntryKind::STORE),
             name_key("/playlists"),
             EntryKind::STORE,
             "../playlists" };
}

std::vector<ListedEntry> serve::stored_entries()
{
    std::vector<ListedEntry> entries;

    for (const StoredPlaylist &row : stored_playlists()) {
        entries.push_back({ row.title, title_of(row.title, true),
                            upnp_class_of("", EntryKind::STORED_PLAYLIST),
                            row.key, EntryKind::STORED_PLAYLIST,
                            "../playlists/" + std::to_string(row.key) });
    }
    return entries;
}

std::vector<Object> serve::playlist_files()
{
    auto root = find_object(*media, root_id);
    auto condition = read_search_criteria(
        "upnp:class = \"object.container.playlistContainer\"");
    std::vector<Object> files = search(*media, *root, *condition);

    std::erase_if(files, [](const Object &object) {
        return object.entry.kind != EntryKind::PLAYLIST_FILE;
    });
    return files;
}

std::string serve::playlist_text(uint64_t key, const std::string &seen_from)
{
    std::scoped_lock              lock(store_lock);
    std::optional<StoredPlaylist> row = find_locked(key);

    return row ? text_locked(*row, seen_from) : "";
}

// --- Changes ----------------------------------------------------------------

// Makes a change known once it is done.
template <typename Function> static bool change(Function make)
{
    bool is_made;

    {
        std::scoped_lock lock(store_lock);
        is_made = make();
    }
    if (is_made)
        note_change();
    return is_made;
}

// What cannot be stored is undone.
static bool import_locked(int fd, const std::string &relative)
{
    std::string base = relative.substr(0, relative.rfind('/') + 1);
    std::optional<StoredPlaylist> replaced;
    std::optional<StoredPlaylist> row = take_in_locked(
        fd, relative.substr(base.size()), replaced,
        [&](const char *track) { return track_path(*media, base, track); });

    if (row && save_locked(*row)) {
        if (replaced)
            upnp_wpl_delete_playlist(replaced->id);
        return true;
    }
    if (row)
        upnp_wpl_delete_playlist(row->id);
    if (replaced)
        upnp_wpl_rename_playlist(replaced->id, replaced->title.c_str());
    return false;
}

bool serve::import_playlist(const std::string &relative)
{
    struct stat status;
    int         fd = open_inside(*media, relative, status);

    if (fd == -1)
        return false;
    bool is_done = change([&] { return import_locked(fd, relative); });
    close(fd);
    return is_done;
}

static bool rename_locked(uint64_t key, const std::string &title)
{
    std::optional<StoredPlaylist> row = find_locked(key);

    if (!row || upnp_util_string_is_empty(title.c_str()) ||
        find_locked(key_of(title, row->type)))
        return false;
    upnp_wpl_rename_playlist(row->id, title.c_str());
    std::optional<StoredPlaylist> renamed = look_up(row->id);
    if (renamed && save_locked(*renamed)) {
        unlink(path_of(*row).c_str());
        return true;
    }
    upnp_wpl_rename_playlist(row->id, row->title.c_str());
    return false;
}

bool serve::rename_playlist(uint64_t key, const std::string &title)
{
    return change([&] { return rename_locked(key, xml_text(title)); });
}

bool serve::delete_playlist(uint64_t key)
{
    return change([&] {
        std::optional<StoredPlaylist> row = find_locked(key);

        if (!row || (unlink(path_of(*row).c_str()) == -1 && errno != ENOENT))
            return false;
        return upnp_wpl_delete_playlist(row->id) == UPNP_WPL_OK;
    });
}
