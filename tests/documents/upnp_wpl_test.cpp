// upnp_wpl_test.cpp - playlists by id, their items, and their WPL files.

#include "documents/upnp_wpl.h"

#include "documents/upnp_wpl_store.h"
#include "runtime/upnp_exit.h"
#include "runtime/upnp_mem.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

// An array grows by one each time, which a sanitizer's heap copies.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
static constexpr uint32_t MANY = 5000;
#else
static constexpr uint32_t MANY = 100000;
#endif

static constexpr uint32_t OK = UPNP_WPL_OK, FAILED = UPNP_WPL_FAILED;

// Each test has a store and a directory of its own.
struct Wpl : testing::Test {
    void SetUp() override
    {
        char name[] = "/tmp/wpl-XXXXXX";
        directory = mkdtemp(name);
        upnp_wpl_init();
    }
    void TearDown() override
    {
        for (uint32_t id = 1; id < wpl::store.next_id; ++id)
            upnp_wpl_delete_playlist(id);
        wpl::drop(&wpl::store.playlists);
        wpl::store = { nullptr, 0, 1 };
        upnp_wpl_exit();
        std::filesystem::remove_all(directory);
    }
    std::string file(const std::string &name, const std::string &text) const
    {
        std::ofstream(directory + "/" + name) << text;
        return directory + "/" + name;
    }
    uint32_t flush(uint32_t id) const
    {
        return upnp_wpl_flush(id, directory.c_str(), nullptr);
    }
    std::string directory;
};

static uint32_t load(const std::string &path, uint32_t *id)
{
    return upnp_wpl_create_playlist_from_file(path.c_str(), id);
}

static std::string taken(char *text)
{
    std::string copy = text ? text : "(null)";
    if (text)
        upnp_free_impl(text);
    return copy;
}

static uint32_t create(const char *title, uint32_t source = WPL_SOURCE_FILE,
                       uint32_t type = WPL_TYPE_M)
{
    uint32_t id = 0;
    EXPECT_EQ(
        upnp_wpl_create_playlist(title, type, source, nullptr, nullptr, &id),
        OK);
    return id;
}

static bool add(uint32_t id, const std::string &src)
{
    WplItem *item = upnp_wpl_create_item(src.c_str());
    bool     added = upnp_wpl_add_item(id, item) == OK;
    if (!added)
        upnp_wpl_free_item(item);
    return added;
}

static uint32_t create_with(const std::string &srcs)
{
    uint32_t id = create(srcs.c_str());
    for (char src : srcs)
        add(id, std::string(1, src));
    return id;
}

// "a[title=x udn=y]b": what a walk over the items shows.
static std::string items_of(uint32_t id)
{
    void       *state = nullptr;
    std::string all;
    for (WplItem *item = upnp_wpl_find_first_playlist_item(id, &state); item;
         item = upnp_wpl_find_next_playlist_item(&state)) {
        all += item->src;
        for (uint32_t i = 0; i < item->attribute_count; ++i)
            all += std::string(i ? " " : "[") + item->attributes[i].name + "=" +
                   item->attributes[i].value +
                   (i + 1 == item->attribute_count ? "]" : "");
        upnp_wpl_free_item(item);
    }
    upnp_wpl_find_playlist_item_release(&state);
    return all;
}

// "title type source generator orig_filename path count", "?" if unknown.
static std::string properties_of(uint32_t id)
{
    uint32_t type, source, count;
    char    *title = nullptr, *generator = nullptr, *origin = nullptr,
         *path = nullptr;
    if (upnp_wpl_get_playlist_properties(id, &title, &type, &source, &generator,
                                         &origin, &path, &count) != OK)
        return "?";
    return taken(title) + " " + std::to_string(type) + " " +
           std::to_string(source) + " " + taken(generator) + " " +
           taken(origin) + " " + taken(path) + " " + std::to_string(count);
}

static std::string written(uint32_t id)
{
    UpnpString *str = upnp_string_create("", 1);
    uint32_t    result = upnp_wpl_convert_to_xml(id, str);
    std::string text = result == OK ? str->buffer : "failed";
    EXPECT_EQ(text.size(), result == OK ? str->length : 6);
    upnp_string_free(str);
    return text;
}

static uint32_t read(const std::string &text, uint32_t *id)
{
    EdgeText   edge(text);
    UpnpString str = { static_cast<uint32_t>(text.size()),
                       static_cast<uint32_t>(text.size() + 1), edge.data };
    return upnp_wpl_convert_from_xml(id, &str);
}

