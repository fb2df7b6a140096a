// cover.cpp - the picture that stands for a file or a folder.

#include "qm-serve/cover.h"

#include "qm-serve/media_type.h"

#include <iterator>
#include <strings.h>

using namespace serve;

// The first one that a folder holds is its cover.
static const char *const names[] = {
    "cover.jpg",   "folder.jpg", "cover.jpeg",
    "folder.jpeg", "cover.png",  "folder.png",
};

static std::optional<Object> cover_in(const MediaFolder &folder,
                                      const Object      &container)
{
    const ListedEntry *best = nullptr;
    size_t             rank = std::size(names);
    auto               contents = children(folder, container, {});

    if (!contents)
        return {};
    for (const ListedEntry &entry : contents->entries) {
        for (size_t i = 0; i < rank && !is_container(entry); ++i) {
            if (strcasecmp(entry.name.c_str(), names[i]) == 0) {
                best = &entry;
                rank = i;
            }
        }
    }
    if (!best)
        return {};
    return child_of(container, *best);
}

// No more of it than what its children are made from.
static Object parent_of(const Object &object)
{
    size_t      slash = object.relative.rfind('/');
    ListedEntry entry = {};

    entry.kind = EntryKind::FOLDER;
    return { object.parent_id, "",
             slash == std::string::npos ? "" : object.relative.substr(0, slash),
             entry };
}

std::optional<Object> serve::cover_of(const MediaFolder &folder,
                                      const Object &object, Covers &covers)
{
    if (!is_container(object.entry) &&
        is_picture(media_type(object.entry.name.c_str())))
        return object;

    Object container = is_container(object.entry) ? object : parent_of(object);
    auto [found, is_new] = covers.try_emplace(container.relative);
    if (is_new)
        found->second = cover_in(folder, container);
    return found->second;
}
