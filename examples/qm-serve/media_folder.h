// media_folder.h - the folder that is served, and nothing outside it.
//
// Paths are relative to the folder: "" is the folder itself, "a/b.mp3" a file
// in it. A path that ends outside the folder, by ".." or by a symbolic link,
// is refused as if nothing stood there.
#ifndef QM_SERVE_MEDIA_FOLDER_H
#define QM_SERVE_MEDIA_FOLDER_H

#include "qm-serve/media_facts.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace serve {

struct MediaFolder {
    std::string path;     // without symbolic links and without a "/" at its end
    int         fd = -1;  // owned
};

struct MediaEntry {
    std::string name;
    bool        is_folder;
    int64_t     size;   // bytes of a file
    MediaFacts  facts;  // of a media file
};

// Finds the folder. False, with errno, if there is none.
bool open_folder(MediaFolder &folder, const char *path);
void close_folder(MediaFolder &folder);

// The path, without links and dots, of what a path leads to; none, with errno,
// if nothing stands there.
std::optional<std::string> resolve_inside(const MediaFolder &folder,
                                          const std::string &relative);

// Opens a regular file or a folder for reading and asks for its status.
// Returns a descriptor that the caller closes, or -1 with errno.
int open_inside(const MediaFolder &folder, const std::string &relative,
                struct stat &status);

// The files and folders in the folder at relative, folders first, by name.
// Those that cannot be read and those whose names begin with a dot are left
// out. Takes over the descriptor fd that open_inside gave. Facts take time: a
// caller that does without them says so.
std::vector<MediaEntry> list_folder(const MediaFolder &folder, int fd,
                                    const std::string &relative,
                                    bool               with_facts = true);

}

#endif
