// upnp_mediafile_test.cpp - growing files and chains of parts.

#include "files/upnp_mediafile.h"

#include "files/upnp_file_buffered.h"
#include "files/upnp_file_segment.h"
#include "runtime/upnp_mem.h"
#include "support/work_folder.h"

#include <chrono>
#include <stdio.h>

using namespace std::chrono;

struct MediaFile : WorkFolder {};

static int64_t attach(UpnpFile *file, const char *path, int64_t size)
{
    UpnpFileSegment **end = &file->segments;
    while (*end)
        end = &(*end)->next;
    *end = static_cast<UpnpFileSegment *>(
        upnp_calloc_impl(1, sizeof(UpnpFileSegment)));
    (*end)->path = upnp_strdup_impl(path);
    (*end)->size = size;
    return file->size += size;
}

static std::string read(UpnpFile *file, uint32_t length)
{
    char buffer[64];
    int  count = upnp_mediafile_read(file, buffer, length);
    return count < 0 ? std::to_string(count) : std::string(buffer, count);
}

TEST_F(MediaFile, AGrowingFileIsAwaitedOnce)
{
    UpnpFileStat stat;
    put("file", "0123");

    UpnpFile *file = upnp_mediafile_open_read("file", 1);
    EXPECT_EQ(file->complete, 0);
    EXPECT_EQ(file->size, 0);
    EXPECT_EQ(read(file, 8), "0123");
    auto start = steady_clock::now();
    EXPECT_EQ(read(file, 8), "");
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    put("file", "0123456");
    EXPECT_EQ(read(file, 8), "456");
    upnp_file_close(file);

    file = upnp_mediafile_open_read("file", 0);
    EXPECT_EQ(file->complete, 1);
    EXPECT_EQ(file->size, 7);
    EXPECT_EQ(upnp_mediafile_seek(file, -2, SEEK_END), 5);
    EXPECT_EQ(read(file, 8), "56");
    upnp_file_close(file);

    EXPECT_EQ(upnp_mediafile_stat("file", &stat), 0);
    EXPECT_EQ(stat.size, 7);
    EXPECT_EQ(upnp_mediafile_stat("none", &stat), -1);
    EXPECT_EQ(upnp_mediafile_open_read("none", 0), nullptr);
    EXPECT_EQ(upnp_mediafile_read(nullptr, nullptr, 1), -1);
    EXPECT_EQ(upnp_mediafile_seek(nullptr, 0, SEEK_SET), -1);
}

TEST_F(MediaFile, WhatAnotherProcessWritesArrives)
{
    std::string expected, streamed;
    char        parsed[4001];

    put("file", "");
    UpnpFile     *stream = upnp_mediafile_open_read("file", 1);
    BufferedFile *parser = upnp_file_open_read_b("file", 64);
    FILE         *writer =
        popen("while read c; do printf %1000s $c; done >> file", "w");
    for (char c : { 'a', 'b', 'c', 'd' }) {
        EXPECT_EQ(read(stream, 64), "") << "its end for now";
        fprintf(writer, "%c\n", c);
        fflush(writer);
        expected += std::string(999, ' ') + c;
        while (streamed.size() < expected.size())
            streamed += read(stream, 64);
        EXPECT_EQ(streamed, expected);
    }
    EXPECT_EQ(upnp_file_read_b(parser, parsed, sizeof(parsed)), 4000);
    EXPECT_EQ(std::string(parsed, 4000), expected);
    upnp_file_close_b(parser);
    upnp_file_close(stream);
    EXPECT_EQ(pclose(writer), 0);
}

TEST_F(MediaFile, AChainReadsAsOne)
{
    static const struct {
        const char *why;
        int64_t     offset;
        int         whence;
        int64_t     result;
        const char *bytes;  // of a read of 3 behind it
    } cases[] = {
        { "within a part", 5, SEEK_SET, 5, "567" },
        { "a boundary is in the earlier part", 4, SEEK_SET, 4, "" },
        { "back into the first", 2, SEEK_SET, 2, "23" },
        { "on into the second, from 4", 2, SEEK_CUR, 6, "67" },
        { "behind the last part", 99, SEEK_SET, -1, "-1" },
        { "the missing part", -1, SEEK_END, -1, "-1" },
        { "unknown is 0", 5, 9, 0, "012" },
        { "before the start", -1, SEEK_SET, -1, "3" },
    };
    put("a", "0123");
    put("b", "4567");
    UpnpFile *file = upnp_mediafile_open_read("a", 0);
    file->size = 0;
    attach(file, "a", 4);
    attach(file, "b", 4);
    EXPECT_EQ(attach(file, "none", 2), 10);
    file->currentSegment = file->segments;

    EXPECT_EQ(read(file, 3), "012");
    EXPECT_EQ(read(file, 3), "3") << "short where a part ends";
    EXPECT_EQ(read(file, 3), "456");
    EXPECT_EQ(file->position, 7);
    for (const auto &c : cases) {
        EXPECT_EQ(upnp_mediafile_seek(file, c.offset, c.whence), c.result)
            << c.why;
        EXPECT_EQ(read(file, 3), c.bytes) << c.why;
    }
    EXPECT_EQ(upnp_mediafile_seek(file, 6, SEEK_SET), 6);
    EXPECT_EQ(read(file, 3), "67");
    EXPECT_EQ(file->fd, -1) << "the next part cannot be opened";
    put("none", "89");
    EXPECT_EQ(upnp_mediafile_seek(file, 9, SEEK_SET), -1) << "not tried again";
    EXPECT_EQ(upnp_mediafile_seek(file, 0, SEEK_SET), 0);
    EXPECT_EQ(upnp_mediafile_seek(file, 9, SEEK_SET), 9);
    EXPECT_EQ(read(file, 3), "9");
    upnp_file_close(file);
}
