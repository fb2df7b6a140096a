// playlist_store.h - the playlists that stay from one run to the next.
//
// They are the library's table of playlists. Each also lies in a file of its
// own in the folder "playlists" of the program's data. Their tracks are paths
// in the media folder.
// Threads: any, but for the calls that open and close.
#ifndef QM_SERVE_PLAYLIST_STORE_H
#define QM_SERVE_PLAYLIST_STORE_H

#include "qm-serve/object_id.h"

#include <cstdint>
#include <string>
#include <vector>

namespace serve {

struct StoredPlaylist {
    uint32_t    id;   // in the library's table
    uint64_t    key;  // of title and type; the same in each run
    std::string title;
    uint32_t    type;
    uint32_t    count;  // of tracks
};

// Loads the playlists of an earlier run, for a media folder that stays.
void open_playlist_store(const MediaFolder &folder);

// Gives back what the playlists took, but for the library's table of them,
// which stays as it has grown.
void    close_playlist_store();
int64_t playlist_table_bytes();

// --- Reading ----------------------------------------------------------------

// The tracks of an open WPL file, as they stand there. None for a file that is
// no playlist or larger than 16 MiB. The descriptor stays open.
std::vector<std::string> read_playlist(int fd);

std::vector<StoredPlaylist> stored_playlists();

// The tracks of the playlist of that key; none if there is no such playlist.
std::vector<std::string> stored_tracks(uint64_t key);

// The container that holds the playlists, and what stands in it.
ListedEntry              store_entry();
std::vector<ListedEntry> stored_entries();

// The WPL files of the media folder.
std::vector<Object> playlist_files();

// The playlist as WPL, with tracks as they are seen from a folder, whose whole
// path is given, or from the media folder. Empty if there is no such playlist.
std::string playlist_text(uint64_t key, const std::string &seen_from);

// --- Changes; false if there is nothing of that name, or it cannot be stored -

// Takes in a WPL file of the media folder, with the tracks that are there. It
// replaces a playlist of its title and type.
bool import_playlist(const std::string &relative);

// The title must be free, and not blank.
bool rename_playlist(uint64_t key, const std::string &title);

bool delete_playlist(uint64_t key);

}

#endif
