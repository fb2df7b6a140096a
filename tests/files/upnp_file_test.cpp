// upnp_file_test.cpp - files at their ends and limits, and path handling.

#include "files/upnp_file.h"

#include "files/upnp_file_segment.h"
#include "support/failing_heap.h"
#include "support/take.h"
#include "support/work_folder.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace fs = std::filesystem;

struct Files : WorkFolder {};
using Paths = Files;

TEST_F(Files, OpenForWritingKeepsWhatIsThere)
{
    // clang-format off
    static const struct {
        UpnpFile   *(*open)(const char *);
        const char *after;  // of "0123456789" when "ab" was written at once
        int64_t     size;
        int32_t     reads;
    } cases[] = {
        { upnp_file_open_write,     "ab23456789",    0, -1 },
        { upnp_open_shared_write,   "ab23456789",    0, -1 },
        { upnp_file_open_readwrite, "ab23456789",    0, 1  },
        { upnp_file_open_append,    "0123456789ab", 10, 1  },
    };
    // clang-format on
    for (const auto &c : cases) {
        char byte;
        put("file", "0123456789");
        UpnpFile *file = c.open("file");
        ASSERT_TRUE(file) << c.after;
        EXPECT_EQ(file->size, c.size);
        EXPECT_EQ(upnp_file_write(file, "ab", 2), 2);
        EXPECT_EQ(file->position, 0) << "a write leaves it alone";
        EXPECT_EQ(upnp_file_seek(file, 0, SEEK_SET), 0);
        EXPECT_EQ(upnp_file_read(file, &byte, 1), c.reads);
        upnp_file_close(file);
        EXPECT_EQ(get("file"), c.after);

        mode_t mask = umask(0);
        fs::remove("file");
        upnp_file_close(c.open("file"));
        umask(mask);
        EXPECT_EQ(fs::status("file").permissions(), fs::perms(0644));
        EXPECT_EQ(c.open("none/file"), nullptr);
    }
}

