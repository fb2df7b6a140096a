// work_folder.h - tests that work in an empty directory of their own.
#ifndef TESTS_SUPPORT_WORK_FOLDER_H
#define TESTS_SUPPORT_WORK_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>

struct WorkFolder : testing::Test {
    void SetUp() override
    {
        std::string pattern =
            std::filesystem::temp_directory_path() / "qm-work-XXXXXX";
        dir = mkdtemp(pattern.data());
        std::filesystem::current_path(dir);
    }
    void TearDown() override
    {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(dir);
    }

    static void put(const std::string &path, const std::string &bytes)
    {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    static std::string get(const std::string &path)
    {
        std::ifstream in(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(in), {} };
    }
    // The names of all entries, hidden ones as well.
    static std::set<std::string> names(const std::string &path)
    {
        std::set<std::string> found;
        for (const auto &entry : std::filesystem::directory_iterator(path))
            found.insert(entry.path().filename());
        return found;
    }

    std::string dir;
};

#endif
