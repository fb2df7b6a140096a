// playlists.h - what the playlists lead to.
//
// A playlist names its tracks as the program that wrote it saw them. Tracks
// that are no files in the media folder, or not shown there, are left out.
// Threads: any.
#ifndef QM_SERVE_PLAYLISTS_H
#define QM_SERVE_PLAYLISTS_H

#include "qm-serve/listing.h"

#include <string>
#include <vector>

namespace serve {

// Whether a file of that name is a playlist, and its MIME type.
bool                  is_playlist(const std::string &name);
inline constexpr char playlist_type[] = "application/vnd.ms-wpl";

// The path, without links and dots, of the file that a track leads to from a
// playlist in base, which is "" or has a "/" at its end. Empty if there is
// none.
std::string track_path(const MediaFolder &folder, const std::string &base,
                       const std::string &track);

// The items of a playlist in base, in the order of its tracks.
std::vector<ListedEntry>
playlist_entries(const MediaFolder &folder, const std::string &base,
                 const std::vector<std::string> &tracks);

}

#endif
