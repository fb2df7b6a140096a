// upnp_file.cpp - opens, reads, writes and changes files.
//
// Calls pass straight to the system; the record only remembers the size and
// follows the read position, so that neither needs a system call.

#include "files/upnp_file.h"

#include "files/upnp_file_segment.h"
#include "runtime/upnp_mem.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

static constexpr mode_t   NEW_FILE_MODE = 0644;
static constexpr mode_t   NEW_DIRECTORY_MODE = 0777;
static constexpr uint32_t COPY_BYTES = 8192;

// Sockets (0xC000) have the bit of regular files as well.
static constexpr uint32_t FILE_MODE_BIT = 0x8000;

static int32_t open_path(const char *path, int flags)
{
    return path ? open(path, flags | O_CLOEXEC, NEW_FILE_MODE) : -1;
}

static UpnpFile *open_record(const char *path, int32_t (*open_fd)(const char *))
{
    UpnpFile *file;

    if (!path)
        return nullptr;

    file = static_cast<UpnpFile *>(upnp_calloc_impl(1, sizeof(UpnpFile)));
    if (!file)
        return nullptr;

    file->fd = open_fd(path);
    if (file->fd == -1) {
        upnp_free_impl(file);
        return nullptr;
    }
    return file;
}

static void free_record(UpnpFile *file)
{
    while (UpnpFileSegment *segment = file->segments) {
        file->segments = segment->next;
        if (segment->path)
            upnp_free_impl(segment->path);
        upnp_free_impl(segment);
    }
    upnp_free_impl(file);
}

UpnpFile *upnp_file_open_read(const char *path)
{
    UpnpFile    *file = open_record(path, open_read);
    UpnpFileStat stat;

    if (!file)
        return nullptr;

    if (upnp_file_stat(path, &stat) == -1) {
        upnp_file_close(file);
        return nullptr;
    }
    file->size = stat.size;
    return file;
}

UpnpFile *upnp_file_open_write(const char *path)
{
    return open_record(path, open_write);
}

UpnpFile *upnp_file_open_readwrite(const char *path)
{
    return open_record(path, open_readwrite);
}

UpnpFile *upnp_open_shared_write(const char *path)
{
    return open_record(path, open_write);
}

UpnpFile *upnp_file_open_append(const char *path)
{
    UpnpFile    *file = open_record(path, open_append);
    UpnpFileStat stat;

    if (file && upnp_file_stat(path, &stat) == 0)
        file->size = stat.size;
    return file;
}

int32_t open_read(const char *path)
{
    return open_path(path, O_RDONLY);
}

int32_t open_write(const char *path)
{
    return open_path(path, O_WRONLY | O_CREAT);
}

int32_t open_readwrite(const char *path)
{
    return open_path(path, O_RDWR | O_CREAT);
}

int32_t open_append(const char *path)
{
    return open_path(path, O_RDWR | O_CREAT | O_APPEND);
}

int32_t close_file(int32_t fd)
{
    return close(fd);
}

void upnp_file_close(UpnpFile *file)
{
    if (!file)
        return;
    if (file->fd != -1)
        close_file(file->fd);
    free_record(file);
}

void upnp_file_keep_open(UpnpFile *file)
{
    if (file)
        free_record(file);
}

int32_t upnp_file_read(UpnpFile *file, void *buffer, uint32_t length)
{
    int32_t count;

    if (!file)
        return -1;

    // The system moves at most 0x7FFFF000 bytes a call: the count fits.
    count = static_cast<int32_t>(read(file->fd, buffer, length));
    if (count > 0)
        file->position += count;
    return count;
}

int32_t upnp_file_write(UpnpFile *file, const void *data, uint32_t length)
{
    return file ? static_cast<int32_t>(write(file->fd, data, length)) : -1;
}

int64_t upnp_file_seek(UpnpFile *file, int64_t offset, int32_t whence)
{
    int64_t position;

    if (!file)
        return -1;

    position = lseek64(file->fd, offset, whence);
    if (position != -1)
        file->position = position;
    return position;
}

int64_t upnp_file_tell(UpnpFile *file)
{
    return upnp_file_seek(file, 0, SEEK_CUR);
}

int32_t upnp_file_eof(UpnpFile *file)
{
    return !file || upnp_file_tell(file) >= file->size;
}

void upnp_file_flush(UpnpFile *file)
{
    if (file)
        fsync(file->fd);
}

char *upnp_file_gets(char *buffer, int32_t size, UpnpFile *file)
{
    const char *line_feed;
    int32_t     count;
    int32_t     length;

    if (!buffer)
        return nullptr;
    size = std::max(size, 0);
    memset(buffer, 0, static_cast<size_t>(size));
    if (!file)
        return nullptr;

    count = upnp_file_read(file, buffer, static_cast<uint32_t>(size));
    if (count < 1)
        return buffer;

    line_feed = static_cast<const char *>(
        memchr(buffer, '\n', static_cast<size_t>(count)));
    if (!line_feed)
        return buffer;

    length = static_cast<int32_t>(line_feed - buffer) + 1;
    upnp_file_seek(file, length - count, SEEK_CUR);
    if (size > length)
        buffer[length] = '\0';
    return buffer;
}

void upnp_file_copy(const char *source, const char *target)
{
    UpnpFile *in = nullptr;
    UpnpFile *out = nullptr;
    void     *buffer = nullptr;
    int32_t   count;

    in = upnp_file_open_read(source);
    if (!in)
        goto out;
    out = upnp_file_open_write(target);
    if (!out)
        goto out;
    buffer = upnp_malloc_impl(COPY_BYTES);
    if (!buffer)
        goto out;

    do {
        count = upnp_file_read(in, buffer, COPY_BYTES);
        if (count > 0)
            upnp_file_write(out, buffer, static_cast<uint32_t>(count));
    } while (count == COPY_BYTES);

out:
    if (buffer)
        upnp_free_impl(buffer);
    upnp_file_close(out);
    upnp_file_close(in);
}

int32_t upnp_file_stat(const char *path, UpnpFileStat *stat)
{
    struct stat status;

    if (!path || !stat || ::stat(path, &status) == -1)
        return -1;

    stat->firstTime = static_cast<uint32_t>(status.st_mtime);
    stat->modifyTime = static_cast<uint32_t>(status.st_mtime);
    stat->accessTime = static_cast<uint32_t>(status.st_atime);
    stat->size = status.st_size;
    stat->mode = status.st_mode;
    return 0;
}

int32_t upnp_file_exists(const char *path)
{
    UpnpFileStat stat;

    return upnp_file_stat(path, &stat) == 0;
}

int32_t upnp_is_file(const char *path)
{
    UpnpFileStat stat;

    return upnp_file_stat(path, &stat) == 0 && (stat.mode & FILE_MODE_BIT);
}

int32_t upnp_file_rename(const char *old_path, const char *new_path)
{
    return old_path && new_path ? rename(old_path, new_path) : -1;
}

int32_t upnp_file_unlink(const char *path)
{
    return path ? unlink(path) : -1;
}

int32_t upnp_dir_unlink(const char *path)
{
    return path ? rmdir(path) : -1;
}

int32_t upnp_file_mkdir(const char *path)
{
    return path ? mkdir(path, NEW_DIRECTORY_MODE) : -1;
}

int32_t upnp_file_touch(const char *path, int64_t time)
{
    utimbuf times = { time, time };

    return path ? utime(path, time ? &times : nullptr) : -1;
}

void upnp_file_io_init(void) {}

void upnp_file_io_deinit(void) {}