TEST_F(Files, PositionFollowsBeyondFourGigabytes)
{
    constexpr int64_t far = 5'000'000'000;
    char              buffer[8];
    UpnpFileStat      stat;

    put("file", "");
    fs::resize_file("file", far);
    UpnpFile *file = upnp_file_open_read("file");
    EXPECT_EQ(file->size, far);
    EXPECT_EQ(upnp_file_seek(file, far - 4, SEEK_SET), far - 4);
    EXPECT_EQ(upnp_file_eof(file), 0);
    EXPECT_EQ(upnp_file_seek(file, -1, SEEK_SET), -1);
    EXPECT_EQ(file->position, far - 4);
    EXPECT_EQ(upnp_file_read(file, buffer, 3), 3);
    EXPECT_EQ(upnp_file_eof(file), 0) << "one byte is left";
    EXPECT_EQ(upnp_file_read(file, buffer, 8), 1);
    EXPECT_EQ(upnp_file_eof(file), 1);
    EXPECT_EQ(file->position, far);
    upnp_file_close(file);

    EXPECT_EQ(upnp_file_touch("file", 4'000'000'000), 0);
    EXPECT_EQ(upnp_file_stat("file", &stat), 0);
    EXPECT_EQ(stat.size, far);
    EXPECT_EQ(stat.modifyTime, 4'000'000'000);
}

TEST_F(Files, GetsOneLineAndMarksNoEndWhenFull)
{
    // clang-format off
    static const struct {
        const char *why, *content;
        int32_t     size;
        std::string buffer;  // whole, from "########"
        int64_t     position;
    } cases[] = {
        { "a line and more", "ab\r\ncd",  8, { "ab\r\n\0d\0\0", 8 }, 4 },
        { "no line end",     "abc",       8, { "abc\0\0\0\0\0", 8 }, 3 },
        { "just full",       "abc\n",     4, "abc\n####",            4 },
        { "longer",          "abcdefg\n", 4, "abcd####",             4 },
        { "empty line",      "\nab",      2, { "\n\0######", 8 },    1 },
        { "end of file",     "",          4, { "\0\0\0\0####", 8 },  0 },
        { "no room",         "ab",        0, "########",             0 },
    };
    // clang-format on
    for (const auto &c : cases) {
        char buffer[] = "########";
        put("file", c.content);
        UpnpFile *file = upnp_file_open_read("file");
        EXPECT_EQ(upnp_file_gets(buffer, c.size, file), buffer) << c.why;
        EXPECT_EQ(std::string(buffer, 8), c.buffer) << c.why;
        EXPECT_EQ(upnp_file_tell(file), c.position) << c.why;
        upnp_file_close(file);
    }
}

TEST_F(Files, CopyLeavesTheTailOfALongerTarget)
{
    for (size_t size : { 0, 1, 8191, 8192, 8193, 20000 }) {
        std::string target(10000, 't'), source(size, 's');
        put("source", source);
        put("target", target);
        upnp_file_copy("source", "target");
        target.replace(0, std::min(size, target.size()), source);
        EXPECT_EQ(get("target"), target) << size;
    }
    for_each_failing_allocation([] { upnp_file_copy("source", "copy"); });
    EXPECT_EQ(get("copy"), get("source"));
    upnp_file_copy("none", "new");
    EXPECT_FALSE(fs::exists("new"));
}

TEST_F(Files, CloseFreesTheChainAndKeepOpenKeepsTheDescriptor)
{
    for (auto close_record : { upnp_file_close, upnp_file_keep_open }) {
        UpnpFile *file = upnp_file_open_write("file");
        int       fd = file->fd;
        for (const char *path : { "one", "two" }) {
            auto *part = static_cast<UpnpFileSegment *>(
                upnp_malloc_impl(sizeof(UpnpFileSegment)));
            *part = { upnp_strdup_impl(path), 1, file->segments };
            file->segments = part;
        }
        close_record(file);
        EXPECT_EQ(close_file(fd), close_record == upnp_file_close ? -1 : 0);
        close_record(nullptr);
    }
}

TEST_F(Files, ASocketPassesForAFileAndAFolderDoesNot)
{
    sockaddr_un address = { AF_UNIX, "socket" };
    int32_t     fd = socket(AF_UNIX, SOCK_STREAM, 0);

    bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address));
    close_file(fd);
    EXPECT_EQ(upnp_is_file("socket"), 1);
    EXPECT_EQ(upnp_is_file("."), 0);
    EXPECT_EQ(upnp_file_exists("."), 1);
}

TEST_F(Files, NullIsRefused)
{
    char buffer[] = "##";

    EXPECT_EQ(upnp_file_open_append(nullptr), nullptr);
    EXPECT_EQ(upnp_file_read(nullptr, buffer, 1), -1);
    EXPECT_EQ(upnp_file_write(nullptr, buffer, 1), -1);
    EXPECT_EQ(upnp_file_tell(nullptr), -1);
    EXPECT_EQ(upnp_file_eof(nullptr), 1);
    EXPECT_EQ(upnp_file_gets(buffer, 2, nullptr), nullptr);
    EXPECT_EQ(buffer[1], '\0') << "cleared first";
    EXPECT_EQ(upnp_file_stat("/", nullptr), -1);
    EXPECT_EQ(upnp_file_rename("/", nullptr), -1);
    EXPECT_EQ(upnp_file_touch(nullptr, 0), -1);
    EXPECT_EQ(upnp_file_fullpath(nullptr), nullptr);
    EXPECT_EQ(upnp_file_create_path(nullptr), -1);
    upnp_file_copy(nullptr, nullptr);
}

TEST_F(Paths, JoinWithOneSeparator)
{
    // clang-format off
    static const struct {
        const char *directory, *name, *path;
    } cases[] = {
        { "/a/",   "/b",  "/a/b"   }, { "/a",  "b",  "/a/b"   },
        { "a\\",   "\\b", "a/b"    }, { "a//", "//b", "a///b" },
        { "/",     "b",   "/b"     }, { "a",   "/",  "a/"     },
        { "/a",    "",    "(null)" }, { "",    "b",  "(null)" },
        { nullptr, "b",   "(null)" }, { "a", nullptr, "(null)" },
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(take(upnp_file_build_path(c.directory, c.name)), c.path);
    EXPECT_EQ(take(upnp_file_fullpath("C:\\a\\b/c")), "C:/a/b/c");
}

TEST_F(Paths, SplitAtTheLastSeparator)
{
    // clang-format off
    static const struct {
        const char *path, *directory, *name;
        const char *directory_alone;  // when the name is not asked for
    } cases[] = {
        { "/a/b.txt", "/a",     "b.txt",  "/a"     },
        { "a\\b",     "a",      "b",      "a"      },
        { "b.txt",    "b.txt",  "b.txt",  "(null)" },
        { "a/",       "a",      "(null)", "a"      },
        { "/file",    "/file",  "(null)", "/file"  },
        { "/",        "/",      "(null)", "/"      },
        { "C:/x",     "C:/",    "x",      "C:/"    },
        { "C:\\x",    "C:\\",   "x",      "C:\\"   },
        { "C:/",      "C:/",    "(null)", "C:/"    },
        { "C:/x/y",   "C:/x",   "y",      "C:/x"   },
        { "",         "(null)", "(null)", "(null)" },
        { nullptr,    "(null)", "(null)", "(null)" },
    };
    // clang-format on
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path ? c.path : "(null)");
        char *directory = const_cast<char *>("unset");
        char *name = const_cast<char *>("unset");
        upnp_file_split_path(c.path, &directory, &name);
        EXPECT_EQ(take(directory), c.directory);
        EXPECT_EQ(take(name), c.name);
        upnp_file_split_path(c.path, nullptr, &name);
        EXPECT_EQ(take(name), c.name);
        upnp_file_split_path(c.path, &directory, nullptr);
        EXPECT_EQ(take(directory), c.directory_alone);
        for_each_failing_allocation([&] {
            upnp_file_split_path(c.path, &directory, &name);
            take(directory);
            take(name);
        });
    }
}

TEST_F(Paths, CreateEveryDirectory)
{
    // clang-format off
    static const struct {
        const char *why, *path;
        int32_t     result;
        const char *made;  // null for none
    } cases[] = {
        { "nested",                  "a/b/c",    0,  "a/b/c" },
        { "doubled and at the end",  "d//e/",    0,  "d/e"   },
        { "one letter",              "f",        0,  "f"     },
        { "only / separates",        "g\\h",     0,  "g\\h"  },
        { "file as the last one",    "file",     0,  nullptr },
        { "file in the way",         "file/sub", -1, nullptr },
        { "file further up",         "file/s/t", -1, nullptr },
        { "empty",                   "",         -1, nullptr },
        { "a drive is not the root", "C:x/y",    0,  "C:x/y" },
    };
    // clang-format on
    put("file", "");
    for (const auto &c : cases) {
        EXPECT_EQ(upnp_file_ensure_path_exists(c.path), c.result) << c.why;
        EXPECT_TRUE(!c.made || fs::is_directory(c.made)) << c.why;
    }
    // The drive of "C:/z" is not a directory that could be made.
    EXPECT_EQ(upnp_file_create_path("C:/z"), -1);
    for_each_failing_allocation([] { upnp_file_create_path("m/n"); });
    EXPECT_TRUE(fs::is_directory("m/n"));
}
