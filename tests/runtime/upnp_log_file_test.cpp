// upnp_log_file_test.cpp - where lines go, rotation, and what pruning keeps.

#include "runtime/upnp_log_file.h"

#include "files/upnp_file.h"
#include "files/upnp_fsmon.h"
#include "runtime/upnp_log.h"
#include "support/failing_heap.h"
#include "support/work_folder.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

static constexpr size_t LIMIT = 1048576;

struct LogFile : WorkFolder {
    void TearDown() override
    {
        upnp_log_exit();
        upnp_log_init(nullptr);
        upnp_log_exit();
        upnp_log_set_sources(0);
        WorkFolder::TearDown();
    }
    std::string path(const std::string &name) const
    {
        return dir + "/" + name;
    }
    // Rotated parts: all names that carry a stamp.
    std::vector<std::string> parts() const
    {
        std::vector<std::string> found;
        for (const std::string &name : names(dir)) {
            std::string shape = name;
            for (char &c : shape)
                c = isdigit(c) ? '9' : c;
            if (shape == "a-9999-99-99-99-99-99-log.txt")
                found.push_back(name);
        }
        return found;
    }
};

template <typename Call> static std::string printed(Call call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

static void prune()
{
    std::thread([] { upnp_log_remove_old_parts_thread(nullptr); }).join();
}

TEST_F(LogFile, LinesGoToTheFileOrToStandardOutput)
{
    auto log = [] { upnp_log_puts("line %d\n"); };

    EXPECT_EQ(upnp_log_init(nullptr), 1);
    EXPECT_EQ(upnp_log_get_filename(), nullptr);
    EXPECT_EQ(printed(log), "line %d\n");
    upnp_log_flush();
    upnp_log_clear();

    EXPECT_EQ(upnp_log_init(path("x/y/a.txt").c_str()), 1);
    EXPECT_EQ(upnp_log_initialized(), 1);
    EXPECT_EQ(upnp_log_get_filename(), path("x/y/a.txt"));
    EXPECT_EQ(printed(log), "");
    upnp_log_exit();
    EXPECT_EQ(upnp_log_initialized(), 0);
    EXPECT_EQ(printed(unlock_log),
              "unlock_log - critical section not initialized!\n");
    EXPECT_EQ(printed(log), "line %d\n");

    EXPECT_EQ(upnp_log_init(path("x/y/a.txt").c_str()), 1);
    log();
    upnp_log_flush();
    EXPECT_EQ(get("x/y/a.txt"), "line %d\nline %d\n");
    upnp_log_clear();
    log();
    EXPECT_EQ(get("x/y/a.txt"), "line %d\n");

    testing::internal::CaptureStderr();
    EXPECT_EQ(printed([] { EXPECT_EQ(upnp_log_init("/proc/none/a"), 0); }),
              "can't open log file (/proc/none/a)\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "can't open log file (/proc/none/a)\n");
    EXPECT_EQ(upnp_log_get_filename(), nullptr);
    for_each_failing_allocation([&] {
        printed([&] { upnp_log_init(path("a-log.txt").c_str()); });
        upnp_log_exit();
    });
}

TEST_F(LogFile, TheLineThatPassesTheLimitStillGoesToTheOldFile)
{
    static const struct {
        const char *name;
        size_t      size;  // before a line of 8 bytes
        size_t      parts;
    } cases[] = {
        { "a.txt", LIMIT, 0 },
        { "a-log.txt", LIMIT - 8, 0 },
        { "a-log.txt", LIMIT - 7, 1 },
    };
    for (const auto &c : cases) {
        put(c.name, std::string(c.size, 'x'));
        upnp_log_init(path(c.name).c_str());
        upnp_log_puts("passing\n");
        EXPECT_EQ(parts().size(), c.parts);
        std::string old = c.parts ? parts()[0] : c.name;
        EXPECT_EQ(fs::file_size(old), c.size + 8);
        if (c.parts) {
            upnp_log_puts("next\n");
            EXPECT_EQ(fs::file_size(c.name), 5u);
        }
        upnp_log_exit();
    }
}

TEST_F(LogFile, PruningKeepsTheNewestFive)
{
    fs::create_directory("dir-log.txt");
    put("a-log.txt.old", "");
    for (int i = 1; i <= 8; ++i) {
        std::string name = "p" + std::to_string(i) + "-LOG.TXT";
        put(name, "");
        upnp_file_touch(name.c_str(), 1000 - i);
    }
    upnp_log_init(path("a-log.txt").c_str());
    upnp_file_touch("a-log.txt", 1);
    prune();
    EXPECT_EQ(names(dir),
              (std::set<std::string>{
                  "a-log.txt", "a-log.txt.old", "dir-log.txt", "p1-LOG.TXT",
                  "p2-LOG.TXT", "p3-LOG.TXT", "p4-LOG.TXT", "p5-LOG.TXT" }));

    // Without a log there is no directory to prune, "/" least of all. Only root
    // may make "/" a folder of its own.
    upnp_log_init(nullptr);
    EXPECT_EXIT(
        {
            if (chroot(dir.c_str()) == 0)
                prune();
            _exit(0);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_TRUE(fs::exists("a-log.txt"));
}

TEST_F(LogFile, AFullOrMissingPlaceCostsLinesOnly)
{
    fs::create_symlink("/dev/full", "a-log.txt");
    upnp_log_init(path("a-log.txt").c_str());
    EXPECT_EQ(printed([] { upnp_log_puts("one\n"); }),
              "can't write log file\none\n");
    EXPECT_EQ(printed([] { upnp_log_puts("two\n"); }), "two\n");

    upnp_log_init(path("gone/a-log.txt").c_str());
    fs::remove_all("gone");
    std::string lost = "can't open log file (" + path("gone/a-log.txt") + ")\n";
    testing::internal::CaptureStderr();
    EXPECT_EQ(printed([] {
                  upnp_log_puts(std::string(LIMIT + 1, 'x').c_str());
                  upnp_log_puts("later\n");
              }),
              lost + "later\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), lost);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
static constexpr size_t LINES = 3'000;  // of each thread
#else
static constexpr size_t LINES = 62'500;
#endif

// Hard links keep every part that pruning deletes.
TEST_F(LogFile, ManyThreadsLoseAndTearNoLine)
{
    constexpr size_t         threads = 16;
    std::string              filler(80, '.');
    std::vector<bool>        seen(threads * LINES);
    std::vector<std::thread> writers;
    std::atomic<bool>        is_done = false;

    fs::create_directory("kept");
    upnp_log_init(path("a-log.txt").c_str());
    upnp_log_set_sources(LOG_DB);
    int monitor = fsmon_init();
    fsmon_add_watch(monitor, dir.c_str());
    std::thread keeper([&] {
        char events[4096];
        while (!is_done && read(monitor, events, sizeof(events)) > 0) {
            for (const std::string &part : parts())
                link(part.c_str(), ("kept/" + part).c_str());
        }
    });
    for (size_t t = 0; t < threads; ++t)
        writers.emplace_back([&, t] {
            for (size_t i = t * LINES; i < (t + 1) * LINES; ++i)
                upnp_log_impl(2, LOG_DB, "w", "%zu%s", i, filler.c_str());
        });
    for (std::thread &writer : writers)
        writer.join();
    is_done = true;
    put("end", "");
    keeper.join();
    fsmon_release(monitor);
    upnp_log_set_sources(0);
    upnp_log_exit();
    for (const std::string &part : parts())
        link(part.c_str(), ("kept/" + part).c_str());
    while (parts().size() > 5)
        std::this_thread::yield();

    fs::rename("a-log.txt", "kept/last");
    EXPECT_GE(names("kept").size(), 2u);
    for (const std::string &part : names("kept")) {
        std::ifstream text("kept/" + part);
        for (std::string line; std::getline(text, line);) {
            size_t at = line.find("w : "), number = seen.size();
            ASSERT_TRUE(at != line.npos && line.ends_with(filler)) << line;
            sscanf(line.c_str() + at, "w : %zu", &number);
            ASSERT_TRUE(number < seen.size() && !seen[number]) << line;
            seen[number] = true;
        }
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), false), 0);
}
