// upnp_ini_file_test.cpp - the property table, its file, and bad input to both.

#include "config/upnp_ini_file.h"

#include "config/upnp_ini_table.h"
#include "runtime/upnp_mem.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/work_folder.h"

#include <atomic>
#include <strings.h>
#include <thread>

namespace fs = std::filesystem;
using std::string_literals::operator""s;

static constexpr uint32_t LIST = 100;  // keys of the tests' own rows
static constexpr uint32_t TEXT = 101;

static const std::string header =
    "#! QuorelMedia ini file / charset UTF-8\n"
    "#! Change settings by commandline or by editing this file\n"
    "#! Do not add space characters before or after equal sign!\n\n[main]\n";

static constexpr auto set = upnp_ini_file_setPropertyByKey;

static std::string string_of(uint32_t key)
{
    const char *text = upnp_ini_file_getString(key);
    return text ? text : "-";
}

// The first entries of a list, each behind a bar.
static std::string entries_of(uint32_t key, int32_t count)
{
    std::string entries;
    for (int32_t i = 0; i < count; ++i) {
        char *entry = upnp_ini_file_get_next_CSV(key, i);
        entries += std::string("|") + (entry ? entry : "-");
        ini::drop_text(&entry);
    }
    return entries;
}

static std::string all_properties()
{
    UpnpString *text = upnp_ini_file_get_all_properties();
    std::string copy = text ? text->buffer : "-";
    upnp_string_free(text);
    return copy;
}

static bool has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

static int32_t create(uint32_t key, const std::string &name, const char *value,
                      int32_t is_list = 0)
{
    return upnp_ini_file_create_property(key, name.c_str(), value, nullptr,
                                         is_list, 0, 0, 0);
}

// Each test has a fresh table, and an empty directory for its file.
struct Ini : WorkFolder {
    void SetUp() override
    {
        WorkFolder::SetUp();
        path = dir + "/quorelmedia.ini";
        restart();
    }
    void TearDown() override
    {
        upnp_ini_file_release_on_exit();
        upnp_ini_set_obfuscation({}, {}, {}, {}, {}, {});
        upnp_log_set_level(0);
        upnp_log_set_sources(0);
        WorkFolder::TearDown();
    }
    void restart()
    {
        upnp_ini_file_release();
        upnp_ini_file_init();
        set(INI_INIPATH, dir.c_str());
    }
    void read(const std::string &bytes)
    {
        put(path, bytes);
        upnp_ini_file_read_properties();
    }
    std::string written()
    {
        upnp_ini_file_write_properties();
        return get(path);
    }
    std::string path;
};

// clang-format off
static const char library_rows[] =
    "# Visible name in the network\nfriendlyname=\n\n"
    "# IP address to listen to (default: all networks)\nip=\n\n"
    "# Watch changes in machine's network conf (1: yes, 0: no)\nnicrestart=1\n\n"
    "# Verbose level for logging\nv=0\n\n"
    "# Compile platform\nplatform=bo_intel_ce\n\n"
    "# Port of the http server\nhttpport=\n\n"
    "# TTL for SSDP packets. Default: 4\nssdpttl=4\n\n"
    "# clear detected clients table on each restart\nclearclientsonrestart=0\n\n"
    "# disable SSDP on localhost\ndisablelocalssdp=1\n\n"
    "# enable https remote connections\nenabletls=1\n\n"
    "# NMC mode (0:disable, 1:stationary, 2:mobiledirect, 3:mobileremote, "
    "4:standalone)\nnmcmode=1\n\n"
    "# Log level (0:debug, 1:trace, 2:info, 3:warning, 4:error, 5:critical)\n"
    "vlevel=4\n\n"
    "# Stack size in bytes per thread on Linux. Default: 196608\n"
    "stack_size=196608\n\n"
    "# 2 letter language setting (en,de,...)\nlanguage=en\n\n";
// clang-format on

