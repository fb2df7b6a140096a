// upnp_file_buffered.cpp - reads a file byte by byte through a buffer.
//
// The buffer holds the bytes of the file that end at the file's own position,
// offset + available of them.

#include "files/upnp_file_buffered.h"

#include "runtime/upnp_mem.h"

#include <algorithm>
#include <stdio.h>
#include <string.h>

// False when nothing is left. A read error counts as that.
static bool refill(BufferedFile *file)
{
    int32_t count = upnp_file_read(file->file, file->buffer, file->bufferSize);

    file->offset = 0;
    file->available = count > 0 ? static_cast<uint32_t>(count) : 0;
    return file->available != 0;
}

static int64_t add(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) +
                                static_cast<uint64_t>(b));
}

BufferedFile *upnp_file_open_read_b(const char *path, uint32_t bufferSize)
{
    auto *file =
        static_cast<BufferedFile *>(upnp_calloc_impl(1, sizeof(BufferedFile)));

    if (!file)
        return nullptr;

    file->bufferSize = bufferSize;
    file->file = upnp_file_open_read(path);
    if (file->file)
        file->buffer = static_cast<uint8_t *>(upnp_malloc_impl(bufferSize));
    if (!file->buffer) {
        upnp_file_close_b(file);
        return nullptr;
    }
    refill(file);
    return file;
}

void upnp_file_close_b(BufferedFile *file)
{
    if (!file)
        return;
    upnp_file_close(file->file);
    if (file->buffer)
        upnp_free_impl(file->buffer);
    upnp_free_impl(file);
}

int64_t upnp_file_tell_b(BufferedFile *file)
{
    return file ? file->file->position - file->available : -1;
}

int32_t upnp_file_eof_b(BufferedFile *file)
{
    int64_t place = upnp_file_tell_b(file);

    return place < 0 || place >= file->file->size;
}

int64_t upnp_file_seek_b(BufferedFile *file, int64_t offset, int32_t whence)
{
    int64_t target;
    int64_t start;  // of the buffer, within the file
    int64_t end;

    if (!file)
        return -1;

    switch (whence) {
    case SEEK_SET: target = offset; break;
    case SEEK_CUR: target = add(upnp_file_tell_b(file), offset); break;
    case SEEK_END: target = add(file->file->size, offset); break;
    default: return 0;
    }

    end = file->file->position;
    start = upnp_file_tell_b(file) - file->offset;
    if (target >= start && target < end) {
        file->offset = static_cast<uint32_t>(target - start);
        file->available = static_cast<uint32_t>(end - target);
        return target;
    }
    file->offset = 0;
    file->available = 0;
    return upnp_file_seek(file->file, target, SEEK_SET);
}

uint8_t upnp_file_read_byte(BufferedFile *file)
{
    uint8_t byte = 0;

    upnp_file_read_b(file, &byte, 1);
    return byte;
}

int32_t upnp_file_read_b(BufferedFile *file, void *target, uint32_t length)
{
    auto    *out = static_cast<uint8_t *>(target);
    uint32_t done = 0;

    if (!file)
        return -1;

    while (done < length && (file->available != 0 || refill(file))) {
        uint32_t count = std::min(length - done, file->available);
        memcpy(out + done, file->buffer + file->offset, count);
        file->offset += count;
        file->available -= count;
        done += count;
    }
    return static_cast<int32_t>(done);
}

int32_t upnp_file_read_line_b(BufferedFile *file, char *target, int32_t size)
{
    int32_t length = 0;

    if (!file || !target || size < 2 || upnp_file_eof_b(file))
        return 0;

    // Line ends in front of the line are those of empty lines, or the second
    // half of the last line end.
    while (length + 1 < size && !upnp_file_eof_b(file)) {
        char byte;

        if (upnp_file_read_b(file, &byte, 1) != 1)
            break;
        if (byte != '\r' && byte != '\n')
            target[length++] = byte;
        else if (length != 0)
            break;
    }
    target[length] = '\0';
    return length;
}
