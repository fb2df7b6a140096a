// upnp_wpl_test.cpp - playlists by id, their items, and their WPL files.

#include "documents/upnp_wpl.h"

#include "documents/upnp_wpl_store.h"
#include "runtime/upnp_exit.h"
#include "runtime/upnp_mem.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/take.h"
#include "support/work_folder.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

static constexpr uint32_t OK = UPNP_WPL_OK, FAILED = UPNP_WPL_FAILED;
static constexpr uint32_t numbers[] = { 10, 20, 30, 40, 50 };

// Each test has a store and a directory of its own.
struct Wpl : WorkFolder {
    void SetUp() override
    {
        WorkFolder::SetUp();
        upnp_wpl_init();
    }
    void TearDown() override
    {
        for (uint32_t id = 1; id < wpl::store.next_id; ++id)
            upnp_wpl_delete_playlist(id);
        wpl::drop(&wpl::store.playlists);
        wpl::store = { nullptr, 0, 1 };
        upnp_wpl_exit();
        WorkFolder::TearDown();
    }
};

static uint32_t create(const char *title, uint32_t source = WPL_SOURCE_FILE,
                       uint32_t type = WPL_TYPE_M, const char *origin = nullptr)
{
    uint32_t id = 0;
    EXPECT_EQ(
        upnp_wpl_create_playlist(title, type, source, nullptr, origin, &id),
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

// What a walk over the items shows: "a(title=x)(udn=y)b".
static std::string items_of(uint32_t id)
{
    void       *state = nullptr;
    std::string all;
    for (WplItem *item = upnp_wpl_find_first_playlist_item(id, &state); item;
         item = upnp_wpl_find_next_playlist_item(&state)) {
        all += item->src;
        for (uint32_t i = 0; i < item->attribute_count; ++i)
            all += std::string("(") + item->attributes[i].name + "=" +
                   item->attributes[i].value + ")";
        upnp_wpl_free_item(item);
    }
    upnp_wpl_find_playlist_item_release(&state);
    return all;
}

// "title type source generator orig_filename path count items", "-" for a text
// that is not there, "?" for an unknown id.
static std::string shown(uint32_t id)
{
    uint32_t type, source, count;
    char    *texts[4] = {};
    if (upnp_wpl_get_playlist_properties(id, &texts[0], &type, &source,
                                         &texts[1], &texts[2], &texts[3],
                                         &count) != OK)
        return "?";
    auto word = [](char *text) { return (text ? take(text) : "-") + " "; };
    return word(texts[0]) + std::to_string(type) + " " +
           std::to_string(source) + " " + word(texts[1]) + word(texts[2]) +
           word(texts[3]) + std::to_string(count) + " " + items_of(id);
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

static uint32_t flush(uint32_t id)
{
    return upnp_wpl_flush(id, ".", nullptr);
}

static bool has_cache(uint32_t id, uint32_t count)
{
    uint32_t *values = nullptr;
    upnp_wpl_get_cache(id, count, &values);
    if (values)
        upnp_free_impl(values);
    return values != nullptr;
}

TEST_F(Wpl, OneTitleAndTypeIsOnePlaylist)
{
    uint32_t id = create_with("t"), none = 99;

    EXPECT_EQ(create("t", WPL_SOURCE_ONLINE), id);
    EXPECT_EQ(shown(id), "t 1 1 - - - 1 t");
    EXPECT_EQ(create("t", WPL_SOURCE_CDS), id);
    EXPECT_EQ(shown(id), "t 1 3 - - - 1 t");
    EXPECT_NE(create("t", WPL_SOURCE_FILE, 77), id) << "any type will do";
    EXPECT_NE(create("T"), id);

    EXPECT_EQ(upnp_wpl_set_playlist_type(id, 0), FAILED);
    EXPECT_EQ(upnp_wpl_set_playlist_type(id, 5), FAILED);
    EXPECT_EQ(upnp_wpl_set_playlist_type(id, 4), OK);
    EXPECT_NE(create("t"), id);
    EXPECT_EQ(upnp_wpl_rename_playlist(id, nullptr), OK);
    EXPECT_NE(create("t", WPL_SOURCE_FILE, 4), id) << "no title is no twin";
    EXPECT_EQ(shown(id), "- 4 3 - - - 1 t");
    EXPECT_EQ(written(id), "failed");

    EXPECT_EQ(upnp_wpl_create_playlist(nullptr, 1, 1, "g", "o", &none), FAILED);
    EXPECT_EQ(upnp_wpl_create_playlist("x", 1, 1, "g", "o", nullptr), FAILED);
    EXPECT_EQ(none, 99u);
}

TEST_F(Wpl, TableGrowsByFiveSlotsAndNeverUsesOneTwice)
{
    static const uint32_t slots[] = { 5, 5, 5, 10, 10, 10, 10, 10, 15 };
    int64_t               used = upnp_mem_used();

    for_each_failing_allocation([] {
        uint32_t id;
        upnp_wpl_create_playlist("a", WPL_TYPE_M, WPL_SOURCE_FILE, nullptr,
                                 nullptr, &id);
    });
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
    EXPECT_EQ(upnp_wpl_remove_item(id, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 3), FAILED);
    EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 0), OK);
    EXPECT_EQ(upnp_wpl_set_item_src(id, 1, "z"), OK);
    EXPECT_EQ(upnp_wpl_set_item_src(id, 2, "z"), FAILED);
    EXPECT_EQ(upnp_wpl_set_item_src(id, 0, nullptr), FAILED);
    EXPECT_EQ(items_of(id), "cz");
    EXPECT_EQ(upnp_wpl_get_item_by_track(id, 2), nullptr);
    for (uint32_t status : { OK, OK, FAILED })
        EXPECT_EQ(upnp_wpl_remove_item_by_track(id, 0), status);
    EXPECT_TRUE(add(id, "n"));

    EXPECT_EQ(upnp_wpl_add_item(99, item), FAILED);
    EXPECT_EQ(upnp_wpl_add_item(id, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_add_item_attribute(item, "k", "1"), OK);
    EXPECT_EQ(upnp_wpl_set_item_title(item, "first"), OK);
    EXPECT_EQ(upnp_wpl_set_item_title(item, "second"), OK);
    EXPECT_EQ(upnp_wpl_set_item_title(item, nullptr), FAILED);
    EXPECT_EQ(upnp_wpl_add_item_attribute(nullptr, "k", "1"), FAILED);
    EXPECT_EQ(upnp_wpl_add_item_attribute(item, nullptr, "1"), FAILED);
    EXPECT_EQ(take(upnp_wpl_get_item_title(item)), "first");
    EXPECT_EQ(upnp_wpl_get_item_attribute(item, "K"), nullptr);
    EXPECT_EQ(upnp_wpl_get_item_attribute(nullptr, "k"), nullptr);
    EXPECT_EQ(upnp_wpl_get_item_attribute(item, nullptr), nullptr);
    EXPECT_EQ(upnp_wpl_add_item(id, item), OK);
    EXPECT_EQ(items_of(id), "nb(k=1)(title=first)(title=second)");
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
    EXPECT_TRUE(std::equal(values, values + 4, numbers));
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

    EXPECT_EQ(written(create("A&B", 9, 9)).substr(38),
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
        const char *why, *text, *shown;
    } cases[] = {
        { "no markup", "title", "?" },
        { "empty", "", "?" },
        { "no title", "<s><media src='a'/></s>", "?" },
        { "a title without text", "<s><title/><media src='a'/></s>", "?" },
        { "an empty title", "<s><title></title></s>", " 1 1 - - - 0 " },
        { "the bare root", "<title>t</title>", "t 1 1 - - - 0 " },
        { "a bare ampersand", "<title>A&B &amp; C</title>",
          "A&B & C 1 1 - - - 0 " },
        { "any case, the last one wins",
          "<s><meta NAME='Type' content='P'/><meta name='tYPE' content='v'/>"
          "<meta name='SOURCE' content='cds'/><meta name='Source'/>"
          "<meta name='generator' content='g&amp;'/>"
          "<meta name='origfilename' content='/o'/>"
          "<meta name='ItemCount' content='7'/><title>t</title></s>",
          "t 3 3 g& /o - 0 " },
        { "words that are not listed",
          "<s><meta name='Type' content='Q'/><meta name='Source' content='Q'/>"
          "<title>t</title></s>",
          "t 1 0 - - - 0 " },
        { "attributes are chosen and reversed",
          "<s><title>t</title><media title='1' duration='9' udn='2' Title='8' "
          "src='a' objectId='3' bookmark='4' metadata='5'/><media title='6'/>"
          "<media src='b'/></s>",
          "t 1 1 - - - 2 "
          "a(metadata=5)(bookmark=4)(objectId=3)(udn=2)(title=1)b" },
        { "the walk does not go upwards",
          "<s><title>t</title><seq><media src='a'/><x><media src='b'/></x>"
          "</seq><seq><media src='c'/></seq></s>",
          "t 1 1 - - - 2 ab" },
        { "what an item holds is not searched",
          "<s><title>t</title><media src='a'><media src='b'/></media>"
          "<q><media src='c'/></q></s>",
          "t 1 1 - - - 2 ac" },
    };
    for (const auto &c : cases) {
        uint32_t id = 0;
        EXPECT_EQ(read(c.text, &id) == OK, *c.shown != '?') << c.why;
        EXPECT_EQ(shown(id), c.shown) << c.why;
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
    for (std::string items : { "a(udn=y)(title=x)b", "a(title=x)(udn=y)b" }) {
        EXPECT_EQ(read(written(id), &again), OK);
        EXPECT_EQ(again, id);
        EXPECT_EQ(shown(id), "t 3 4 QuorelMedia - - 2 " + items);
    }
    EXPECT_EQ(
        read("<s><meta name='Type' content='V'/><title>t</title></s>", &again),
        OK);
    EXPECT_EQ(shown(id), "t 3 1 QuorelMedia - - 0 ");

    upnp_wpl_rename_playlist(id, "a<b");
    EXPECT_EQ(read(written(id), &again), FAILED);
}

static void put_wpl(const char *path, const std::string &title,
                    const std::string &more = "")
{
    WorkFolder::put(path, "<s><title>" + title + "</title>" + more + "</s>");
}

TEST_F(Wpl, FileMakesRefreshesOrReloads)
{
    static constexpr auto load = upnp_wpl_create_playlist_from_file;
    uint32_t              id = 0, other = 0;

    put_wpl("f.wpl", "t", "<media src='a'/>");
    put_wpl("g.wpl", "t",
            "<media src='b'/><meta name='Generator' content='g'/>");
    put_wpl("i.wpl", "i", "<meta name='Source' content='itunes'/>");
    EXPECT_EQ(load("f.wpl", &id), OK);
    EXPECT_EQ(shown(id), "t 1 1 - - f.wpl 1 a");
    EXPECT_EQ(load("g.wpl", &other), OK);
    EXPECT_EQ(other, id);
    EXPECT_EQ(shown(id), "t 1 1 g - f.wpl 1 b");

    upnp_wpl_set_cache(id, 1, numbers);
    EXPECT_EQ(load("f.wpl", &id), OK);
    EXPECT_EQ(shown(id), "t 1 1 - - f.wpl 1 a") << "generator dropped";
    EXPECT_FALSE(has_cache(id, 1));

    EXPECT_EQ(load("i.wpl", &(other = 0)), OK);
    EXPECT_EQ(shown(other), "i 1 2 - - - 0 ");
    upnp_wpl_delete_playlist(other);

    put("bad", "<s/>");
    put("empty", "");
    mkfifo("pipe", 0600);
    for (const char *name : { "none", ".", "bad", "empty", "pipe" })
        EXPECT_EQ(load(name, &id), FAILED) << name;
    EXPECT_EQ(load(nullptr, &id), FAILED);
    EXPECT_EQ(load("f.wpl", nullptr), FAILED);
    for (uint32_t unused : { other, other + 1, 99u })
        EXPECT_EQ(load("f.wpl", &unused), FAILED);
}

TEST_F(Wpl, ReloadKeepsItsTitleAndCorrectsACdsFile)
{
    uint32_t    id = create("mine");
    std::string log;

    put_wpl("plain", "theirs");
    put_wpl("cds", "theirs",
            "<media src='a'/><meta name='Source' content='CDS'/>");
    // The second time the titles agree.
    for (const char *path : { "plain", "cds", "cds" })
        log += log_lines([&] {
            EXPECT_EQ(upnp_wpl_create_playlist_from_file(path, &id), OK);
        });
    EXPECT_EQ(log.substr(0, log.find('\n')),
              "[Info] - LOG_SYSTEM: upnp_wpl_create_playlist_from_file : WPL "
              "title theirs does not match mine, replacing cds");
    EXPECT_EQ(shown(id), "mine 1 3 QuorelMedia - - 1 a");
    EXPECT_EQ(get("cds"), written(id));
    upnp_wpl_rename_playlist(id, nullptr);
    EXPECT_EQ(upnp_wpl_create_playlist_from_file("cds", &id), OK);
}

TEST_F(Wpl, FlushReplacesOnlyWhatCameFromCds)
{
    uint32_t id = create("a/b:c ?*\\d"), twin = create("a b:c#?*\\d");
    char    *path = nullptr;

    EXPECT_EQ(upnp_wpl_flush(id, nullptr, nullptr), FAILED);
    EXPECT_EQ(flush(99), FAILED);
    EXPECT_EQ(upnp_wpl_flush(id, ".", &path), OK);
    EXPECT_EQ(take(path), "./a#b#c####d.wpl");
    EXPECT_EQ(upnp_wpl_flush(twin, ".", &(path = nullptr)), FAILED);
    EXPECT_EQ(path, nullptr);

    id = create("cds", WPL_SOURCE_CDS);
    for (int i = 0; i < 40; ++i)
        add(id, "a");
    EXPECT_EQ(flush(id), OK);
    while (upnp_wpl_remove_item_by_track(id, 1) == OK)
        continue;
    EXPECT_EQ(upnp_wpl_flush(id, "/elsewhere", nullptr), OK);
    EXPECT_EQ(get("cds.wpl"), written(id));
    upnp_wpl_rename_playlist(id, nullptr);
    EXPECT_EQ(flush(id), OK);
    EXPECT_EQ(get("cds.wpl"), "") << "nothing to write";

    id = create("own", WPL_SOURCE_CDS, WPL_TYPE_M, "./own.wpl");
    EXPECT_EQ(flush(id), OK);
    EXPECT_EQ(flush(id), FAILED);
    EXPECT_EQ(upnp_wpl_flush(create("x"), "/does/not/exist", nullptr), FAILED);
    id = create("y");
    upnp_wpl_rename_playlist(id, nullptr);
    EXPECT_EQ(flush(id), 8u);
}

TEST_F(Wpl, DeletingSparesTheFileItWasReadFrom)
{
    static const struct {
        uint32_t    source;
        const char *origin;
        bool        stays;
    } cases[] = {
        { WPL_SOURCE_FILE, nullptr, true },
        { WPL_SOURCE_FILE, "./t.wpl", true },
        { WPL_SOURCE_FILE, "./T.wpl", false },
        { WPL_SOURCE_ONLINE, nullptr, true },
        { WPL_SOURCE_ITUNES, "other", false },
        { WPL_SOURCE_CDS, "./t.wpl", false },
        { WPL_SOURCE_CDS, nullptr, false },
        { WPL_SOURCE_UNKNOWN, nullptr, false },
    };
    for (const auto &c : cases) {
        uint32_t id = create("t", c.source, WPL_TYPE_M, c.origin);
        EXPECT_EQ(flush(id), OK);
        EXPECT_EQ(log_lines([&] { upnp_wpl_delete_playlist(id); }),
                  c.stays ? ""
                          : "[Info] - LOG_SYSTEM: upnp_wpl_delete_playlist : "
                            "upnp_wpl_delete_playlist remove ./t.wpl now\n");
        EXPECT_EQ(std::filesystem::remove("t.wpl"), c.stays) << c.source;
    }
}

TEST_F(Wpl, WithoutMemoryNothingChanges)
{
    uint32_t    id = create_with("ab");
    std::string text = written(id);

    put_wpl("f.wpl", "title", "<media src='a' udn='u'/>");
    for_each_failing_allocation([&] {
        uint32_t    fresh = 0;
        UpnpString *str = upnp_string_create(nullptr, 0);
        void       *state = nullptr;
        WplItem    *item = upnp_wpl_create_item("c");
        bool        built = upnp_wpl_set_item_title(item, "x") == OK;
        bool        added = built && upnp_wpl_add_item(id, item) == OK;

        if (!added)
            upnp_wpl_free_item(item);
        upnp_wpl_find_first_playlist(&state);
        upnp_wpl_find_playlist_release(&state);
        shown(id);
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
        if (upnp_wpl_create_playlist_from_file("f.wpl", &fresh) == OK) {
            EXPECT_NE(std::string("tf?").find(shown(fresh)[0]),
                      std::string::npos)
                << "the file gives the title, or else its name";
            upnp_wpl_create_playlist_from_file("f.wpl", &fresh);
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
    for (std::string who : { "SYSTEM: wpl_lock", "SYSTEM: wpl_unlock" })
        EXPECT_NE(log.find(who + " : critical section not initialized"),
                  std::string::npos);
    upnp_wpl_init();
    upnp_wpl_init();
    register_upnp_exit_function(nullptr);
    EXPECT_EQ(log_lines([] { EXPECT_EQ(create("t"), 1u); }), "");
}

TEST_F(Wpl, HoldsManyItems)
{
    static constexpr uint32_t MANY = 5000;

    uint32_t    id = create("many", WPL_SOURCE_CDS);
    std::string all;

    for (uint32_t i = 0; i < MANY; ++i) {
        std::string src = "/music/" + std::to_string(i);
        all += src;
        ASSERT_TRUE(add(id, src));
    }
    EXPECT_EQ(read(written(id), &id), OK);
    EXPECT_EQ(flush(id), OK);
    EXPECT_EQ(upnp_wpl_create_playlist_from_file("many.wpl", &id), OK);
    for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(upnp_wpl_set_item_track(id, 0, MANY), OK);
        EXPECT_EQ(upnp_wpl_set_item_track(id, MANY - 1, 1), OK);
    }
    EXPECT_EQ(items_of(id), all);
    for (uint32_t i = 0; i < MANY; ++i)
        ASSERT_EQ(upnp_wpl_remove_item_by_track(id, i < 500 ? 0 : MANY - 1 - i),
                  OK);
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
            shown(each);
        upnp_wpl_find_playlist_release(&state);
    }
    for (std::thread &thread : threads)
        thread.join();
    std::string items = items_of(id);
    for (char t = '0'; t < '0' + THREADS; ++t)
        EXPECT_EQ(std::count(items.begin(), items.end(), t), ROUNDS);
}