TEST_F(Ini, WritesEveryVisiblePropertyWithItsDefault)
{
    EXPECT_EQ(written(), header + library_rows);
    set(INI_INIPATH, nullptr);
    EXPECT_TRUE(has(all_properties(),
                    "\nininame=quorelmedia.ini\r\ninipath=\r\nread_only=0\r\n"
                    "ssdpttl=4\r\nappdata=\r\nclearclientsonrestart=0\r\n"));

    std::string pending;
    for (uint32_t key = 0; key < INI_KEYS; ++key) {
        upnp_ini_file_reset_restartPending();
        set(key, "x");
        if (upnp_ini_file_restartPending())
            pending += std::to_string(key) + " ";
    }
    EXPECT_EQ(pending, "0 1 5 9 13 16 17 18 20 ");
}

TEST_F(Ini, LivesFromTheFirstInitToTheLastRelease)
{
    upnp_ini_file_init();
    upnp_set_EXE_Name(upnp_strdup_impl("old"));
    upnp_set_EXE_Name(upnp_strdup_impl("new"));
    upnp_ini_file_add_default_file("a.ini");
    upnp_ini_file_add_default_file("b.ini");
    EXPECT_STREQ(ini::startup.old_names->name, "b.ini");
    set(INI_IP, "1");
    upnp_ini_file_release();
    EXPECT_STREQ(upnp_ini_file_get_EXE_Name(), "new");
    upnp_ini_file_release();
    upnp_ini_file_release();

    EXPECT_EQ(upnp_ini_file_is_initialized(), 0);
    EXPECT_EQ(upnp_ini_file_getPropertyKey("v"), -1);
    EXPECT_EQ(upnp_ini_file_getString(INI_V), nullptr);
    EXPECT_EQ(upnp_ini_file_propertyIsDisabled(INI_V), 0);
    EXPECT_EQ(upnp_ini_file_restartPending(), 0);
    EXPECT_EQ(upnp_ini_file_get_EXE_Name(), nullptr);
    EXPECT_EQ(create(TEXT, "text", nullptr), INI_NOT_INITIALIZED);
    set(INI_VLEVEL, "5");
    upnp_ini_file_add_default_file("c.ini");
    upnp_ini_file_read_properties();
    upnp_ini_file_write_properties();
    upnp_ini_file_reset();
    EXPECT_EQ(all_properties(), "-");
    EXPECT_TRUE(fs::is_empty(dir));
}

TEST_F(Ini, UnknownKeysAndNullsChangeNothing)
{
    std::string before = all_properties();
    for (uint32_t key : { 10u, 287u, 288u, 65536u, 0xFFFFFFFFu }) {
        EXPECT_EQ(upnp_ini_file_getPropParamName(key), nullptr);
        EXPECT_EQ(upnp_ini_file_getInt(key), 0);
        EXPECT_EQ(upnp_ini_file_isModified(key), 0);
        EXPECT_EQ(upnp_ini_file_propertyIsDisabled(key), 1);
        EXPECT_EQ(upnp_ini_file_propertyIsHidden(key), 1);
        EXPECT_EQ(entries_of(key, 1), "|-");
        set(key, "x");
        upnp_ini_file_disableProperty(key, 1);
    }
    EXPECT_EQ(upnp_ini_file_getPropertyKey(nullptr), -1);
    EXPECT_EQ(upnp_ini_file_getPropertyKey("SSDPttl"), INI_SSDPTTL);
    ini::set_by_name(nullptr, nullptr, true, true);
    ini::set_by_name("none", "x", true, true);
    upnp_ini_file_add_default_file(nullptr);
    EXPECT_EQ(all_properties(), before);
}

