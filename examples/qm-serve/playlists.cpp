// playlists.cpp - what the playlists lead to.

#include "qm-serve/playlists.h"

#include "qm-serve/media_type.h"
#include "qm-serve/object_id.h"
#include "qm-serve/title.h"
#include "qm-serve/url_text.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <unistd.h>

using namespace serve;

bool serve::is_playlist(const std::string &name)
{
    return strcmp(media_type(name.c_str()), playlist_type) == 0;
}

// The file that is shown at a path below base, or at a whole path.
static std::string file_at(const MediaFolder &folder, const std::string &base,
                           const std::string &path)
{
    std::string top = folder.path + "/";
    bool        is_inside = path.starts_with(top);
    struct stat status;

    if ((path.starts_with('/') && !is_inside) || path.find('\0') != path.npos)
        return "";
    std::optional<std::string> real = resolve_inside(
        folder, is_inside ? path.substr(top.size()) : base + path);
    bool is_shown = real && !id_of(*real).empty();
    int  fd = is_shown ? open_inside(folder, *real, status) : -1;
    if (fd == -1)
        return "";
    close(fd);
    return S_ISREG(status.st_mode) ? *real : "";
}

// Here "\" may be part of a name, on Windows it stands between names; and some
// programs write URLs.
std::string serve::track_path(const MediaFolder &folder,
                              const std::string &base, const std::string &track)
{
    std::string slashed = track;
    std::string path = file_at(folder, base, track);

    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    if (path.empty() && slashed != track)
        path = file_at(folder, base, slashed);
    if (path.empty() && slashed.find('%') != slashed.npos)
        path = file_at(folder, base, percent_decoded(slashed));
    return path;
}

std::vector<ListedEntry>
serve::playlist_entries(const MediaFolder &folder, const std::string &base,
                        const std::vector<std::string> &tracks)
{
    std::vector<ListedEntry>   entries;
    std::map<std::string, int> counts;  // of the entries for each path

    for (const std::string &track : tracks) {
        std::string path = track_path(folder, base, track);
        std::string name = path.substr(path.rfind('/') + 1);

        if (path.empty())
            continue;
        std::string place = path + "/" + std::to_string(++counts[path]);
        entries.push_back({ name, title_of(name, false),
                            upnp_class_of(name, EntryKind::FILE),
                            name_key(place), EntryKind::FILE, path });
    }
    return entries;
}