static bool has_cache(uint32_t id, uint32_t count)
{
    uint32_t *values = nullptr;
    upnp_wpl_get_cache(id, count, &values);
    if (values)
        upnp_free_impl(values);
    return values != nullptr;
}

static const uint32_t numbers[] = { 10, 20, 30, 40, 50 };

TEST_F(Wpl, OneTitleAndTypeIsOnePlaylist)
{
    uint32_t id = create("t", WPL_SOURCE_FILE);
    ASSERT_TRUE(add(id, "a"));

    EXPECT_EQ(create("t", WPL_SOURCE_ONLINE), id);
    EXPECT_EQ(properties_of(id), "t 1 1 (null) (null) (null) 1");
    EXPECT_EQ(create("t", WPL_SOURCE_CDS), id);
    EXPECT_EQ(properties_of(id), "t 1 3 (null) (null) (null) 1");
    EXPECT_NE(create("t", WPL_SOURCE_FILE, 77), id) << "any type will do";
    EXPECT_NE(create("T"), id);

    EXPECT_EQ(upnp_wpl_set_playlist_type(id, 0), FAILED);
    EXPECT_EQ(upnp_wpl_set_playlist_type(id, 5), FAILED);
    EXPECT_EQ(upnp_wpl_set_playlist_type(id, 4), OK);
    EXPECT_NE(create("t"), id);
    EXPECT_EQ(upnp_wpl_rename_playlist(id, nullptr), OK);
    EXPECT_NE(create("t", WPL_SOURCE_FILE, 4), id) << "no title is no twin";
    EXPECT_EQ(properties_of(id), "(null) 4 3 (null) (null) (null) 1");
    EXPECT_EQ(written(id), "failed");

    uint32_t none = 99;
    EXPECT_EQ(upnp_wpl_create_playlist(nullptr, 1, 1, "g", "o", &none), FAILED);
    EXPECT_EQ(upnp_wpl_create_playlist("x", 1, 1, "g", "o", nullptr), FAILED);
    EXPECT_EQ(none, 99u);
}

TEST_F(Wpl, TableGrowsByFiveSlotsAndNeverUsesOneTwice)
{
    static const uint32_t slots[] = { 5, 5, 5, 10, 10, 10, 10, 10, 15 };
    int64_t               used = upnp_mem_used();

    for (uint32_t i = 0; i < std::size(slots); ++i) {
        char title[] = { static_cast<char>('a' + i), '\0' };
        EXPECT_EQ(create(title), i + 1);
        used += static_cast<int64_t>(sizeof(wpl::WplPlaylist) + sizeof(title));
        EXPECT_EQ(upnp_mem_used(), used + 40 * slots[i]) << i;
    }
    EXPECT_EQ(upnp_wpl_delete_playlist(4), OK);
    for (uint32_t id : { 0u, 4u, 10u, 14u, 15u, 0xFFFFFFFFu })
        EXPECT_EQ(upnp_wpl_delete_playlist(id), FAILED) << id;
    EXPECT_EQ(create("d"), 10u);
}

TEST_F(Wpl, WalkOverPlaylistsStandsChanges)
{
    void *state = &state;
    EXPECT_EQ(upnp_wpl_find_first_playlist(&state), 0u);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(upnp_wpl_find_next_playlist(&state), 0u);
    EXPECT_EQ(upnp_wpl_find_first_playlist(nullptr), 0u);
    EXPECT_EQ(upnp_wpl_find_next_playlist(nullptr), 0u);
    upnp_wpl_find_playlist_release(&state);
    upnp_wpl_find_playlist_release(nullptr);

    for (const char *title : { "a", "b", "c", "d" })
        create(title);
    upnp_wpl_delete_playlist(1);
    int64_t used = upnp_mem_used();
    EXPECT_EQ(upnp_wpl_find_first_playlist(&state), 2u);
    EXPECT_EQ(upnp_mem_used(), used + 4);
    upnp_wpl_delete_playlist(2);
    upnp_wpl_delete_playlist(3);
    EXPECT_EQ(upnp_wpl_find_next_playlist(&state), 4u);
    EXPECT_EQ(upnp_wpl_find_next_playlist(&state), 0u);
    EXPECT_EQ(create("e"), 5u);
    EXPECT_EQ(upnp_wpl_find_next_playlist(&state), 5u) << "the end stays open";
    upnp_wpl_find_playlist_release(&state);
    EXPECT_EQ(state, nullptr);
}

