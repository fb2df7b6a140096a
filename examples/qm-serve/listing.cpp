// listing.cpp - what a container holds, sorted, and kept for its next page.

#include "qm-serve/listing.h"

#include "qm-serve/media_type.h"
#include "qm-serve/object_id.h"
#include "qm-serve/playlist_store.h"
#include "qm-serve/playlists.h"
#include "qm-serve/title.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <map>
#include <mutex>
#include <tuple>
#include <unistd.h>

// Entries of all listings that are kept, some 50 MB of them.
static constexpr size_t MAX_KEPT = 200'000;

using namespace serve;

namespace {
using Key = std::tuple<dev_t, ino_t, SortOrder>;
using Contents = std::shared_ptr<const Listing>;

struct Kept {
    std::string path;  // empty: nothing in the media folder
    timespec    modified;
    bool        is_settled;   // false: it may have changed in the same instant
    bool        is_fleeting;  // true: any change ends it
    uint32_t    changes;      // how many there were before it was read
    Contents    contents;
};
}

static std::mutex          kept_lock;
static std::map<Key, Kept> kept;  // these three guarded by kept_lock
static size_t              kept_entries;
static uint32_t            changes;

// --- Classes ----------------------------------------------------------------

// clang-format off
static constexpr struct {
    const char *type;  // its beginning; the first row that fits counts
    const char *upnp_class;
} classes[] = {
    { "audio/",                 "object.item.audioItem.musicTrack" },
    { "video/",                 "object.item.videoItem" },
    { "image/",                 "object.item.imageItem.photo" },
    { "application/vnd.ms-wpl", "object.item.playlistItem" },
    { "text/",                  "object.item.textItem" },
};
// clang-format on

const char *serve::upnp_class_of(const std::string &name, EntryKind kind)
{
    switch (kind) {
    case EntryKind::FILE: break;
    case EntryKind::FOLDER: return "object.container.storageFolder";
    case EntryKind::STORE: return "object.container";
    case EntryKind::PLAYLIST_FILE:
    case EntryKind::STORED_PLAYLIST:
        return "object.container.playlistContainer";
    }
    for (const auto &row : classes) {
        if (upnp_starts_with(media_type(name.c_str()), row.type))
            return row.upnp_class;
    }
    return "object.item";
}

// --- Reading ----------------------------------------------------------------

// Titles alone are no total order: accents do not count, names may differ in
// their endings.
static bool stands_before(const SortOrder &order, const ListedEntry &a,
                          const ListedEntry &b)
{
    static const SortOrder by_title[] = {
        { { { SortField::TITLE, false } }, false },
        { { { SortField::TITLE, false } }, true },
    };

    int result = compare(order, a.title, a.upnp_class, b.title, b.upnp_class);
    if (result != 0)
        return result < 0;
    if (order.keys.empty() && is_container(a) != is_container(b))
        return is_container(a);
    result = compare(by_title[order.by_bytes], a.title, a.upnp_class, b.title,
                     b.upnp_class);
    return result != 0 ? result < 0 : a.name < b.name;
}

static ListedEntry entry_of(const MediaEntry &entry)
{
    EntryKind   kind = entry.is_folder           ? EntryKind::FOLDER
                       : is_playlist(entry.name) ? EntryKind::PLAYLIST_FILE
                                                 : EntryKind::FILE;
    std::string title =
        kind == EntryKind::PLAYLIST_FILE
            ? title_of(entry.name.substr(0, entry.name.rfind('.')), true)
            : title_of(entry.name, entry.is_folder);

    return { entry.name,           title, upnp_class_of(entry.name, kind),
             name_key(entry.name), kind,  "" };
}

static std::vector<ListedEntry>
folder_entries(const MediaFolder &folder, int fd, const std::string &relative)
{
    std::vector<ListedEntry> entries;

    for (const MediaEntry &entry : list_folder(folder, fd, relative, false))
        entries.push_back(entry_of(entry));
    if (relative.empty() && !stored_playlists().empty())
        entries.push_back(store_entry());
    return entries;
}

static std::vector<ListedEntry> file_entries(const MediaFolder &folder, int fd,
                                             const std::string &relative)
{
    std::vector<std::string> tracks = read_playlist(fd);

    close(fd);
    return playlist_entries(folder, relative.substr(0, relative.rfind('/') + 1),
                            tracks);
}

// Takes over the descriptor, if there is one.
static std::vector<ListedEntry> entries_of(const MediaFolder &folder, int fd,
                                           const std::string &relative,
                                           const ListedEntry &container)
{
    switch (container.kind) {
    case EntryKind::FILE: break;
    case EntryKind::FOLDER: return folder_entries(folder, fd, relative);
    case EntryKind::PLAYLIST_FILE: return file_entries(folder, fd, relative);
    case EntryKind::STORE: return stored_entries();
    case EntryKind::STORED_PLAYLIST:
        return playlist_entries(folder, "", stored_tracks(container.key));
    }
    return {};
}

static bool is_stored(const ListedEntry &container)
{
    return container.kind == EntryKind::STORE ||
           container.kind == EntryKind::STORED_PLAYLIST;
}