TEST_F(Ini, CreationIsRefusedInOrder)
{
    EXPECT_EQ(create(INI_V, "", nullptr), INI_NO_NAME);
    EXPECT_EQ(create(288, "", nullptr), INI_NO_NAME);
    EXPECT_EQ(create(288, "v", nullptr), INI_KEY_EXISTS);
    EXPECT_EQ(create(0xFFFFFFFF, "new", nullptr), INI_KEY_EXISTS);
    EXPECT_EQ(create(10, "IP", nullptr), INI_NAME_EXISTS);

    int created = 0;
    for (uint32_t key = 0; key < INI_KEYS; ++key)
        created += create(key, "k" + std::to_string(key), "d") == 0;
    EXPECT_EQ(created, 287 - 18);
    EXPECT_EQ(create(287, "last", nullptr), INI_TABLE_FULL);
    EXPECT_EQ(create(287, "k286", nullptr), INI_NAME_EXISTS);
    EXPECT_STREQ(upnp_ini_file_getPropParamName(286), "k286");
}

TEST_F(Ini, ReadingTakesWhatTheLinesSay)
{
    static constexpr uint32_t TTL = INI_SSDPTTL;  // 4 unless set
    // clang-format off
    static const struct {
        const char *why;
        uint32_t    key;
        std::string file;
        const char *expected;
        int32_t     modified;
    } cases[] = {
        { "the default",        TTL, "ssdpttl=4\n",              "4",      0 },
        { "another value",      TTL, "SsdpTtl=5\n",              "5",      1 },
        { "the first counts",   TTL, "ssdpttl=5\nssdpttl=6\n",   "5",      1 },
        { "no line end",        TTL, "\nssdpttl=5",              "4",      0 },
        { "CR LF",              TTL, "a\r\nssdpttl=5\r\n",      "5",      1 },
        { "control bytes end",  TTL, "a=b\tssdpttl=5\x1F",       "5",      1 },
        { "zero ends it all",   TTL, "a\n\0ssdpttl=5\n"s,       "4",      0 },
        { "blank in the name",  TTL, "ssdpttl =5\n",             "4",      0 },
        { "remark",             TTL, "#\n#ssdpttl=5\n",          "4",      0 },
        { "unknown, sections",  TTL, "[m]\nx=1\nssdpttl=5\n",    "5",      1 },
        { "empty value",        TTL, "ssdpttl=\n",               "4",      0 },
        { "empty, no default",  INI_IP, "ip=\n",                 "-",      0 },
        { "only signs",         INI_IP, "=\n==\nip\n",           "-",      0 },
        { "sign in front",      INI_IP, "=ip\n",                 "ip",     1 },
        { "blanks, more signs", INI_IP, "ip= a=b= \n",           " a=b= ", 1 },
        { "high bytes",         INI_IP, "ip=\xC3\xBC\x80\n", "\xC3\xBC\x80", 1 },
        { "hidden",             INI_READ_ONLY, "read_only=1\n",  "0",      0 },
    };
    // clang-format on
    for (const auto &c : cases) {
        restart();
        read(c.file);
        EXPECT_EQ(string_of(c.key), c.expected) << c.why;
        EXPECT_EQ(upnp_ini_file_isModified(c.key), c.modified) << c.why;
    }
    set(TTL, "7");
    read("ssdpttl=5\n");
    EXPECT_EQ(string_of(TTL), "7") << "the command line came first";
}

TEST_F(Ini, ReadingLogsUnlessThereIsNothing)
{
    for (const char *bytes : { "", "=" })
        EXPECT_EQ(log_lines([&] { read(bytes); }), "") << bytes;
    const std::string line =
        "[Info] - LOG_SYSTEM: upnp_ini_file_read_properties : ";
    EXPECT_EQ(log_lines([&] { read("x=1\nip=2\n"); }),
              line + "reading ini settings from " + path + "\n" + line +
                  "x = 1\n" + line + "ip = 2\n");
    upnp_ini_file_reset();
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(log_lines(upnp_ini_file_read_properties), "");
    EXPECT_EQ(string_of(INI_IP), "2");

    std::string many;
    for (int i = 0; i < 50000; ++i)
        many += "name" + std::to_string(i) + "=value\n# remark = none\n";
    read(many + "language=fr\n");
    EXPECT_EQ(string_of(INI_LANGUAGE), "fr");
}

