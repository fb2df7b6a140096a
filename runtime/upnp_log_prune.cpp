// upnp_log_prune.cpp - deletes the oldest parts of a rotating log.
//
// Two of these threads may run at once when rotations follow each other
// quickly. Both find the same oldest part, so that none is deleted too much.

#include "runtime/upnp_log_prune.h"

// Upward calls: the parts are files, found by walking their directory.
#include "files/upnp_directory.h"
#include "files/upnp_file.h"
#include "runtime/upnp_log_file.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"
#include "runtime/upnp_thread.h"

#include <string.h>
#include <sys/stat.h>

static constexpr int32_t KEPT_PARTS = 5;

namespace {
struct Parts {
    int32_t  count;
    char    *oldest;  // tracked text; null for none
    uint32_t oldest_time;
};
}

// A directory is no part, and neither is the log itself.
static bool is_part(const FileFind *find, const UpnpFileStat &stat,
                    const char *log_name)
{
    return !S_ISDIR(stat.mode) &&
           upnp_ends_with(find->path, log_prune::SUFFIX) &&
           !upnp_util_strings_equal(find->path, log_name, 0, 0);
}

// Of equal times the first one seen is the oldest.
static void count_part(Parts *parts, const char *path, uint32_t time)
{
    ++parts->count;
    if (parts->oldest && time >= parts->oldest_time)
        return;
    if (parts->oldest)
        upnp_free_impl(parts->oldest);
    parts->oldest = upnp_strdup_impl(path);
    parts->oldest_time = time;
}

static Parts scan(const char *directory, const char *log_name,
                  const char *undeletable)
{
    Parts        parts = {};
    UpnpFileStat stat;

    for (FileFind *find = upnp_file_find_first_file(directory); find;
         find = upnp_file_find_next_file(find)) {
        if (undeletable && strstr(undeletable, find->path))
            continue;
        if (upnp_file_stat(find->path, &stat) == 0 &&
            is_part(find, stat, log_name))
            count_part(&parts, find->path, stat.modifyTime);
    }
    return parts;
}

// Removes the oldest part if there are too many. Whether there still are.
static bool remove_oldest(const Parts &parts)
{
    if (parts.count <= KEPT_PARTS || !parts.oldest)
        return false;

    upnp_file_unlink(parts.oldest);
    if (upnp_file_exists(parts.oldest)) {
        log_prune::add_undeletable(parts.oldest);
        return false;
    }
    return parts.count - 1 > KEPT_PARTS;
}

static void remove_old_parts()
{
    char  log_name[log_prune::NAME_BYTES];
    char  directory[log_prune::NAME_BYTES];
    char *undeletable = nullptr;
    bool  has_more = log_prune::copy_state(log_name, &undeletable);

    // The log may be gone by now, and no name would mean the root directory.
    if (!log_name[0])
        has_more = false;

    memcpy(directory, log_name, sizeof(directory));
    if (char *slash = strrchr(directory, '/'))
        *slash = '\0';

    while (has_more) {
        Parts parts = scan(directory, log_name, undeletable);
        has_more = remove_oldest(parts);
        if (parts.oldest)
            upnp_free_impl(parts.oldest);
    }
    if (undeletable)
        upnp_free_impl(undeletable);
}

void *upnp_log_remove_old_parts_thread(void *)
{
    upnp_init_thread("log_remove_old_parts");
    remove_old_parts();
    upnp_end_thread();
    return nullptr;
}
