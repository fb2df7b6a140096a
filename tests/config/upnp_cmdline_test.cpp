// upnp_cmdline_test.cpp - the command line, old INI files, and directories.

#include "config/upnp_cmdline.h"

#include "config/upnp_app_dirs.h"
#include "config/upnp_ini_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/take.h"
#include "support/work_folder.h"

#include <pwd.h>
#include <string>
#include <unistd.h>
#include <vector>

static std::string string_of(uint32_t key)
{
    const char *text = upnp_ini_file_getString(key);
    return text ? text : "-";
}

namespace {

using Arguments = std::vector<const char *>;

// Each test has a fresh table, and works in an empty directory.
struct CommandLine : WorkFolder {
    void SetUp() override
    {
        WorkFolder::SetUp();
        std::filesystem::create_directory("exe");
        upnp_ini_file_init();
    }
    void TearDown() override
    {
        upnp_ini_file_release_on_exit();
        upnp_ini_file_set_default_appname("");
        upnp_log_set_level(0);
        upnp_log_set_sources(0);
        WorkFolder::TearDown();
    }
    void restart()
    {
        upnp_ini_file_release_on_exit();
        upnp_ini_file_init();
        upnp_ini_file_disableProperty(INI_NMCMODE, 1);
        upnp_ini_file_add_ignored_cmdline_param("-skip");
        upnp_log_set_sources(0);
    }
    int32_t parse(const Arguments &arguments)
    {
        std::string exe = dir + "/exe/prog";
        Arguments   all = { exe.c_str(), "-appdata", dir.c_str() };
        all.insert(all.end(), arguments.begin(), arguments.end());
        return upnp_ini_file_parse_cmdline(static_cast<int32_t>(all.size()),
                                           const_cast<char **>(all.data()));
    }
};

}

TEST_F(CommandLine, SetsProperties)
{
    // clang-format off
    const struct {
        const char *why;
        Arguments   arguments;
        uint32_t    key;
        const char *expected;
    } cases[] = {
        { "one dash",        { "-v", "4096" }, INI_V, "4096" },
        { "two dashes",      { "--language", "de" }, INI_LANGUAGE, "de" },
        { "three dashes",    { "---language", "de" }, INI_LANGUAGE, "en" },
        { "any case",        { "-HttpPort", "91" }, INI_HTTPPORT, "91" },
        { "the last wins",   { "-ip", "a", "-IP", "b" }, INI_IP, "b" },
        { "hidden",          { "-read_only", "1" }, INI_READ_ONLY, "1" },
        { "disabled",        { "-nmcmode", "2" }, INI_NMCMODE, "1" },
        { "nothing to lose", { "-ip" }, INI_IP, "-" },
        { "empty value",     { "-language" }, INI_LANGUAGE, "" },
        { "goes on",         { "-ip", "-language", "de" }, INI_LANGUAGE, "de" },
        { "below 0",         { "-language", "-1", "x" }, INI_LANGUAGE, "" },
        { "unknown",         { "-x", "y", "-ip", "c" }, INI_IP, "c" },
        { "other words",     { "a", "b", "-ip", "c" }, INI_IP, "c" },
        { "lone dashes",     { "-", "--", "-ip", "c" }, INI_IP, "c" },
        { "ignored alone",   { "-skip", "-ip", "c" }, INI_IP, "c" },
        { "help as a value", { "-ip", "help?" }, INI_IP, "help?" },
        { "INI file",        { "-inifile", "x/my.ini" }, INI_INIPATH, "x" },
        { "its name",        { "-inifile", "x/y.ini" }, INI_ININAME, "y.ini" },
        { "name alone",      { "-inifile", "my.ini" }, INI_INIPATH, "my.ini" },
        { "name alone",      { "--inifile", "my.ini" }, INI_ININAME, "my.ini" },
        { "no INI file",     { "-inifile" }, INI_ININAME, "quorelmedia.ini" },
        { "its case counts", { "-iniFile", "a" }, INI_INIPATH, dir.c_str() },
    };
    // clang-format on
    for (const auto &c : cases) {
        restart();
        EXPECT_EQ(parse(c.arguments), 0) << c.why;
        EXPECT_EQ(string_of(c.key), c.expected) << c.why;
        EXPECT_EQ(upnp_ini_file_restartPending(), 0) << c.why;
    }
    EXPECT_EQ(upnp_ini_file_get_EXE_Name(), dir + "/exe/prog");
    EXPECT_EQ(upnp_ini_file_get_EXE_Dir(), dir + "/exe");
    for_each_failing_allocation([&] {
        parse({ "-inifile", "y/z.ini", "-language", "fr" });
        upnp_ini_file_setPropertyByKey(INI_LANGUAGE, nullptr);
    });
    EXPECT_EQ(upnp_ini_file_parse_cmdline(0, nullptr), 0);
}

TEST_F(CommandLine, PrintsTheUsage)
{
    std::string exe = dir + "/exe/prog";
    std::string text = "\nusage: " + exe + R"(

       all params from the .ini file can be used as an option, preceded by a -
       e.g. )" + exe + R"( -v 255
       -inifile path and filename of ini file
       -inipath path to ini file
       -ininame filename of ini file
)";

    for (const char *argument : { "-x?", "/help/x", "--help" }) {
        restart();
        testing::internal::CaptureStdout();
        EXPECT_EQ(parse({ "-ip", "a", argument, "-ip", "b" }), 1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), text);
        EXPECT_EQ(string_of(INI_IP), "a") << "nothing behind it is taken";
    }
}