TEST_F(Ini, SettersForceButObeyDisabled)
{
    // clang-format off
    static const struct {
        const char *why;
        uint32_t    key;
        const char *first, *then;
        const char *expected;
        int32_t     modified, pending;  // pending after the second
    } cases[] = {
        { "the default",         INI_SSDPTTL, nullptr, "4", "4",      1, 1 },
        { "the same again",      INI_SSDPTTL, "5",     "5", "5",      1, 0 },
        { "back to the default", INI_SSDPTTL, "5", nullptr, "4",      0, 1 },
        { "null, no value",      INI_SSDPTTL, nullptr, nullptr, "4",  0, 1 },
        { "empty over a default", INI_SSDPTTL, nullptr, "", "",       1, 1 },
        { "empty, no default",   INI_IP,      nullptr, "",  "-",      0, 0 },
        { "empty over a value",  INI_IP,      "a",     "",  "",       1, 1 },
        { "null, nothing there", INI_IP, nullptr, nullptr,  "-",      0, 0 },
        { "hidden",              INI_APPDATA, "a",     "b", "b",      1, 1 },
        { "no restart needed",   INI_V,       "1",     "2", "2",      1, 0 },
    };
    // clang-format on
    for (const auto &c : cases) {
        restart();
        set(c.key, c.first);
        upnp_ini_file_reset_restartPending();
        set(c.key, c.then);
        EXPECT_EQ(string_of(c.key), c.expected) << c.why;
        EXPECT_EQ(upnp_ini_file_isModified(c.key), c.modified) << c.why;
        EXPECT_EQ(upnp_ini_file_restartPending(), c.pending) << c.why;
    }

    set(INI_IP, "abc");
    set(INI_IP, upnp_ini_file_getString(INI_IP) + 1);
    EXPECT_EQ(string_of(INI_IP), "bc") << "out of the old value";
    upnp_ini_file_reset_restartPending();
    upnp_ini_file_disableProperty(INI_IP, 7);
    set(INI_IP, "d");
    EXPECT_EQ(string_of(INI_IP), "bc");
    EXPECT_EQ(upnp_ini_file_restartPending(), 0);
    upnp_ini_file_hideProperty(INI_V, -1);
    EXPECT_FALSE(has(written(), "\nip=") || has(written(), "\nv="));
}

TEST_F(Ini, SomeKeysActAtOnce)
{
    set(INI_VLEVEL, "2");
    set(INI_V, "255");
    EXPECT_EQ(upnp_log_get_level(), 2u);
    EXPECT_EQ(upnp_log_get_sources(), 255u);
    upnp_log_set_level(3);
    set(INI_VLEVEL, "2");
    EXPECT_EQ(upnp_log_get_level(), 3u) << "no change, no call";
    set(INI_VLEVEL, nullptr);
    EXPECT_EQ(upnp_log_get_level(), 0u) << "not the default, 4";

    EXPECT_EQ(upnp_ini_file_get_ini_path(), path);
    std::string nested = dir + "/a/b";
    set(INI_INIPATH, nested.c_str());
    set(INI_ININAME, "x.ini");
    EXPECT_EQ(upnp_ini_file_get_ini_path(), nested + "/x.ini");
    EXPECT_TRUE(fs::is_directory(nested));
    set(INI_INIPATH, upnp_ini_file_get_ini_path());
    EXPECT_EQ(string_of(INI_INIPATH), nested + "/x.ini");
    set(INI_INIPATH, "");
    EXPECT_EQ(upnp_ini_file_get_ini_path(), nullptr);
}