TEST_F(Wpl, MovesFromZeroToOne)
{
    static const struct {
        uint32_t    from, to, status;
        const char *order;
        bool        keeps_cache;
    } cases[] = {
        { 0, 3, OK, "bcad", false },      { 3, 1, OK, "dabc", false },
        { 1, 4, OK, "acdb", false },      { 0, 4, OK, "bcda", false },
        { 0, 1, OK, "abcd", false },      { 3, 2, OK, "adbc", false },
        { 2, 2, OK, "abcd", true },       { 0, 0, OK, "abcd", true },
        { 3, 0, OK, "abcd", false },      { 4, 4, FAILED, "abcd", true },
        { 4, 1, FAILED, "abcd", true },   { 0, 5, FAILED, "abcd", true },
        { ~0u, 1, FAILED, "abcd", true }, { 0, ~0u, FAILED, "abcd", true },
    };
    for (const auto &c : cases) {
        uint32_t id = create_with("abcd");
        upnp_wpl_set_cache(id, 4, numbers);
        EXPECT_EQ(upnp_wpl_set_item_track(id, c.from, c.to), c.status);
        EXPECT_EQ(items_of(id), c.order) << c.from << " to " << c.to;
        EXPECT_EQ(has_cache(id, 4), c.keeps_cache) << c.from << " to " << c.to;
        upnp_wpl_delete_playlist(id);
    }
    EXPECT_EQ(upnp_wpl_set_item_track(create("empty"), 0, 0), FAILED);
}

TEST_F(Wpl, WalkOverItemsKeepsAPositionAlone)
{
    uint32_t id = create_with("abcde");
    int64_t  used = upnp_mem_used();
    void    *state = nullptr;

    EXPECT_EQ(upnp_wpl_find_first_playlist_item(99, &state), nullptr);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(upnp_wpl_find_first_playlist_item(id, nullptr), nullptr);
    EXPECT_EQ(upnp_wpl_find_next_playlist_item(&state), nullptr);
    EXPECT_EQ(upnp_wpl_find_next_playlist_item(nullptr), nullptr);

    upnp_wpl_free_item(upnp_wpl_find_first_playlist_item(id, &state));
    EXPECT_EQ(upnp_mem_used(), used + 8);
    for (const char *expected : { "b", "c", "e" }) {
        WplItem *item = upnp_wpl_find_next_playlist_item(&state);
        ASSERT_TRUE(item);
        EXPECT_STREQ(item->src, expected);
        EXPECT_TRUE(*expected != 'c' ||
                    upnp_wpl_remove_item_by_track(id, 2) == OK);
        upnp_wpl_free_item(item);
    }
    EXPECT_EQ(upnp_wpl_find_next_playlist_item(&state), nullptr);
    EXPECT_TRUE(add(id, "f"));
    upnp_wpl_delete_playlist(id);
    EXPECT_EQ(upnp_wpl_find_next_playlist_item(&state), nullptr);
    upnp_wpl_find_playlist_item_release(&state);
    EXPECT_EQ(state, nullptr);
    upnp_wpl_find_playlist_item_release(nullptr);

    EXPECT_EQ(upnp_wpl_find_first_playlist_item(create("n"), &state), nullptr);
    EXPECT_NE(state, nullptr) << "an empty playlist starts a walk too";
    upnp_wpl_find_playlist_item_release(&state);
}

