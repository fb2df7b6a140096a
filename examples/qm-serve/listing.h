// listing.h - what a container holds, sorted, and kept for the next page of it.
//
// A control point asks for a long folder page by page. The listing stays until
// the folder's time of change tells that something was added or taken away.
// What a playlist leads to may lie anywhere, so that its listing stays until
// any change is known of.
// Threads: any.
#ifndef QM_SERVE_LISTING_H
#define QM_SERVE_LISTING_H

#include "qm-serve/media_folder.h"
#include "qm-serve/sort_order.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace serve {

enum class EntryKind {
    FILE,
    FOLDER,
    PLAYLIST_FILE,    // a WPL file
    STORE,            // all stored playlists
    STORED_PLAYLIST,  // see playlist_store.h
};

struct ListedEntry {
    std::string name;
    std::string title;       // see title.h
    const char *upnp_class;  // constant
    uint64_t    key;         // see object_id.h
    EntryKind   kind;
    std::string target;  // path, where it is not the name in the container
};

struct Listing {
    dev_t                    device;  // with inode: which container it is
    ino_t                    inode;
    std::vector<ListedEntry> entries;
};

inline bool is_container(const ListedEntry &entry)
{
    return entry.kind != EntryKind::FILE;
}

// Whether it is an item of a playlist, which stands for the file at target.
inline bool is_reference(const ListedEntry &entry)
{
    return entry.kind == EntryKind::FILE && !entry.target.empty();
}

// The class of a thing of that kind, and of a file of that name.
const char *upnp_class_of(const std::string &name, EntryKind kind);

// What a container at relative holds; null, with errno, if it is not there. A
// playlist that is not to be sorted keeps its own order.
std::shared_ptr<const Listing> listing(const MediaFolder &folder,
                                       const std::string &relative,
                                       const ListedEntry &container,
                                       const SortOrder   &order);

// A number that rises when a folder that was listed is found changed, and when
// a change is heard of. It begins with the time, so that it also rises from one
// run to the next.
uint32_t update_id();

// Counts a change that was heard of. Folders found changed count with it.
void note_change();

// Forgets all listings.
void forget_listings();

}

#endif
