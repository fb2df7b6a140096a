// listing.h - what a folder holds, sorted, and kept for the next page of it.
//
// A control point asks for a long folder page by page. The listing stays until
// the folder's time of change tells that something was added or taken away.
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

struct ListedEntry {
    std::string name;
    std::string title;       // see title.h
    const char *upnp_class;  // constant
    uint64_t    key;         // of the name; see object_id.h
    bool        is_folder;
};

struct Listing {
    dev_t                    device;  // with inode: which folder it is
    ino_t                    inode;
    std::vector<ListedEntry> entries;
};

// The class of a folder, and of a file of that name.
const char *upnp_class_of(const std::string &name, bool is_folder);

// The files and folders in the folder at relative; null, with errno, if there
// is no such folder.
std::shared_ptr<const Listing> listing(const MediaFolder &folder,
                                       const std::string &relative,
                                       const SortOrder   &order);

// A number that rises when a folder that was listed is found changed. It begins
// with the time, so that it also rises from one run to the next.
uint32_t update_id(const MediaFolder &folder);

// Forgets all listings.
void forget_listings();

}

#endif