TEST_F(CommandLine, IgnoresTwentyParameters)
{
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(upnp_ini_file_add_ignored_cmdline_param("-ip"), 1);
    EXPECT_EQ(upnp_ini_file_add_ignored_cmdline_param("-language"), 0);
    EXPECT_EQ(upnp_ini_file_add_ignored_cmdline_param(nullptr), 0);
    EXPECT_EQ(parse({ "-ip", "b", "--ip", "a", "-ip", "c" }), 0);
    EXPECT_EQ(string_of(INI_IP), "a");
}

TEST_F(CommandLine, TakesOverTheOldestIniFile)
{
    std::string start = "[Info] - LOG_SYSTEM: "
                        "upnp_ini_file_check_for_old_inis : ";
    std::string end = " copied to " + dir + "/quorelmedia.ini\n";
    std::string copies = start + "existing ini file " + dir + "/second.ini" +
                         end + start + "exisiting ini file " + dir +
                         "/exe/first.ini" + end;

    put("exe/first.ini", "language=it\nip=from first\n");
    put("second.ini", "language=fr\n");
    put("exe/second.ini", "language=never\n");
    for (const char *name : { "first.ini", "missing.ini", "second.ini" })
        upnp_ini_file_add_default_file(name);

    std::string log = log_lines([&] { parse({ "-vlevel", "2" }); });
    EXPECT_EQ(log.substr(0, copies.size()), copies);
    EXPECT_EQ(string_of(INI_LANGUAGE), "it");
    EXPECT_EQ(string_of(INI_IP), "from first");

    restart();
    put("quorelmedia.ini", "language=nl\n");
    upnp_ini_file_add_default_file("first.ini");
    EXPECT_EQ(parse({ "-ip", "mine" }), 0);
    EXPECT_EQ(string_of(INI_LANGUAGE), "nl") << "a file that is there stays";
    EXPECT_EQ(string_of(INI_IP), "mine") << "the command line wins";
}

TEST_F(CommandLine, SettlesTheDataDirectory)
{
    std::string       x(1022, 'x');
    const std::string names[][2] = { { "", "quorelmedia" },
                                     { "own", "own" },
                                     { x + "y", x } };

    upnp_ini_file_setPropertyByKey(INI_APPDATA, "data");
    upnp_ini_file_init_DATA_Dir();
    EXPECT_TRUE(std::filesystem::is_directory("data"));
    EXPECT_EQ(string_of(INI_INIPATH), "data");

    for (const auto &[name, directory] : names) {
        restart();
        upnp_ini_file_set_default_appname(name.c_str());
        upnp_ini_file_set_default_appname(nullptr);
        upnp_ini_file_setPropertyByKey(INI_INIPATH, "elsewhere");
        upnp_ini_file_init_DATA_Dir();
        EXPECT_EQ(string_of(INI_APPDATA),
                  take(getAppDataDir()) + "/" + directory);
        EXPECT_EQ(string_of(INI_INIPATH), "elsewhere");
    }
}

TEST_F(CommandLine, FindsTheExecutable)
{
    EXPECT_EQ(upnp_ini_file_get_EXE_Dir(), nullptr);
    upnp_set_EXE_Name(upnp_strdup_impl("prog"));
    EXPECT_STREQ(upnp_ini_file_get_EXE_Dir(), "");
    upnp_set_EXE_Name(upnp_strdup_impl("/opt/prog"));
    EXPECT_STREQ(upnp_ini_file_get_EXE_Dir(), "") << "worked out once";
    upnp_ini_file_release_on_exit();
    EXPECT_EQ(upnp_ini_file_get_EXE_Dir(), nullptr);
    EXPECT_EQ(upnp_ini_file_add_ignored_cmdline_param("-x"), 0);
}

TEST(AppDirs, FollowTheUser)
{
    const passwd *user = getpwnam("nobody");

    EXPECT_EQ(take(getPathExpandSpecialFolders("~/a")), "~/a");
    if (geteuid() != 0 || !user)
        GTEST_SKIP() << "only the superuser can be another user";
    std::string home = user->pw_dir;
    const struct {
        uid_t       user;
        const char *base;
        std::string data, media;
    } cases[] = {
        { user->pw_uid, "/b/", home + "/.quorelmedia", home + "/quorelmedia" },
        { 0, nullptr, "/var/quorelmedia", "/quorelmedia" },
        { 0, "", "/var/quorelmedia", "/quorelmedia" },
        { 0, "/b/", "/var/quorelmedia", "/b/quorelmedia" },
        { 0, "C:\\", "/var/quorelmedia", "C:\\quorelmedia" },
        { 54321, "/b", "/var/quorelmedia", "/b/quorelmedia" },
    };
    for (const auto &c : cases) {
        ASSERT_EQ(seteuid(c.user), 0);
        EXPECT_EQ(take(getAppDataDir()), c.data);
        EXPECT_EQ(take(getMyVideoDir(c.base)), c.media + "/videos");
        EXPECT_EQ(take(getMyPictureDir(c.base)), c.media + "/pictures");
        EXPECT_EQ(take(getMyMusicDir(c.base)), c.media + "/music");
        ASSERT_EQ(seteuid(0), 0);
    }
    for_each_failing_allocation([] { take(getMyVideoDir("/b")); });
}
