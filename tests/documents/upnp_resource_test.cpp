// upnp_resource_test.cpp - finding resources and keeping them in memory.

#include "documents/upnp_resource.h"

#include "config/upnp_ini_file.h"
#include "runtime/upnp_mem.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/work_folder.h"

#include <cstring>

// A program directory of its own, with resources.
struct Resource : WorkFolder {
    void SetUp() override
    {
        WorkFolder::SetUp();
        std::filesystem::create_directories("resources/views");
        upnp_ini_file_init();
        upnp_set_EXE_Name(upnp_strdup_impl((dir + "/program").c_str()));
        upnp_resource_init();
    }
    void TearDown() override
    {
        upnp_resource_exit();
        upnp_ini_file_release();
        WorkFolder::TearDown();
    }
    static void write(const std::string &name, const std::string &text)
    {
        put("resources/" + name, text);
    }
};

// What a look-up gives, "(none)" without a result; checks the two zero bytes.
static std::string served(const std::string &name)
{
    std::string copy = name;
    uint32_t    size = 77;
    void       *data = &size;

    if (!upnp_resource_get(copy.data(), &size, &data)) {
        EXPECT_EQ(data, nullptr);
        return "(none)";
    }
    std::string text(static_cast<char *>(data), size + 2);
    upnp_free_impl(data);
    EXPECT_EQ(text.substr(size), std::string(2, '\0'));
    return text.substr(0, size);
}

TEST_F(Resource, OfListedKindsStayAsFirstRead)
{
    static const struct {
        const char *why, *name;
        bool        is_kept;
    } cases[] = {
        { "listed", "a.xml", true },
        { "not listed", "a.html", false },
        { "other case", "a.XML", false },
        { "no extension", "axml", false },
        { "the last dot counts", "a.txt.bak", false },
        { "translated texts", "strings-de.xml", false },
        { "views", "views/a.xml", false },
    };
    for (const auto &c : cases) {
        EXPECT_EQ(served(c.name), "(none)") << c.why;
        write(c.name, "old");
        EXPECT_EQ(upnp_resource_exists(c.name), 1) << c.why;
        EXPECT_EQ(served(c.name), "old") << c.why;
        write(c.name, "newer");
        EXPECT_EQ(served(c.name), c.is_kept ? "old" : "newer") << c.why;
    }
    write("empty.xml", "");
    EXPECT_EQ(served("empty.xml"), "");
    write("empty.xml", "x");
    EXPECT_EQ(served("empty.xml"), "x");
    EXPECT_EQ(served("views"), "(none)");
    EXPECT_EQ(upnp_resource_exists(nullptr), 0);
}

TEST_F(Resource, NameLosesItsQuery)
{
    char     name[] = "a.xml?x=1?y=2";
    uint32_t size;
    void    *data;

    write("a.xml?x=1", "odd");
    ASSERT_EQ(upnp_resource_get(name, &size, &data), 1);
    upnp_free_impl(data);
    EXPECT_STREQ(name, "a.xml?x=1");

    size = 1;
    EXPECT_EQ(upnp_resource_get(name, &size, nullptr), 0);
    EXPECT_EQ(upnp_resource_get(name, nullptr, &data), 0);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0u);
}

TEST_F(Resource, BeyondAHundredKeptOnesAreStillServed)
{
    for (int i = 0; i <= 100; ++i) {
        std::string name = std::to_string(i) + ".txt";
        std::string log = i < 100 ? ""
                                  : "[Error] - LOG_SYSTEM: add_to_cache : too "
                                    "many files (100)\n";
        write(name, "old");
        EXPECT_EQ(log_lines([&] { EXPECT_EQ(served(name), "old"); }), log);
        write(name, "new");
        EXPECT_EQ(served(name), i < 100 ? "old" : "new");
    }
}

TEST_F(Resource, LooksUpAgainWhenMemoryWasOut)
{
    write("a.txt", "text");
    for (int round = 0; round < 2; ++round) {
        for_each_failing_allocation([] {
            char     name[] = "a.txt";
            uint32_t size;
            void    *data;
            if (upnp_resource_get(name, &size, &data))
                upnp_free_impl(data);
        });
        EXPECT_EQ(served("a.txt"), "text");
    }
}

TEST_F(Resource, FunctionOfTheProgramTakesOver)
{
    write("a.txt", "file");
    register_upnp_resource_get_function(
        [](char *name, uint32_t *size, void **data) {
            *data = upnp_calloc_impl(1, 16);
            *size = static_cast<uint32_t>(strlen(name));
            memcpy(*data, name, *size);
            return 1;
        });
    EXPECT_EQ(served("a.txt?q"), "a.txt");
    register_upnp_resource_get_function(nullptr);
    EXPECT_EQ(served("a.txt"), "file");
}