TEST_F(Ini, NumbersAndFlags)
{
    // clang-format off
    static const struct {
        const char *text;
        int32_t     number, flag;
    } cases[] = {
        { nullptr,      7,         1 }, { "",           0,  0 },
        { "00",         0,         0 }, { "010",        10, 0 },
        { "no",         0,         1 }, { " 12x",       12, 1 },
        { "-5",         -5,        1 }, { "4294967297", 1,  1 },
        { "2147483648", INT32_MIN, 1 }, { "9999999999999999999999", -1, 1 },
    };
    // clang-format on
    create(TEXT, "text", "7");
    for (const auto &c : cases) {
        set(TEXT, c.text);
        EXPECT_EQ(upnp_ini_file_getInt(TEXT), c.number) << string_of(TEXT);
        EXPECT_EQ(upnp_ini_file_isSet(TEXT), c.flag) << string_of(TEXT);
    }
}

TEST_F(Ini, ListsAreCutAtCommas)
{
    // clang-format off
    static const struct {
        const char *value;    // null: the default "x,y" of the list
        const char *entries;  // 0 to 4, each behind a bar, "-" for null
    } cases[] = {
        { "a, b,  c,", "|a|b|c|-|-"   }, { "a,,b, ,c", "|a||b||c"      },
        { ", ",        "||-|-|-|-"    }, { " a ,b",    "| a |b|-|-|-"  },
        { "one",       "|one|-|-|-|-" }, { "",         "|x|y|-|-|-"    },
        { nullptr,     "|x|y|-|-|-"   },
    };
    // clang-format on
    create(LIST, "list", "x,y", 1);
    for (const auto &c : cases) {
        set(LIST, c.value);
        EXPECT_EQ(entries_of(LIST, 5), c.entries);
        EXPECT_EQ(upnp_ini_file_get_next_CSV(LIST, -1), nullptr);
    }

    create(TEXT, "single", "x", 1);
    EXPECT_EQ(entries_of(TEXT, 1), "|-") << "no default";
    EXPECT_EQ(entries_of(INI_V, 1), "|-") << "no default";
    set(INI_V, "1,2");
    EXPECT_EQ(entries_of(INI_V, 2), "|1,2|-");
}

TEST_F(Ini, UnwritableAndReadOnly)
{
    fs::create_directories(path + "/in the way");
    EXPECT_EQ(log_lines(upnp_ini_file_write_properties),
              "[Error] - LOG_SYSTEM: upnp_ini_file_write_properties : "
              "ini file \"" +
                  path + "\" not writable! ***\n");
    EXPECT_NE(log_lines(upnp_ini_file_read_properties), "")
        << "a directory opens";
    fs::remove_all(path);
    set(INI_READ_ONLY, "1");
    upnp_ini_file_write_properties();
    EXPECT_FALSE(fs::exists(path));
}

static uint32_t key_of_hidden(const char *name)
{
    if (strcasecmp(name, "language") == 0)
        return 200;  // has no row
    return strcasecmp(name, "zz") == 0 ? uint32_t{ INI_IP } : 0xFFFFFFFF;
}

static char *decode(const char *value)
{
    return *value == '~' ? upnp_strdup_impl(value + 1) : nullptr;
}

static char *encode(const char *value)
{
    return value ? upnp_string_append("~", value) : nullptr;
}

TEST_F(Ini, HooksKeepAPropertyOutOfSight)
{
    IniPredicate is_ip = [](uint32_t key) -> int32_t { return key == INI_IP; };
    IniPredicate is_10 = [](uint32_t key) -> int32_t { return key == 10; };
    IniNameHook  name = [](uint32_t) { return "zz"; };

    upnp_ini_set_obfuscation(is_ip, name, key_of_hidden, decode, encode, is_10);
    EXPECT_EQ(upnp_ini_file_getPropertyKey("ZZ"), INI_IP);
    EXPECT_EQ(upnp_ini_file_getPropertyKey("language"), -1) << "not searched";
    read("zz=plain\nZZ=~secret\n");
    EXPECT_EQ(string_of(INI_IP), "secret");
    EXPECT_TRUE(has(written(), "=\n\nzz=~secret\n\n# Watch"));
    set(INI_IP, nullptr);
    EXPECT_TRUE(has(written(), "=\n\nzz=\n\n# Watch"));
    EXPECT_FALSE(has(all_properties(), "\nip="));

    // The whole list alone asks for a position: key 13 stands at 10.
    upnp_ini_set_obfuscation(is_10, name, nullptr, decode, encode, nullptr);
    EXPECT_FALSE(has(all_properties(), "appdata="));

    upnp_ini_set_obfuscation(is_ip, name, nullptr, nullptr, nullptr, nullptr);
    set(INI_IP, "~x");
    EXPECT_EQ(string_of(INI_IP), "-") << "cannot be decoded";
    EXPECT_TRUE(has(written(), "=\n\nip=\n\n# Watch"));
    EXPECT_TRUE(has(all_properties(), "\nip="));
}