TEST_F(Wpl, ItemsAreReplacedAndRemoved)
{
    uint32_t id = create_with("abcbd");
    WplItem *item = upnp_wpl_create_item("b");

    EXPECT_EQ(upnp_wpl_remove_item(id, item), OK);
    EXPECT_EQ(items_of(id), "acbd");
    EXPECT_EQ(upnp_wpl_remove_item_by_file(id, "d"), OK);
    EXPECT_EQ(upnp_wpl_remove_item_by_file(id, "B"), FAILED);
    EXPECT_EQ(upnp_wpl_remove_item_by_file(id, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_remove_item(id, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 3), FAILED);
    EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 0), OK);
    EXPECT_EQ(upnp_wpl_set_item_src(id, 1, "z"), OK);
    EXPECT_EQ(upnp_wpl_set_item_src(id, 2, "z"), FAILED);
    EXPECT_EQ(upnp_wpl_set_item_src(id, 0, nullptr), FAILED);
    EXPECT_EQ(items_of(id), "cz");
    EXPECT_EQ(upnp_wpl_get_item_by_track(id, 2), nullptr);
    EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 1), OK);
    EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 0), OK);
    EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 0), FAILED);
    EXPECT_TRUE(add(id, "n"));
    EXPECT_EQ(items_of(id), "n");

    EXPECT_EQ(upnp_wpl_add_item(99, item), FAILED);
    EXPECT_EQ(upnp_wpl_add_item(id, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_add_item_attribute(item, "k", "1"), OK);
    EXPECT_EQ(upnp_wpl_set_item_title(item, "first"), OK);
    EXPECT_EQ(upnp_wpl_set_item_title(item, "second"), OK);
    EXPECT_EQ(upnp_wpl_set_item_title(item, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_add_item_attribute(nullptr, "k", "1"), FAILED);
    EXPECT_EQ(upnp_wpl_add_item_attribute(item, nullptr, "1"), FAILED);
    EXPECT_EQ(taken(upnp_wpl_get_item_title(item)), "first");
    EXPECT_EQ(taken(upnp_wpl_get_item_attribute(item, "K")), "(null)");
    EXPECT_EQ(taken(upnp_wpl_get_item_attribute(nullptr, "k")), "(null)");
    EXPECT_EQ(taken(upnp_wpl_get_item_attribute(item, nullptr)), "(null)");
    EXPECT_EQ(upnp_wpl_add_item(id, item), OK);
    EXPECT_EQ(items_of(id), "nb[k=1 title=first title=second]");
    EXPECT_EQ(upnp_wpl_create_item(nullptr), nullptr);
    upnp_wpl_free_item(nullptr);
}

TEST_F(Wpl, CacheLastsUntilTheListChanges)
{
    uint32_t  id = create_with("abcd");
    uint32_t *values = nullptr;

    upnp_wpl_set_cache(id, 4, numbers);
    upnp_wpl_set_cache(id, 3, numbers + 1);
    upnp_wpl_set_cache(id, 4, nullptr);
    upnp_wpl_set_cache(99, 4, numbers);
    upnp_wpl_get_cache(id, 3, &values);
    upnp_wpl_get_cache(id, 4, nullptr);
    EXPECT_EQ(values, nullptr);
    upnp_wpl_get_cache(id, 4, &values);
    ASSERT_TRUE(values);
    EXPECT_EQ(values[0], 10u);
    EXPECT_EQ(values[3], 40u);
    upnp_free_impl(values);

    upnp_wpl_set_item_src(id, 0, "z");
    EXPECT_TRUE(has_cache(id, 4));
    add(id, "e");
    EXPECT_FALSE(has_cache(id, 5));
    upnp_wpl_set_cache(id, 5, numbers);
    upnp_wpl_remove_item_by_track(id, 4);
    EXPECT_FALSE(has_cache(id, 4));
    upnp_wpl_set_cache(id, 4, numbers);
    EXPECT_EQ(read("<a><title>abcd</title></a>", &id), OK);
    EXPECT_FALSE(has_cache(id, 0));
    upnp_wpl_set_cache(id, 0, numbers);
    EXPECT_TRUE(has_cache(id, 0));
}

static char *bracketed(void *context, const char *src)
{
    if (*src == 'e')
        return nullptr;
    return upnp_string_append(static_cast<const char *>(context), src);
}

TEST_F(Wpl, TextIsWrittenAsItStands)
{
    uint32_t    id = 0;
    UpnpString *str = upnp_string_create("x", 2);
    char        context[] = "(";

    upnp_wpl_create_playlist("A&B", 9, 9, nullptr, nullptr, &id);
    EXPECT_EQ(written(id).substr(38),
              "    <meta name=\"Generator\" content=\"QuorelMedia\"/>\n"
              "    <meta name=\"ItemCount\" content=\"0\"/>\n"
              "    <meta name=\"Type\" content=\"M\"/>\n"
              "    <meta name=\"Source\" content=\"file\"/>\n"
              "    <title>A&B</title>\n"
              "  </head>\n  <body>\n  </body>\n</smil>\n");
    upnp_wpl_create_playlist("t", 4, 2, "g", "o", &id);
    add(id, "d");
    add(id, "e");
    WplItem *item = upnp_wpl_create_item("a");
    upnp_wpl_set_item_title(item, "b");
    upnp_wpl_add_item_attribute(item, "k", "<\">");
    upnp_wpl_add_item(id, item);
    EXPECT_EQ(upnp_wpl_convert_to_xml_with_filter(id, str, bracketed, context),
              OK);
    EXPECT_STREQ(str->buffer,
                 "x<?wpl version=\"1.0\"?>\n<smil>\n  <head>\n"
                 "    <meta name=\"Generator\" content=\"g\"/>\n"
                 "    <meta name=\"OrigFilename\" content=\"o\"/>\n"
                 "    <meta name=\"ItemCount\" content=\"3\"/>\n"
                 "    <meta name=\"Type\" content=\"X\"/>\n"
                 "    <meta name=\"Source\" content=\"iTunes\"/>\n"
                 "    <title>t</title>\n"
                 "  </head>\n  <body>\n    <seq>\n"
                 "      <media src=\"(d\"/>\n"
                 "      <media src=\"\"/>\n"
                 "      <media src=\"(a\"  title=\"b\"  k=\"<\">\"  />\n"
                 "    </seq>\n  </body>\n</smil>\n");
    EXPECT_EQ(upnp_wpl_convert_to_xml(id, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_convert_to_xml(99, str), FAILED);
    upnp_string_free(str);
}

TEST_F(Wpl, ReaderFindsItsElementsAnywhere)
{
    static const struct {
        const char *why, *text, *properties, *items;
    } cases[] = {
        { "no markup", "title", "?", "" },
        { "empty", "", "?", "" },
        { "no title", "<s><media src='a'/></s>", "?", "" },
        { "a title without text", "<s><title/><media src='a'/></s>", "?", "" },
        { "an empty title", "<s><title></title></s>",
          " 1 1 (null) (null) (null) 0", "" },
        { "the bare root", "<title>t</title>", "t 1 1 (null) (null) (null) 0",
          "" },
        { "any case, the last one wins",
          "<s><meta NAME='Type' content='P'/><meta name='tYPE' content='v'/>"
          "<meta name='SOURCE' content='cds'/><meta name='Source'/>"
          "<meta name='generator' content='g&amp;'/>"
          "<meta name='origfilename' content='/o'/>"
          "<meta name='ItemCount' content='7'/><title>t</title></s>",
          "t 3 3 g& /o (null) 0", "" },
        { "words that are not listed",
          "<s><meta name='Type' content='Q'/><meta name='Source' content='Q'/>"
          "<title>t</title></s>",
          "t 1 0 (null) (null) (null) 0", "" },
        { "any case of a source",
          "<s><meta name='Source' content='itunes'/><title>t</title></s>",
          "t 1 2 (null) (null) (null) 0", "" },
        { "attributes are chosen and reversed",
          "<s><title>t</title><media title='1' duration='9' udn='2' Title='8' "
          "src='a' objectId='3' bookmark='4' metadata='5'/><media title='6'/>"
          "<media src='b'/></s>",
          "t 1 1 (null) (null) (null) 2",
          "a[metadata=5 bookmark=4 objectId=3 udn=2 title=1]b" },
        { "the walk does not go upwards",
          "<s><title>t</title><seq><media src='a'/><x><media src='b'/></x>"
          "</seq><seq><media src='c'/></seq></s>",
          "t 1 1 (null) (null) (null) 2", "ab" },
        { "what an item holds is not searched",
          "<s><title>t</title><media src='a'><media src='b'/></media>"
          "<q><media src='c'/></q></s>",
          "t 1 1 (null) (null) (null) 2", "ac" },
        { "a bare ampersand", "<s><title>A&B &amp; C</title></s>",
          "A&B & C 1 1 (null) (null) (null) 0", "" },
    };
    for (const auto &c : cases) {
        uint32_t id = 0;
        bool     is_read = read(c.text, &id) == OK;
        EXPECT_EQ(is_read, c.properties[0] != '?') << c.why;
        EXPECT_EQ(properties_of(id), c.properties) << c.why;
        EXPECT_EQ(items_of(id), c.items) << c.why;
        upnp_wpl_delete_playlist(id);
    }
    UpnpString none = {};
    uint32_t   id = 0;
    EXPECT_EQ(upnp_wpl_convert_from_xml(&id, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_convert_from_xml(nullptr, &none), FAILED);
    EXPECT_EQ(upnp_wpl_convert_from_xml(&id, &none), FAILED);
}

TEST_F(Wpl, ReadingBackReversesAttributesAndRefreshes)
{
    uint32_t id = create("t", WPL_SOURCE_ONLINE, WPL_TYPE_V), again = 0;
    WplItem *item = upnp_wpl_create_item("a");

    upnp_wpl_set_item_title(item, "x");
    upnp_wpl_add_item_attribute(item, "udn", "y");
    upnp_wpl_add_item(id, item);
    add(id, "b");
    for (const char *expected : { "a[udn=y title=x]b", "a[title=x udn=y]b" }) {
        EXPECT_EQ(read(written(id), &again), OK);
        EXPECT_EQ(again, id);
        EXPECT_EQ(items_of(id), expected);
        EXPECT_EQ(properties_of(id), "t 3 4 QuorelMedia (null) (null) 2");
    }
    EXPECT_EQ(
        read("<s><meta name='Type' content='V'/><title>t</title></s>", &again),
        OK);
    EXPECT_EQ(properties_of(id), "t 3 1 QuorelMedia (null) (null) 0");

    upnp_wpl_rename_playlist(id, "a<b");
    EXPECT_EQ(read(written(id), &again), FAILED);
}

static std::string head(const char *title, const char *more)
{
    return std::string("<s><title>") + title + "</title>" + more + "</s>";
}

TEST_F(Wpl, FileMakesRefreshesOrReloads)
{
    std::string path = file("f.wpl", head("t", "<media src='a'/>"));
    uint32_t    id = 0, other = 0;
    std::string rest = " (null) (null) " + path + " ";

    EXPECT_EQ(load(path, &id), OK);
    EXPECT_EQ(properties_of(id), "t 1 1" + rest + "1");
    std::string copy =
        file("g.wpl", head("t", "<media src='b'/>"
                                "<meta name='Generator' content='g'/>"));
    EXPECT_EQ(load(copy, &other), OK);
    EXPECT_EQ(other, id);
    EXPECT_EQ(properties_of(id), "t 1 1 g (null) " + path + " 1");
    EXPECT_EQ(items_of(id), "b");

    upnp_wpl_set_cache(id, 1, numbers);
    EXPECT_EQ(load(path, &id), OK);
    EXPECT_EQ(properties_of(id), "t 1 1" + rest + "1") << "generator dropped";
    EXPECT_FALSE(has_cache(id, 1));

    std::string tunes =
        file("i.wpl", head("i", "<meta name='Source' content='iTunes'/>"));
    EXPECT_EQ(load(tunes, &(other = 0)), OK);
    EXPECT_EQ(properties_of(other), "i 1 2 (null) (null) (null) 0");
    upnp_wpl_delete_playlist(other);

    std::string bad = file("bad", "<s/>"), empty = file("empty", "");
    mkfifo((directory + "/pipe").c_str(), 0600);
    for (const std::string &name :
         { directory + "/none", directory, bad, empty, directory + "/pipe" })
        EXPECT_EQ(load(name, &id), FAILED) << name;
    EXPECT_EQ(upnp_wpl_create_playlist_from_file(nullptr, &id), FAILED);
    EXPECT_EQ(load(path, nullptr), FAILED);
    for (uint32_t unused : { other, other + 1, 99u })
        EXPECT_EQ(load(path, &unused), FAILED);
}

TEST_F(Wpl, ReloadKeepsItsTitleAndCorrectsACdsFile)
{
    uint32_t    id = create("mine");
    std::string plain = file("p", head("theirs", ""));
    std::string cds = file("c", head("theirs", "<media src='a'/><meta name="
                                               "'Source' content='CDS'/>"));
    testing::internal::CaptureStdout();
    upnp_log_set_sources(LOG_SYSTEM);
    for (const std::string &path : { plain, cds, cds })
        EXPECT_EQ(load(path, &id), OK);
    upnp_log_set_sources(0);
    // The second time the titles agree.
    std::string log = testing::internal::GetCapturedStdout();
    EXPECT_EQ(log.substr(log.find('[')),
              "[Info] - LOG_SYSTEM: upnp_wpl_create_playlist_from_file : WPL "
              "title theirs does not match mine, replacing " +
                  cds + "\n\n");
    EXPECT_EQ(properties_of(id), "mine 1 3 QuorelMedia (null) (null) 1");
    std::ifstream in(cds);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), written(id));
    upnp_wpl_rename_playlist(id, nullptr);
    EXPECT_EQ(load(cds, &id), OK);
}

TEST_F(Wpl, FlushReplacesOnlyWhatCameFromCds)
{
    uint32_t id = create("a/b:c ?*\\d"), twin = create("a b:c#?*\\d");
    char    *path = nullptr;

    EXPECT_EQ(upnp_wpl_flush(id, nullptr, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_flush(99, directory.c_str(), nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_flush(id, directory.c_str(), &path), OK);
    EXPECT_EQ(taken(path), directory + "/a#b#c####d.wpl");
    EXPECT_EQ(upnp_wpl_flush(twin, directory.c_str(), &(path = nullptr)),
              FAILED);
    EXPECT_EQ(path, nullptr);

    id = create("cds", WPL_SOURCE_CDS);
    for (int i = 0; i < 40; ++i)
        add(id, "a");
    EXPECT_EQ(flush(id), OK);
    while (upnp_wpl_remove_item_by_track(id, 1) == OK)
        continue;
    EXPECT_EQ(upnp_wpl_flush(id, "/elsewhere", nullptr), OK);
    std::string target = directory + "/cds.wpl";
    EXPECT_EQ(std::filesystem::file_size(target), written(id).size());
    upnp_wpl_rename_playlist(id, nullptr);
    EXPECT_EQ(flush(id), OK);
    EXPECT_EQ(std::filesystem::file_size(target), 0u) << "nothing to write";

    std::string own = directory + "/own.wpl";
    upnp_wpl_create_playlist("own", 1, WPL_SOURCE_CDS, nullptr, own.c_str(),
                             &id);
    EXPECT_EQ(flush(id), OK);
    EXPECT_EQ(flush(id), FAILED);

    id = create("x");
    EXPECT_EQ(upnp_wpl_flush(id, "/does/not/exist", nullptr), FAILED);
    id = create("y");
    upnp_wpl_rename_playlist(id, nullptr);
    EXPECT_EQ(flush(id), 8u);
}

TEST_F(Wpl, DeletingSparesTheFileItWasReadFrom)
{
    static const struct {
        uint32_t    source;
        const char *origin;  // behind the directory
        bool        stays;
    } cases[] = {
        { WPL_SOURCE_FILE, nullptr, true },
        { WPL_SOURCE_FILE, "/t.wpl", true },
        { WPL_SOURCE_FILE, "/T.wpl", false },
        { WPL_SOURCE_ONLINE, nullptr, true },
        { WPL_SOURCE_ITUNES, "/other", false },
        { WPL_SOURCE_CDS, "/t.wpl", false },
        { WPL_SOURCE_CDS, nullptr, false },
        { WPL_SOURCE_UNKNOWN, nullptr, false },
    };
    std::string path = directory + "/t.wpl";
    for (const auto &c : cases) {
        uint32_t    id = 0;
        std::string origin = directory + (c.origin ? c.origin : "");
        upnp_wpl_create_playlist("t", 1, c.source, nullptr,
                                 c.origin ? origin.c_str() : nullptr, &id);
        EXPECT_EQ(flush(id), OK);
        EXPECT_EQ(log_lines([&] { upnp_wpl_delete_playlist(id); }),
                  c.stays ? ""
                          : "[Info] - LOG_SYSTEM: upnp_wpl_delete_playlist : "
                            "upnp_wpl_delete_playlist remove " +
                                path + " now\n");
        EXPECT_EQ(std::filesystem::remove(path), c.stays) << c.source;
    }
}

TEST_F(Wpl, WithoutMemoryNothingChanges)
{
    uint32_t    id = create_with("ab");
    std::string path = file("f.wpl", head("title", "<media src='a' udn='u'/>"));
    std::string text = written(id);

    for_each_failing_allocation([&] {
        uint32_t    fresh = 0;
        UpnpString *str = upnp_string_create(nullptr, 0);
        void       *state = nullptr;
        WplItem    *item = upnp_wpl_create_item("c");
        bool        built = upnp_wpl_set_item_title(item, "x") == OK;
        bool        added = built && upnp_wpl_add_item(id, item) == OK;

        if (!added)
            upnp_wpl_free_item(item);
        upnp_wpl_get_item_by_track(id, 99);
        upnp_wpl_free_item(upnp_wpl_find_first_playlist_item(id, &state));
        while ((item = upnp_wpl_find_next_playlist_item(&state)))
            upnp_wpl_free_item(item);
        upnp_wpl_find_playlist_item_release(&state);
        upnp_wpl_find_first_playlist(&state);
        upnp_wpl_find_playlist_release(&state);
        properties_of(id);
        upnp_wpl_rename_playlist(id, "ab");
        upnp_wpl_set_item_src(id, 0, "a");
        EXPECT_TRUE(!added || upnp_wpl_remove_item_by_track(id, 2) == OK);
        upnp_wpl_set_cache(id, 2, numbers);
        has_cache(id, 2);
        EXPECT_TRUE(upnp_wpl_convert_to_xml(id, str) != OK ||
                    str->buffer == text);
        upnp_string_empty(str);
        if (str && (str = upnp_string_concat(str, "<title>z</title>")) &&
            upnp_wpl_convert_from_xml(&fresh, str) == OK)
            upnp_wpl_delete_playlist(fresh);
        upnp_string_free(str);

        fresh = 0;
        if (load(path, &fresh) == OK) {
            std::string made = properties_of(fresh);
            EXPECT_TRUE(made[0] == 't' || made[0] == 'f' || made[0] == '?');
            load(path, &fresh);
            upnp_wpl_delete_playlist(fresh);
        }
        fresh = 0;
        upnp_wpl_create_playlist("q", 1, 3, "g", "o", &fresh);
        flush(fresh);
        upnp_wpl_delete_playlist(fresh);
    });
    EXPECT_EQ(items_of(id), "ab");
}

TEST_F(Wpl, WithoutInitItComplainsAndGoesOn)
{
    register_upnp_exit_function([](int32_t code) { return code; });
    upnp_wpl_exit();
    // A critical line also goes to the console.
    std::string log = log_lines([] { create("t"); });
    for (const char *who : { "SYSTEM: wpl_lock", "SYSTEM: wpl_unlock" })
        EXPECT_NE(
            log.find(std::string(who) + " : critical section not initialized"),
            std::string::npos);
    upnp_wpl_init();
    upnp_wpl_init();
    register_upnp_exit_function(nullptr);
    EXPECT_EQ(log_lines([] { EXPECT_EQ(create("t"), 1u); }), "");
}

TEST_F(Wpl, HoldsManyItems)
{
    uint32_t    id = create("many", WPL_SOURCE_CDS), count = 0;
    std::string all;

    for (uint32_t i = 0; i < MANY; ++i) {
        std::string src = "/music/" + std::to_string(i);
        all += src;
        ASSERT_TRUE(add(id, src));
    }
    EXPECT_EQ(items_of(id), all);
    EXPECT_EQ(read(written(id), &id), OK);
    EXPECT_EQ(items_of(id), all);
    EXPECT_EQ(flush(id), OK);
    EXPECT_EQ(load(directory + "/many.wpl", &id), OK);
    for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(upnp_wpl_set_item_track(id, 0, MANY), OK);
        EXPECT_EQ(upnp_wpl_set_item_track(id, MANY - 1, 1), OK);
    }
    EXPECT_EQ(items_of(id), all);
    for (int i = 0; i < 500; ++i)
        EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 0), OK);
    for (uint32_t i = MANY - 500; i > 0; --i, ++count)
        ASSERT_EQ(upnp_wpl_remove_item_by_track(id, i - 1), OK);
    EXPECT_EQ(items_of(id), "");
}

TEST_F(Wpl, ThreadsShareOnePlaylist)
{
    static constexpr int     THREADS = 4, ROUNDS = 200;
    uint32_t                 id = create("shared");
    std::atomic<int>         left = THREADS;
    std::vector<std::thread> threads;

    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([&, t] {
            std::string title = "own" + std::to_string(t);
            for (int i = 0; i < ROUNDS; ++i) {
                EXPECT_TRUE(add(id, std::to_string(t)));
                upnp_wpl_delete_playlist(create(title.c_str()));
                upnp_wpl_set_item_track(id, 0, 1 + static_cast<uint32_t>(i));
            }
            --left;
        });
    while (left > 0) {
        void *state = nullptr;
        for (uint32_t each = upnp_wpl_find_first_playlist(&state); each;
             each = upnp_wpl_find_next_playlist(&state))
            properties_of(each);
        upnp_wpl_find_playlist_release(&state);
        items_of(id);
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(items_of(id).size(), size_t{ THREADS * ROUNDS });
    for (int i = 0; i < THREADS * ROUNDS; ++i)
        EXPECT_EQ(upnp_wpl_remove_item_by_file(
                      id, std::to_string(i % THREADS).c_str()),
                  OK);
}
