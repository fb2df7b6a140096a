// upnp_directory.h - walks through directories, and removes whole trees.
//
// A walk passes over "lost+found" and every name that starts with ".", so
// hidden entries are neither seen nor deleted.
//
// Threads: a walk belongs to one thread; nothing else is shared.
#ifndef FILES_UPNP_DIRECTORY_H
#define FILES_UPNP_DIRECTORY_H

#include "runtime/upnp_api.h"
#include <dirent.h>
#include <stdint.h>

UPNP_C_BEGIN

// A walk, and the entry on which it stands. The texts are tracked texts, owned
// by the record and replaced by the next step.
typedef struct FileFind {
    DIR    *dir;          // open, owned
    char   *directory;    // walked, without one trailing "/"
    char   *path;         // of the entry: directory, "/" and name
    char   *name;         // of the entry
    int32_t isDirectory;  // 1 for a directory and for a link to one
    int32_t isLink;       // 1 for a symbolic link
} FileFind;

// --- Walking ----------------------------------------------------------------

// Starts a walk and stands on the first entry. Null if there is none, for a
// null directory, for one that cannot be opened, for every path that starts
// with "/proc" ("/procfoo" too), and when out of memory. "" is the root.
// An entry whose path needs more than 2048 bytes with its NUL is passed over.
UPNP_API FileFind *upnp_file_find_first_file(const char *directory);

// Moves to the next entry and returns find. Behind the last one, and when out
// of memory, the walk is closed and the result is null, so that the usual loop
// needs no closing call. Null for null.
UPNP_API FileFind *upnp_file_find_next_file(FileFind *find);

// Closes a walk that stops early. May be null.
UPNP_API void upnp_file_find_close(FileFind *find);

// --- Removing: failures are silent; null and "" remove nothing --------------

// Deletes the entries that are no directories. Links are deleted as such.
UPNP_API void upnp_file_empty_dir(const char *directory);

// Deletes a tree, with the directory itself if it is empty in the end: an
// entry that a walk passes over, or a kept file, keeps the directories above
// it. A file is kept if its path ends in keepSuffix, in the same case; an empty
// keepSuffix keeps every file, and null keeps none. A link to a directory is
// walked through: what it leads to is emptied, and the link stays.
UPNP_API void upnp_file_remove_dir_tree(const char *directory,
                                        const char *keepSuffix);

// The same, but directory itself stays.
UPNP_API void upnp_file_remove_dir_sub_tree(const char *directory,
                                            const char *keepSuffix);

// upnp_file_remove_dir_tree without a suffix, on a thread of its own. The path
// is copied.
UPNP_API void upnp_file_remove_dir_tree_background(const char *directory);

UPNP_C_END
#endif
