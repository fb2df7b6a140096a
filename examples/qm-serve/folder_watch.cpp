// folder_watch.cpp - hears of changes in the folder that is served.
//
// Each folder of the tree has a watch of its own, which it gets before its
// contents are looked at: a folder that is made meanwhile is heard of. A change
// is counted after the watches of new folders are there: what happens in them
// later is heard of, too.

#include "qm-serve/folder_watch.h"

#include "files/upnp_fsmon.h"
#include "qm-serve/listing.h"
#include "runtime/upnp_log.h"

#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

// The kernel grants each user a number of watches, and other programs need
// some, too.
static constexpr size_t MAX_FOLDERS = 50'000;

// Changes that come close together count as one.
static constexpr int GATHER_MS = 200;

static constexpr size_t EVENT_BYTES = 65536;

using namespace serve;
namespace fs = std::filesystem;

namespace {
struct Tree {
    int32_t                    monitor;
    std::map<int, std::string> folders;  // paths by watch; they end in "/"
};

struct Heard {
    bool is_change;
    bool is_lost;  // the queue was full: some events did not come
};
}

static std::thread       watcher;
static int               stop_event;  // readable once the thread is to end
static std::atomic<bool> is_stopped;

// --- Watches ----------------------------------------------------------------

// The folders in a folder, as paths that end in "/". What a link leads to is
// either watched by its own path or not served.
static void add_folders_in(const std::string        &path,
                           std::vector<std::string> &folders)
{
    std::error_code        error;
    std::error_code        none;
    fs::directory_iterator entry(path, error);

    while (!error && entry != fs::directory_iterator()) {
        std::string name = entry->path().filename();

        if (!name.starts_with('.') && !entry->is_symlink(none) &&
            entry->is_directory(none))
            folders.push_back(path + name + "/");
        entry.increment(error);
    }
}

// False when watches are used up. A folder that went away meanwhile, or cannot
// be read, is not listed either.
static bool watch_tree(Tree &tree, const std::string &top)
{
    std::vector<std::string> waiting = { top };

    while (!waiting.empty() && !is_stopped) {
        std::string path = std::move(waiting.back());
        int32_t     watch;

        waiting.pop_back();
        if (tree.folders.size() == MAX_FOLDERS)
            return false;
        watch = fsmon_add_watch(tree.monitor, path.c_str());
        if (watch < 0 && access(path.c_str(), R_OK | X_OK) == 0)
            return false;
        if (watch < 0)
            continue;
        add_folders_in(path, waiting);
        tree.folders[watch] = std::move(path);
    }
    return true;
}

// Takes the watches from a folder that was moved, and from those in it: they
// would go along, out of the tree perhaps.
static void forget_tree(Tree &tree, const std::string &top)
{
    std::erase_if(tree.folders, [&](const auto &row) {
        bool is_in = row.second.starts_with(top);

        if (is_in)
            inotify_rm_watch(tree.monitor, row.first);
        return is_in;
    });
}

static void close_tree(Tree &tree)
{
    if (tree.monitor >= 0)
        fsmon_release(tree.monitor);
    tree = { -1, {} };
}

// Begins anew.
static bool open_tree(Tree &tree, const MediaFolder &folder)
{
    close_tree(tree);
    tree.monitor = fsmon_init();
    return tree.monitor >= 0 && fcntl(tree.monitor, F_SETFL, O_NONBLOCK) == 0 &&
           watch_tree(tree, folder.path + "/");
}

// --- Events -----------------------------------------------------------------

// False when watches are used up.
static bool take_in(Tree &tree, const inotify_event &event, Heard &heard)
{
    std::string name = event.len > 0 ? event.name : "";
    auto        parent = tree.folders.find(event.wd);

    heard.is_lost |= (event.mask & IN_Q_OVERFLOW) != 0;
    if (parent == tree.folders.end())
        return true;
    if (event.mask & IN_IGNORED)
        tree.folders.erase(parent);
    if (name.empty() || name.starts_with('.'))
        return true;

    heard.is_change = true;
    if (!(event.mask & IN_ISDIR))
        return true;
    name = parent->second + name + "/";
    if (event.mask & IN_MOVED_FROM)
        forget_tree(tree, name);
    return !(event.mask & (IN_CREATE | IN_MOVED_TO)) || watch_tree(tree, name);
}

// All events that wait.
static bool take_in_all(Tree &tree, Heard &heard)
{
    auto    events = std::make_unique<char[]>(EVENT_BYTES);
    ssize_t bytes;

    while ((bytes = read(tree.monitor, events.get(), EVENT_BYTES)) > 0) {
        for (ssize_t at = 0; at < bytes;) {
            auto *event =
                reinterpret_cast<const inotify_event *>(events.get() + at);

            if (!take_in(tree, *event, heard))
                return false;
            at += static_cast<ssize_t>(sizeof(*event) + event->len);
        }
    }
    return true;
}

// False once the thread is to end.
static bool wait_for_events(const Tree &tree)
{
    pollfd waiting[] = { { stop_event, POLLIN, 0 },
                         { tree.monitor, POLLIN, 0 } };

    while (!is_stopped && waiting[1].revents == 0)
        poll(waiting, 2, -1);
    if (!is_stopped)
        poll(waiting, 1, GATHER_MS);
    return !is_stopped;
}

// --- The thread -------------------------------------------------------------

static void follow(const MediaFolder &folder)
{
    Tree tree = { -1, {} };
    bool is_watched = open_tree(tree, folder);

    while (is_watched && wait_for_events(tree)) {
        Heard heard = {};

        is_watched = take_in_all(tree, heard);
        if (heard.is_lost)
            is_watched = open_tree(tree, folder);
        if (heard.is_change || heard.is_lost)
            note_change();
    }
    if (!is_watched)
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "follow",
                      "%s cannot be watched whole", folder.path.c_str());
    close_tree(tree);
}

void serve::start_folder_watch(const MediaFolder &folder)
{
    stop_event = eventfd(0, EFD_CLOEXEC);
    if (stop_event == -1)
        return;
    is_stopped = false;
    watcher = std::thread(follow, std::cref(folder));
}

void serve::stop_folder_watch()
{
    if (!watcher.joinable())
        return;
    is_stopped = true;
    eventfd_write(stop_event, 1);
    watcher.join();
    close(stop_event);
}
