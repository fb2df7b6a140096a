// upnp_fsmon_test.cpp - the changes that a monitor hears of, and disk space.

#include "files/upnp_fsmon.h"

#include "files/upnp_disk.h"
#include "support/log_lines.h"
#include "support/work_folder.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fs = std::filesystem;

struct Monitor : WorkFolder {};

TEST_F(Monitor, HearsCreatesMovesAndDeletes)
{
    fs::create_directories("watched/sub");
    int fd = fsmon_init();
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    ASSERT_GE(fsmon_add_watch(fd, "watched"), 0);

    put("watched/a", "x");
    fs::rename("watched/a", "watched/b");
    put("watched/sub/unheard", "x");
    fs::remove("watched/b");

    char        events[4096];
    std::string heard;
    ssize_t     bytes = read(fd, events, sizeof(events));
    for (ssize_t at = 0; at < bytes;) {
        auto *event = reinterpret_cast<inotify_event *>(events + at);
        char  line[64];
        snprintf(line, sizeof(line), "%x %s\n", event->mask, event->name);
        heard += line;
        at += static_cast<ssize_t>(sizeof(*event)) + event->len;
    }
    EXPECT_EQ(heard, "100 a\n8 a\n40 a\n80 b\n200 b\n");
    fsmon_release(fd);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);

    EXPECT_EQ(fsmon_add_watch(-1, nullptr), -1);
    EXPECT_EQ(log_lines([] { fsmon_add_watch(-1, "x"); }),
              "[Info] - LOG_SYSTEM: fsmon_add_watch : inotify_add_watch (-1, "
              "x) returns -1\n");
    fsmon_release(-2);
}

TEST(Disk, CountsBytes)
{
    struct statvfs volume;
    uint64_t       total = 1, available = 1;

    ASSERT_EQ(statvfs("/", &volume), 0);
    EXPECT_EQ(upnp_get_disk_info("/", &total, &available), 0);
    EXPECT_EQ(total, uint64_t{ volume.f_frsize } * volume.f_blocks);
    EXPECT_GE(total, available);
    EXPECT_EQ(upnp_get_disk_info("/", nullptr, &available), 2);
    EXPECT_EQ(log_lines([&] {
                  EXPECT_EQ(upnp_get_disk_info("/none", &total, &available),
                            14);
              }),
              "[Error] - LOG_SYSTEM: upnp_get_disk_info : statvfs failed "
              "(path: /none)\n");
}
