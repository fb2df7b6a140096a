// listing.cpp - what a folder holds, sorted, and kept for the next page of it.

#include "qm-serve/listing.h"

#include "qm-serve/media_type.h"
#include "qm-serve/object_id.h"
#include "qm-serve/title.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <map>
#include <mutex>
#include <tuple>
#include <unistd.h>

// Entries of all listings that are kept, some 20 MB of them.
static constexpr size_t MAX_KEPT = 100'000;

using namespace serve;

namespace {
using Key = std::tuple<dev_t, ino_t, SortOrder>;
using Contents = std::shared_ptr<const Listing>;

struct Kept {
    std::string relative;
    timespec    modified;
    bool        is_settled;  // false: it may have changed in the same instant
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

const char *serve::upnp_class_of(const std::string &name, bool is_folder)
{
    if (is_folder)
        return "object.container.storageFolder";
    for (const auto &row : classes) {
        if (upnp_starts_with(media_type(name.c_str()), row.type))
            return row.upnp_class;
    }
    return "object.item";
}

// --- Reading a folder -------------------------------------------------------

// Titles alone are no total order: accents do not count, names may differ in
// their endings.
static bool stands_before(const SortOrder &order, const ListedEntry &a,
                          const ListedEntry &b)
{
    static const SortOrder by_title = { { SortField::TITLE, false } };

    int result = compare(order, a.title, a.upnp_class, b.title, b.upnp_class);
    if (result != 0)
        return result < 0;
    if (order.empty() && a.is_folder != b.is_folder)
        return a.is_folder;
    result = compare(by_title, a.title, a.upnp_class, b.title, b.upnp_class);
    return result != 0 ? result < 0 : a.name < b.name;
}

static Contents read(const MediaFolder &folder, int fd,
                     const struct stat &status, const std::string &relative,
                     const SortOrder &order)
{
    auto listing = std::make_shared<Listing>();

    listing->device = status.st_dev;
    listing->inode = status.st_ino;
    for (MediaEntry &entry : list_folder(folder, fd, relative, false)) {
        listing->entries.push_back({ entry.name,
                                     title_of(entry.name, entry.is_folder),
                                     upnp_class_of(entry.name, entry.is_folder),
                                     name_key(entry.name), entry.is_folder });
    }
    std::sort(listing->entries.begin(), listing->entries.end(),
              [&](const ListedEntry &a, const ListedEntry &b) {
                  return stands_before(order, a, b);
              });
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
        !is_same(found->second.modified, modified))
        return nullptr;
    return found->second.contents;
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
                                              const SortOrder   &order)
{
    struct stat status;
    int         fd = open_inside(folder, relative, status);
    Contents    contents;

    if (fd == -1)
        return nullptr;
    if (!S_ISDIR(status.st_mode)) {
        close(fd);
        errno = ENOTDIR;
        return nullptr;
    }

    Key key = { status.st_dev, status.st_ino, order };
    contents = recall(key, status.st_mtim);
    if (contents) {
        close(fd);
        return contents;
    }
    bool is_settled = time(nullptr) > status.st_mtim.tv_sec + 1;
    contents = read(folder, fd, status, relative, order);
    keep(key, { relative, status.st_mtim, is_settled, contents });
    return contents;
}

uint32_t serve::update_id(const MediaFolder &folder)
{
    std::scoped_lock lock(kept_lock);

    if (changes == 0)
        count_change_locked();
    for (auto &[key, row] : kept) {
        struct stat status = {};

        stat((folder.path + "/" + row.relative).c_str(), &status);
        if (is_same(row.modified, status.st_mtim))
            continue;
        count_change_locked();
        row.modified = status.st_mtim;
        row.is_settled = false;
    }
    return changes;
}

void serve::forget_listings()
{
    std::scoped_lock lock(kept_lock);

    forget_locked();
}
