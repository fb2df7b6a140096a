// media_folder.cpp - the folder that is served, and nothing outside it.
//
// A path is resolved first, links and all, and what comes out must lie in the
// folder. It is then opened name by name without following any link, so that a
// link that is put in place in between leads nowhere.

#include "qm-serve/media_folder.h"

#include "qm-serve/media_type.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <tuple>
#include <unistd.h>

using CText = std::unique_ptr<char, decltype(&free)>;

// Opens a path that holds neither links nor dots, from the folder down.
static int open_resolved(int folder_fd, std::string_view rest)
{
    int fd = openat(folder_fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);

    while (fd != -1 && !rest.empty()) {
        size_t      slash = rest.find('/');
        bool        is_last = slash == std::string_view::npos;
        std::string name(rest.substr(0, slash));
        // Without O_NONBLOCK a pipe would wait here for its writer.
        int flags = is_last ? O_RDONLY | O_NONBLOCK : O_PATH | O_DIRECTORY;
        int next = openat(fd, name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC);

        close(fd);
        fd = next;
        rest.remove_prefix(is_last ? rest.size() : slash + 1);
    }
    return fd;
}

static bool is_listed(mode_t mode)
{
    return S_ISREG(mode) || S_ISDIR(mode);
}

// Opens a file or a folder in the folder fd; a link counts as what it leads to
// inside the media folder. Anything else is not touched: opening a device may
// do things.
static int open_entry(const serve::MediaFolder &folder, int fd,
                      const std::string &relative, const char *name,
                      struct stat &status)
{
    int entry;

    if (fstatat(fd, name, &status, AT_SYMLINK_NOFOLLOW) == -1)
        return -1;
    if (S_ISLNK(status.st_mode))
        return serve::open_inside(folder, relative + "/" + name, status);
    if (!is_listed(status.st_mode))
        return -1;

    entry = openat(fd, name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (entry != -1 && fstat(entry, &status) == 0 && is_listed(status.st_mode))
        return entry;
    if (entry != -1)
        close(entry);
    return -1;
}

bool serve::open_folder(MediaFolder &folder, const char *path)
{
    CText real(realpath(path, nullptr), free);

    if (!real)
        return false;
    // For "/" an empty text remains, to which "/name" is added all the same.
    folder.path = strcmp(real.get(), "/") == 0 ? "" : real.get();
    folder.fd = open(real.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return folder.fd != -1;
}

void serve::close_folder(MediaFolder &folder)
{
    if (folder.fd != -1)
        close(folder.fd);
    folder.fd = -1;
}

std::optional<std::string> serve::resolve_inside(const MediaFolder &folder,
                                                 const std::string &relative)
{
    CText real(realpath((folder.path + "/" + relative).c_str(), nullptr), free);
    std::string_view rest;

    if (!real)
        return {};

    // "/folder" holds "/folder" and "/folder/a", but not "/folder2".
    rest = real.get();
    if (!rest.starts_with(folder.path)) {
        errno = ENOENT;
        return {};
    }
    rest.remove_prefix(folder.path.size());
    if (!rest.empty() && rest.front() != '/') {
        errno = ENOENT;
        return {};
    }
    rest.remove_prefix(rest.empty() ? 0 : 1);
    return std::string(rest);
}

int serve::open_inside(const MediaFolder &folder, const std::string &relative,
                       struct stat &status)
{
    std::optional<std::string> path = resolve_inside(folder, relative);
    int                        fd = -1;

    if (path)
        fd = open_resolved(folder.fd, *path);
    if (fd == -1)
        return -1;
    if (fstat(fd, &status) == 0 && is_listed(status.st_mode))
        return fd;
    close(fd);
    errno = ENOENT;
    return -1;
}

std::vector<serve::MediaEntry> serve::list_folder(const MediaFolder &folder,
                                                  int                fd,
                                                  const std::string &relative,
                                                  bool               with_facts)
{
    std::vector<MediaEntry> entries;
    DIR                    *dir = fdopendir(fd);

    if (!dir) {
        close(fd);
        return entries;
    }
    while (const dirent *row = readdir(dir)) {
        const char *name = row->d_name;
        struct stat status;
        int         entry;

        if (name[0] == '.')
            continue;
        entry = open_entry(folder, fd, relative, name, status);
        if (entry == -1)
            continue;
        entries.push_back(
            { name, S_ISDIR(status.st_mode), status.st_size, {} });
        if (with_facts && S_ISREG(status.st_mode))
            entries.back().facts = media_facts(entry, status, media_type(name));
        close(entry);
    }
    closedir(dir);

    std::sort(entries.begin(), entries.end(),
              [](const MediaEntry &a, const MediaEntry &b) {
                  return std::tie(b.is_folder, a.name) <
                         std::tie(a.is_folder, b.name);
              });
    return entries;
}