static bool has_own_order(const ListedEntry &container)
{
    return container.kind == EntryKind::PLAYLIST_FILE ||
           container.kind == EntryKind::STORED_PLAYLIST;
}

// Of equal items in a playlist the first stays in front.
static void sort(std::vector<ListedEntry> &entries,
                 const ListedEntry &container, const SortOrder &order)
{
    if (!has_own_order(container))
        std::sort(entries.begin(), entries.end(),
                  [&](const ListedEntry &a, const ListedEntry &b) {
                      return stands_before(order, a, b);
                  });
    else if (!order.keys.empty())
        std::stable_sort(entries.begin(), entries.end(),
                         [&](const ListedEntry &a, const ListedEntry &b) {
                             return compare(order, a.title, a.upnp_class,
                                            b.title, b.upnp_class) < 0;
                         });
}

// Opens what the container is made from: a file or a folder. A stored playlist
// has neither; no file lies on the device 0 of its status.
static int open_container(const MediaFolder &folder,
                          const std::string &relative,
                          const ListedEntry &container, struct stat &status)
{
    bool is_folder = container.kind == EntryKind::FOLDER;
    int  fd = -1;

    status = {};
    status.st_ino = container.key;
    if (!is_stored(container))
        fd = open_inside(folder, relative, status);
    if (fd == -1 ||
        (S_ISDIR(status.st_mode) == is_folder && is_container(container)))
        return fd;
    close(fd);
    errno = ENOTDIR;
    return -1;
}

static Contents read(const MediaFolder &folder, int fd,
                     const struct stat &status, const std::string &relative,
                     const ListedEntry &container, const SortOrder &order)
{
    auto listing = std::make_shared<Listing>();

    listing->device = status.st_dev;
    listing->inode = status.st_ino;
    listing->entries = entries_of(folder, fd, relative, container);
    sort(listing->entries, container, order);
    return listing;
}

// --- Keeping ----------------------------------------------------------------

static bool is_same(const timespec &a, const timespec &b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

static void count_change_locked()
{
    if (changes == 0)
        changes = static_cast<uint32_t>(time(nullptr));
    else
        ++changes;
}

static void forget_locked()
{
    kept.clear();
    kept_entries = 0;
}

static Contents recall(const Key &key, const timespec &modified)
{
    std::scoped_lock lock(kept_lock);
    auto             found = kept.find(key);

    if (found == kept.end() || !found->second.is_settled ||
        !is_same(found->second.modified, modified) ||
        (found->second.is_fleeting && found->second.changes != changes))
        return nullptr;
    return found->second.contents;
}

static uint32_t changes_so_far()
{
    std::scoped_lock lock(kept_lock);

    return changes;
}

static void keep(const Key &key, Kept row)
{
    std::scoped_lock lock(kept_lock);
    auto             found = kept.find(key);
    size_t           count = row.contents->entries.size() + 1;

    if (found != kept.end()) {
        if (!is_same(found->second.modified, row.modified))
            count_change_locked();
        kept_entries -= found->second.contents->entries.size() + 1;
        kept.erase(found);
    }
    if (kept_entries + count > MAX_KEPT)
        forget_locked();
    kept.emplace(key, std::move(row));
    kept_entries += count;
}

std::shared_ptr<const Listing> serve::listing(const MediaFolder &folder,
                                              const std::string &relative,
                                              const ListedEntry &container,
                                              const SortOrder   &order)
{
    struct stat status;
    int         fd = open_container(folder, relative, container, status);
    Contents    contents;

    if (fd == -1 && !is_stored(container))
        return nullptr;

    Key key = { status.st_dev, status.st_ino, order };
    contents = recall(key, status.st_mtim);
    if (contents) {
        if (fd != -1)
            close(fd);
        return contents;
    }

    std::string path = is_stored(container) ? "" : folder.path + "/" + relative;
    bool        is_settled = time(nullptr) > status.st_mtim.tv_sec + 1;
    bool is_fleeting = container.kind != EntryKind::FOLDER || relative.empty();
    uint32_t before = changes_so_far();

    contents = read(folder, fd, status, relative, container, order);
    keep(key,
         { path, status.st_mtim, is_settled, is_fleeting, before, contents });
    return contents;
}

// False if nothing was found.
static bool count_found_locked()
{
    uint32_t before = changes;

    for (auto &[key, row] : kept) {
        struct stat status = {};

        if (row.path.empty())
            continue;
        stat(row.path.c_str(), &status);
        if (is_same(row.modified, status.st_mtim))
            continue;
        count_change_locked();
        row.modified = status.st_mtim;
        row.is_settled = false;
    }
    return changes != before;
}

uint32_t serve::update_id()
{
    std::scoped_lock lock(kept_lock);

    if (changes == 0)
        count_change_locked();
    count_found_locked();
    return changes;
}

void serve::note_change()
{
    std::scoped_lock lock(kept_lock);

    if (!count_found_locked())
        count_change_locked();
}

void serve::forget_listings()
{
    std::scoped_lock lock(kept_lock);

    forget_locked();
}
