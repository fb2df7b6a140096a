// upnp_directory_test.cpp - what a walk sees, and what the removals leave.

#include "files/upnp_directory.h"

#include "support/failing_heap.h"
#include "support/work_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using Names = std::set<std::string>;

// No test may leave a descriptor open.
struct Directories : WorkFolder {
    void SetUp() override
    {
        open_at_start = names("/proc/self/fd");
        WorkFolder::SetUp();
    }
    void TearDown() override
    {
        WorkFolder::TearDown();
        EXPECT_EQ(names("/proc/self/fd"), open_at_start);
    }

    Names open_at_start;
};

TEST_F(Directories, AWalkPassesOverHiddenNamesAndLostAndFound)
{
    static const struct {
        const char *name;
        int         is_directory, is_link;
    } cases[] = {
        { "file", 0, 0 },      { "folder", 1, 0 },  { "to-file", 0, 1 },
        { "to-folder", 1, 1 }, { "to-none", 0, 1 },
    };
    for (const char *name : { "folder", "lost+found", ".hidden", "d" })
        fs::create_directory(name);
    for (const char *name : { "lost+found/x", ".hidden/x" })
        put(name, "");
    fs::rename("folder", "d/folder");
    fs::rename("lost+found", "d/lost+found");
    put("d/file", "");
    put("d/.dot", "");
    fs::create_symlink("file", "d/to-file");
    fs::create_symlink("folder", "d/to-folder");
    fs::create_symlink("none", "d/to-none");

    Names seen;
    for (FileFind *find = upnp_file_find_first_file("d/"); find;
         find = upnp_file_find_next_file(find)) {
        seen.insert(find->name);
        EXPECT_EQ(std::string(find->path), std::string("d/") + find->name);
        for (const auto &c : cases) {
            if (std::string(c.name) != find->name)
                continue;
            EXPECT_EQ(find->isDirectory, c.is_directory) << c.name;
            EXPECT_EQ(find->isLink, c.is_link) << c.name;
        }
    }
    EXPECT_EQ(seen,
              (Names{ "file", "folder", "to-file", "to-folder", "to-none" }));

    for (const char *none :
         { "d/folder", ".hidden/none", "d/file", "/proc", "/procfoo" })
        EXPECT_EQ(upnp_file_find_first_file(none), nullptr) << none;
    EXPECT_EQ(upnp_file_find_first_file(nullptr), nullptr);
    for_each_failing_allocation(
        [] { upnp_file_find_close(upnp_file_find_first_file("d")); });
}

TEST_F(Directories, RemovalsLeaveWhatTheyMust)
{
    static const struct {
        const char *why;
        void (*remove)(const char *);
        Names top;  // what is left in "t", or "gone"
    } cases[] = {
        { "the files alone", upnp_file_empty_dir, { "sub", ".dot" } },
        { "a hidden file keeps the top",
          [](const char *t) { upnp_file_remove_dir_tree(t, nullptr); },
          { ".dot" } },
        { "another suffix goes",
          [](const char *t) { upnp_file_remove_dir_tree(t, ".log"); },
          { ".dot", "a.log", "sub" } },
        { "case counts",
          [](const char *t) { upnp_file_remove_dir_tree(t, ".LOG"); },
          { ".dot" } },
        { "an empty suffix keeps all",
          [](const char *t) { upnp_file_remove_dir_tree(t, ""); },
          { ".dot", "a.log", "a.log.old", "sub" } },
        { "no hidden file, top kept",
          [](const char *t) {
              fs::remove("t/.dot");
              upnp_file_remove_dir_sub_tree(t, nullptr);
          },
          {} },
        { "no hidden file",
          [](const char *t) {
              fs::remove("t/.dot");
              upnp_file_remove_dir_tree(t, nullptr);
          },
          { "gone" } },
        { "nothing to do",
          [](const char *) {
              upnp_file_remove_dir_tree(nullptr, nullptr);
              upnp_file_remove_dir_tree_background("");
          },
          { ".dot", "a.log", "a.log.old", "sub" } },
    };
    for (const auto &c : cases) {
        fs::remove_all("t");
        fs::create_directories("t/sub/deep");
        for (const char *name :
             { "t/a.log", "t/a.log.old", "t/.dot", "t/sub/deep/b.log" })
            put(name, "");
        c.remove("t");
        EXPECT_EQ(fs::exists("t") ? names("t") : Names{ "gone" }, c.top)
            << c.why;
    }
}

TEST_F(Directories, LinksAreWalkedThroughAndStay)
{
    fs::create_directories("t/sub");
    fs::create_directories("other/.hidden");
    put("other/file", "");
    put("other/.hidden/file", "");
    put("file", "kept");
    fs::create_symlink("../file", "t/to-file");
    fs::create_hard_link("file", "t/same");
    fs::create_directory_symlink("../other", "t/out");
    fs::create_symlink("none", "t/broken");
    fs::create_directory_symlink(".", "t/sub/loop");
    fs::create_directory_symlink(".", "t/sub/loop2");

    upnp_file_remove_dir_tree("t", nullptr);
    EXPECT_EQ(names("t"), Names{ "out" }) << "loops end in themselves";
    EXPECT_EQ(names("other"), Names{ ".hidden" });
    EXPECT_EQ(names("other/.hidden"), Names{ "file" });
    EXPECT_EQ(get("file"), "kept");
}

TEST_F(Directories, NeitherDepthNorChangeIsAProblem)
{
    // Deeper than files may be open, and within the longest path.
    std::string path = "t";
    for (int i = 0; i < 1020; ++i, path += "/d")
        ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
    std::thread changes([] {
        for (int i = 0; i < 2000; ++i) {
            std::error_code ignored;
            fs::create_directories("t/" + std::to_string(i % 7), ignored);
            put("t/x", "");
        }
    });
    upnp_file_remove_dir_tree("t", nullptr);
    changes.join();
    upnp_file_remove_dir_tree("t", nullptr);
    EXPECT_FALSE(fs::exists("t"));

    // Below the longest path nothing can be named: all stays, unharmed.
    fs::create_directory("t");
    int top = open(".", O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(chdir("t"), 0);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(mkdir("d", 0777), 0);
        ASSERT_EQ(chdir("d"), 0);
    }
    put("file", "kept");
    int bottom = open(".", O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(fchdir(top), 0);
    upnp_file_remove_dir_tree("t", nullptr);
    ASSERT_EQ(fchdir(bottom), 0);
    EXPECT_EQ(unlink("file"), 0);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(chdir(".."), 0);
        ASSERT_EQ(rmdir("d"), 0);
    }
    close(bottom);
    close(top);
}

TEST_F(Directories, TheBackgroundRemovesAsWell)
{
    fs::create_directories("t/sub");
    put("t/sub/file", "");
    upnp_file_remove_dir_tree_background("t");
    while (fs::exists("t"))
        std::this_thread::yield();
}
