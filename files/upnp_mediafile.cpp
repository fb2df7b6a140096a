// upnp_mediafile.cpp - files for streaming: still growing, or made of parts.

#include "files/upnp_mediafile.h"

#include "files/upnp_file_segment.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_thread.h"

#include <stdio.h>

static constexpr int32_t GROWTH_PAUSE_MS = 50;

static int64_t add(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) +
                                static_cast<uint64_t>(b));
}

// The descriptor is -1 if the part cannot be opened; reads and seeks then fail
// until another part has been the current one.
static void open_part(UpnpFile *file, UpnpFileSegment *part)
{
    if (file->fd != -1)
        close_file(file->fd);
    file->currentSegment = part;
    file->fd = open_read(part->path);
}

static int64_t absolute_offset(const UpnpFile *file, int64_t offset,
                               int32_t whence)
{
    switch (whence) {
    case SEEK_SET: return offset;
    case SEEK_CUR: return add(file->position, offset);
    case SEEK_END: return add(file->size, offset);
    default: return 0;
    }
}

UpnpFile *upnp_mediafile_open_read(const char *path, int32_t growing)
{
    auto *file = static_cast<UpnpFile *>(upnp_calloc_impl(1, sizeof(UpnpFile)));
    UpnpFileStat stat;

    if (!file)
        return nullptr;

    file->fd = open_read(path);
    if (file->fd == -1) {
        upnp_free_impl(file);
        return nullptr;
    }
    if (!growing && upnp_file_stat(path, &stat) == 0) {
        file->size = stat.size;
        file->complete = 1;
    }
    return file;
}

int32_t upnp_mediafile_stat(const char *path, UpnpFileStat *stat)
{
    UpnpFile *file;

    if (upnp_file_stat(path, stat) == -1)
        return -1;

    file = upnp_mediafile_open_read(path, 0);
    if (file)
        stat->size = file->size;
    upnp_file_close(file);
    return 0;
}

int32_t upnp_mediafile_read(UpnpFile *file, void *buffer, uint32_t length)
{
    int32_t count;

    if (!file)
        return -1;

    count = upnp_file_read(file, buffer, length);
    if (count < 1 && !file->complete) {
        Sleep(GROWTH_PAUSE_MS);
        count = upnp_file_read(file, buffer, length);
    }
    if (count < 1 || static_cast<uint32_t>(count) == length)
        return count;

    if (file->currentSegment && file->currentSegment->next)
        open_part(file, file->currentSegment->next);
    return count;
}

int64_t upnp_mediafile_seek(UpnpFile *file, int64_t offset, int32_t whence)
{
    UpnpFileSegment *part;
    int64_t          target;
    int64_t          start = 0;  // of the part, within the whole

    if (!file)
        return -1;
    if (!file->segments)
        return upnp_file_seek(file, offset, whence);

    target = absolute_offset(file, offset, whence);
    if (target == file->position)
        return target;

    for (part = file->segments; part; part = part->next) {
        if (target <= add(start, part->size))
            break;
        start = add(start, part->size);
    }
    if (!part)
        return -1;

    if (part != file->currentSegment)
        open_part(file, part);
    if (upnp_file_seek(file, add(target, -start), SEEK_SET) == -1)
        return -1;
    file->position = target;
    return target;
}