TEST_F(Ini, MissingMemoryLosesAtMostTheCall)
{
    for_each_failing_allocation([&] { restart(); });
    EXPECT_EQ(upnp_ini_file_getInt(INI_STACK_SIZE), 196608);

    for_each_failing_allocation([] { create(TEXT, "text", "a,b", 1); });
    for_each_failing_allocation([] { entries_of(TEXT, 2); });
    EXPECT_EQ(entries_of(TEXT, 2), "|a|b");

    set(TEXT, "old");
    for_each_failing_allocation([] {
        EXPECT_TRUE(string_of(TEXT) == "old");
        set(TEXT, "a value beyond any buffer");
    });
    for_each_failing_allocation(all_properties);
    for_each_failing_allocation([] { upnp_ini_file_add_default_file("old"); });
    for_each_failing_allocation([] {
        set(INI_ININAME, nullptr);
        upnp_ini_file_write_properties();
    });
    set(TEXT, nullptr);
    for_each_failing_allocation([&] { read("text=c\nv=0\n"); });
    EXPECT_EQ(string_of(TEXT), "c");
}

TEST_F(Ini, ThreadsMayAskWhileRowsAreMade)
{
    std::atomic<bool> done = false;
    std::thread       reader([&] {
        while (!done) {
            EXPECT_EQ(upnp_ini_file_getPropertyKey("language"), INI_LANGUAGE);
            EXPECT_EQ(upnp_ini_file_getInt(INI_STACK_SIZE), 196608);
        }
    });
    for (uint32_t key = 21; key < INI_KEYS; ++key)
        create(key, "k" + std::to_string(key), nullptr);
    done = true;
    reader.join();
}

static std::string utf16(const std::string &ascii)
{
    std::string units;
    for (char c : ascii)
        units += { c, '\0' };
    return units;
}

// The last one: a process that has met UTF-16 never goes back.
TEST_F(Ini, Utf16IsReadAndWrittenBackFromThenOn)
{
    read("\xFF\xFE" + utf16("language=fr\r\nip=") + "\xE4\0\xAC\x20\n\0"s);
    EXPECT_EQ(string_of(INI_LANGUAGE), "fr");
    EXPECT_EQ(string_of(INI_IP), "\xC3\xA4\xE2\x82\xAC");

    std::string bytes = written();
    std::string start = header;
    start.replace(start.find("UTF-8"), 5, "UTF-16");
    EXPECT_TRUE(bytes.starts_with("\xFF\xFE" + utf16(start + "# Visible ")));
    EXPECT_TRUE(has(bytes, utf16("\nip=") + "\xE4\0\xAC\x20\n\0\n\0"s));
    EXPECT_TRUE(bytes.ends_with(utf16("\nlanguage=fr\n\n")));

    restart();
    read("??" + utf16("language=de\nip=odd\n") + "x");
    EXPECT_EQ(string_of(INI_LANGUAGE), "de") << "without a mark";
    EXPECT_EQ(string_of(INI_IP), "odd") << "half a unit at the end";
    for (size_t size = 0; size < 6; ++size)
        read(std::string(size, 'x'));
    read("v=1\n");
    EXPECT_EQ(string_of(INI_V), "0");
}
