// object_id.h - the ObjectIDs of files, folders and playlists.
//
// "0" is the media folder. Below it each level adds 16 hex digits, the key of
// its name, so that an ID stays the same as long as the path does, and has a
// bounded length whatever the names are. In a playlist the key is that of the
// file's path, and of how often it came before. An ID is never turned into a
// path: it is looked for, level by level, among what the folders hold.
#ifndef QM_SERVE_OBJECT_ID_H
#define QM_SERVE_OBJECT_ID_H

#include "qm-serve/listing.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace serve {

inline constexpr char root_id[] = "0";

struct Object {
    std::string id;
    std::string parent_id;
    std::string relative;  // path in the media folder; leads out of it for what
                           // is not there
    ListedEntry entry;
};

// The key of a name.
uint64_t name_key(std::string_view name);

// The ID of the file or folder at a path without links and dots. Empty for what
// is not shown: a name that begins with a dot, or more than 50 levels.
std::string id_of(std::string_view relative);

// The object of that ID, if there is one.
std::optional<Object> find_object(const MediaFolder &folder,
                                  std::string_view   id);

// What stands under that entry of a container.
Object child_of(const Object &container, const ListedEntry &entry);

// The object of the file that an item of a playlist stands for; any other
// object itself.
Object original_of(const Object &object);

// What a container holds; null, with errno, if it is none or cannot be read.
// Containers 50 levels deep seem empty: longer IDs would not fit in a URL.
std::shared_ptr<const Listing> children(const MediaFolder &folder,
                                        const Object      &container,
                                        const SortOrder   &order);

}

#endif
