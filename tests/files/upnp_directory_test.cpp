// upnp_directory_test.cpp - what a walk sees, and what the removals leave.

#include "files/upnp_directory.h"

#include "support/await.h"
#include "support/failing_heap.h"
#include "support/work_folder.h"

#include <fcntl.h>
#include <map>
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
    static const std::map<std::string, std::pair<int, int>> expected = {
        { "file", { 0, 0 } },    { "folder", { 1, 0 } },
        { "to-file", { 0, 1 } }, { "to-folder", { 1, 1 } },
        { "to-none", { 0, 1 } },
    };
    for (const char *path : { "d/folder", "d/lost+found/x", "d/.hidden/x" })
        fs::create_directories(path);
    put("d/file", "");
    for (const char *target : { "file", "folder", "none" })
        fs::create_symlink(target, std::string("d/to-") + target);

    std::map<std::string, std::pair<int, int>> seen;
    for (FileFind *find = upnp_file_find_first_file("d/"); find;
         find = upnp_file_find_next_file(find)) {
        seen[find->name] = { find->isDirectory, find->isLink };
        EXPECT_EQ(std::string(find->path), std::string("d/") + find->name);
    }
    EXPECT_EQ(seen, expected);

    fs::create_directories("skipped/lost+found");
    put("skipped/.dot", "");
    for (const char *none : { "skipped", "d/none", "d/file", "/proc/.." })
        EXPECT_EQ(upnp_file_find_first_file(none), nullptr) << none;
    EXPECT_EQ(upnp_file_find_first_file(nullptr), nullptr);
    for_each_failing_allocation(
        [] { upnp_file_find_close(upnp_file_find_first_file("d")); });
}

TEST_F(Directories, RemovalsLeaveWhatTheyMust)
{
    static constexpr auto empty = [](const char *t, const char *) {
        upnp_file_empty_dir(t);
    };
    static constexpr auto no_path = [](const char *, const char *) {
        upnp_file_remove_dir_tree(nullptr, nullptr);
        upnp_file_remove_dir_tree_background("");
    };
    static const auto tree = upnp_file_remove_dir_tree;
    static const auto sub_tree = upnp_file_remove_dir_sub_tree;
    // clang-format off
    static const struct {
        const char *why;
        void      (*remove)(const char *, const char *);
        const char *keep_suffix, *hidden;
        Names       top;  // what is left in "t", or "gone"
    } cases[] = {
        { "the files alone",     empty,    nullptr, ".dot", { "sub", ".dot" } },
        { "a hidden file stays", tree,     nullptr, ".dot", { ".dot" } },
        { "another suffix goes", tree,     ".log",  ".dot",
          { ".dot", "a.log", "sub" } },
        { "case counts",         tree,     ".LOG",  ".dot", { ".dot" } },
        { "an empty suffix",     tree,     "",      ".dot",
          { ".dot", "a.log", "a.log.old", "sub" } },
        { "no hidden file",      tree,     nullptr, "seen", { "gone" } },
        { "the top is kept",     sub_tree, nullptr, "seen", {} },
        { "nothing to do",       no_path,  nullptr, ".dot",
          { ".dot", "a.log", "a.log.old", "sub" } },
    };
    // clang-format on
    for (const auto &c : cases) {
        fs::remove_all("t");
        fs::create_directories("t/sub/deep");
        for (const char *name :
             { "a.log", "a.log.old", c.hidden, "sub/deep/b.log" })
            put(std::string("t/") + name, "");
        c.remove("t", c.keep_suffix);
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
    EXPECT_TRUE(await([] { return !fs::exists("t"); }));
}
