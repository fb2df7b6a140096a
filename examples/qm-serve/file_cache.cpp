// file_cache.cpp - the file that a connection keeps open between its requests.

#include "qm-serve/file_cache.h"

#include "runtime/upnp_mem.h"

#include <unistd.h>

// Which of the cache's own blocks is the path of the file.
static constexpr int PATH = 0;

int serve::recall_file(const HttpRequest *request, const MediaFolder &folder,
                       const std::string &relative, struct stat &status)
{
    const HttpFileCache *cache = request->file_cache;
    struct stat          now;

    if (!cache || !cache->file)
        return -1;
    if (relative != static_cast<const char *>(cache->handler_data[PATH]))
        return -1;
    // It was found inside the folder before: what counts is that the path
    // still leads to it.
    if (stat((folder.path + "/" + relative).c_str(), &now) == -1 ||
        fstat(cache->file->fd, &status) == -1)
        return -1;
    return now.st_dev == status.st_dev && now.st_ino == status.st_ino
               ? cache->file->fd
               : -1;
}

// A record like that of upnp_file_open_read, for a file that is open already.
static UpnpFile *file_record(int fd, int64_t size)
{
    auto *file = static_cast<UpnpFile *>(upnp_calloc_impl(1, sizeof(UpnpFile)));

    if (!file) {
        close(fd);
        return nullptr;
    }
    file->fd = fd;
    file->complete = 1;
    file->size = size;
    return file;
}

bool serve::keep_file(HttpRequest *request, const std::string &relative, int fd,
                      const struct stat &status)
{
    http_file_filecache_free(request->file_cache);
    request->file_cache = static_cast<HttpFileCache *>(
        upnp_calloc_impl(1, sizeof(HttpFileCache)));
    if (!request->file_cache) {
        close(fd);
        return false;
    }
    request->file_cache->file = file_record(fd, status.st_size);
    request->file_cache->handler_data[PATH] =
        upnp_strdup_impl(relative.c_str());
    if (request->file_cache->file && request->file_cache->handler_data[PATH])
        return true;

    http_file_filecache_free(request->file_cache);
    request->file_cache = nullptr;
    return false;
}

void serve::set_modified(HttpRequest *request, const struct stat &status)
{
    request->file_cache->modified = status.st_mtime;
}

void serve::clear_modified(HttpRequest *request)
{
    if (request->file_cache)
        request->file_cache->modified = 0;
}
