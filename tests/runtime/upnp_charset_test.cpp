// upnp_charset_test.cpp - conversions and the sort order, for sound texts and
// for every kind of broken one.

#include "runtime/upnp_charset.h"

#include "runtime/upnp_sort.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/take.h"

#include <functional>
#include <string.h>

static std::u16string take(uint16_t *units)
{
    std::u16string taken(units, units + upnp_wcslen(units));
    upnp_free_impl(units);
    return taken;
}

// Calls check with every text of one or two bytes that are not NUL, alone and
// with a few tails, each of which ends at an unmapped page.
static void for_each_short_text(const std::function<void(const char *)> &check)
{
    EdgeBytes edge(std::string(5, '\0'));

    for (std::string tail : { "", "A", "\x80", "\xC3", "\xA9\xA9" })
        for (int pair = 256; pair < 65536; ++pair) {
            std::string text(1, static_cast<char>(pair >> 8));
            if (pair % 256)
                text += static_cast<char>(pair) + tail;
            char *at = edge.data + edge.size - text.size() - 1;
            memcpy(at, text.c_str(), text.size() + 1);
            check(at);
        }
}

TEST(Latin1AndUtf8, ConvertByShape)
{
    static constexpr auto to = upnp_strdup_to_utf8;
    static constexpr auto from = upnp_strdup_from_utf8;
    static constexpr auto latin1 = upnp_util_convert_enhanced_ascii_to_utf8;
    static const struct {
        const char *why;
        char *(*convert)(const char *);
        const char *text, *expected;
    } cases[] = {
        // clang-format off
        { "both",         to,     "\xE9t\xC3\xA9",     "\xC3\xA9t\xC3\xA9" },
        { "low Latin-1",  to,     "\x80",              "\xC2\x80" },
        { "no lead byte", to,     "\xFE\xFF",          "\xC3\xBE\xC3\xBF" },
        { "overlong",     to,     "\xF0\x80\x80\x80", "\xF0\x80\x80\x80" },
        { "two of three", to,     "\xE2\x82",          "\xC3\xA2\xC2\x82" },
        { "Latin-1",      from,   "\xC3\xA9\xC2\xA3",  "\xE9\xA3" },
        { "three bytes",  from,   "\xE2\x82\xAC.",     "?." },
        { "four to six",  from,   "\xF0xxx\xF8xxxx\xFCxxxxx.", "???." },
        { "Greek",        from,   "\xCE\xB1",          "" },
        { "stray bytes",  from,   "x\x80\xC0\xFE\xFFy", "xy" },
        { "any second",   from,   "\xC2x\xC3x",        "x\xB8" },
        { "a NUL made",   from,   "x\xC3\xC0y",        "x" },
        { "cut off",      from,   "x\xC3",             "x" },
        { "cut, long",    from,   "x\xFC\x80",         "x?" },
        { "UTF-8 again",  latin1, "\xC3\xA9",          "\xC3\x83\xC2\xA9" },
        { "empty",        latin1, "",                  "(null)" },
        // clang-format on
    };
    for (const auto &c : cases)
        EXPECT_EQ(take(c.convert(EdgeText(c.text).data)), c.expected) << c.why;
    for (auto convert : { to, from, latin1 })
        EXPECT_EQ(convert(nullptr), nullptr);

    for_each_short_text([](const char *text) {
        std::string utf8 = take(to(text));
        ASSERT_EQ(take(to(utf8.c_str())), utf8) << "a second time";
        ASSERT_EQ(take(from(take(latin1(text)).c_str())), text) << "and back";
        ASSERT_LE(take(from(text)).size(), strlen(text));
    });
}

TEST(Utf16, FromUtf8TakesUpToThreeBytes)
{
    static const struct {
        const char    *why, *text;
        std::u16string expected;
    } cases[] = {
        // clang-format off
        { "one to three bytes", "x\xC3\xA9\xE2\x82\xAC", u"x\u00E9\u20AC" },
        { "four: three, and the last takes the x", "\xF0\x9F\x98\x80x",
          { 0x07D8, 0x0038 } },
        { "cut off",            "x\xC3",    { 'x', 0x00C0 } },
        { "cut off after two",  "\xE2\x82", { 0x2080 } },
        { "cut off after one",  "\xE2",     { 0x2000 } },
        { "empty",              "",         u"" },
        // clang-format on
    };
    for (const auto &c : cases)
        EXPECT_EQ(take(upnp_string_utf8_to_utf16(EdgeText(c.text).data)),
                  c.expected)
            << c.why;
    EXPECT_EQ(upnp_string_utf8_to_utf16(nullptr), nullptr);
    EXPECT_EQ(upnp_wcslen(nullptr), 0u);
    for_each_short_text([](const char *text) {
        ASSERT_LE(take(upnp_string_utf8_to_utf16(text)).size(), strlen(text));
    });
}

TEST(Utf16, ToUtf8ObeysTheMarkAndDropsSurrogates)
{
    static const struct {
        const char      *why;
        std::string_view bytes;
        const char      *expected;
    } cases[] = {
        // clang-format off
        { "little-endian", { "\xFF\xFEx\0\0\0", 6 },              "x" },
        { "big-endian",    { "\xFE\xFF\0x\x20\xAC\0\0", 8 }, "x\xE2\x82\xAC" },
        { "no mark",       { "x\0\xE9\0\0\0", 6 },                "x\xC3\xA9" },
        { "edges",         { "\x7F\0\x80\0\xFF\x07\0\x08\0\0", 10 },
          "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80" },
        { "a pair",        { "x\0\x3D\xD8\0\xDEy\0\0\0", 10 },    "xy" },
        { "beside pairs",  { "\xFF\xD7\0\xE0\0\0", 6 },
          "\xED\x9F\xBF\xEE\x80\x80" },
        { "only a mark",   { "\xFF\xFE\0\0", 4 },                 "" },
        { "empty",         { "\0\0", 2 },                         "" },
        // clang-format on
    };
    for (const auto &c : cases)
        EXPECT_EQ(take(upnp_string_utf16_to_utf8(EdgeBytes(c.bytes).data)),
                  c.expected)
            << c.why;
    EXPECT_EQ(upnp_string_utf16_to_utf8(nullptr), nullptr);

    EXPECT_EQ(log_lines([] { take(upnp_string_utf16_to_utf8("\x3D\xD8\0")); }),
              "[Trace] - LOG_SYSTEM: upnp_string_utf16_to_utf8 : UTF-16 "
              "surrogate pair detected: d83d\n");
}

TEST(Conversions, AllocateWhatTheyMeasureAndSurviveWithoutMemory)
{
    static const struct {
        std::function<void *()> convert;
        int64_t                 bytes;
    } cases[] = {
        // clang-format off
        { [] { return upnp_strdup_to_utf8("xyz"); },                       7 },
        { [] { return upnp_strdup_from_utf8("xyz"); },                     4 },
        { [] { return upnp_util_convert_enhanced_ascii_to_utf8("x\xE9"); }, 4 },
        { [] { return upnp_string_utf8_to_utf16("x\xC3\xA9"); },           6 },
        { [] { return upnp_string_utf16_to_utf8("\0\xD8\0\xDEx\0\0"); },   25 },
        // clang-format on
    };
    for (const auto &c : cases)
        for_each_failing_allocation([&] {
            int64_t used = upnp_mem_used();
            void   *block = c.convert();
            bool    has_failed = allocation_has_failed();
            EXPECT_EQ(block == nullptr, has_failed);
            EXPECT_EQ(upnp_mem_used() - used, has_failed ? 0 : c.bytes);
            if (block)
                upnp_free_impl(block);
        });
}

TEST(ShiftJis, IsGuessedFromItsLeadBytes)
{
    for (const char *is : { "xy\x82", "\x81", "\x9F", "\xA0", "\xA0\xFFx" })
        EXPECT_EQ(upnp_util_is_shift_jis(is), 1) << is;
    for (const char *is_not : { "", "plain", "\x80", "\xA0xy", "\xFFx" })
        EXPECT_EQ(upnp_util_is_shift_jis(is_not), 0) << is_not;
    EXPECT_EQ(upnp_util_is_shift_jis(nullptr), 0);
    EXPECT_EQ(upnp_util_convert_shift_jis_to_utf8(), nullptr);
    upnp_util_set_code_page(1252);
}

TEST(SortOrder, StepsByTheFirstByteUpToTheNul)
{
    // Each is one whole character.
    for (const char *text :
         { "", "x", "\x80", "\xC3\xA9", "\xE2\x82\xAC", "\xC3",
           "\xF0\x9F\x98\x80", "\xE2\x82", "\xF0\x9F\x98" }) {
        EdgeText edge(text);
        EXPECT_EQ(*upnp_utf8_next_char(edge.data), '\0') << text;
    }
    EXPECT_STREQ(upnp_utf8_next_char("\x80\x80"), "\x80");
    EXPECT_STREQ(upnp_utf8_next_char("\xC3\xA9."), ".");
    EXPECT_STREQ(upnp_utf8_next_char("\xE2\x82\xAC."), ".");
    EXPECT_STREQ(upnp_utf8_next_char("\xFF...."), ".");
    EXPECT_EQ(upnp_utf8_next_char(nullptr), nullptr);
}

TEST(SortOrder, FoldsTheLatin1Letters)
{
    // From 0xC0 to 0xFF; a blank has no fold.
    const std::string folds = "AAAAAZACEEEEIIII NOOOOO OUUUU   "
                              "AAAAAZACEEEEIIII NOOOOO OUUUU   ";
    for (int i = 0; i < 256; ++i) {
        int fold = i < 64 ? folds[static_cast<size_t>(i)] : ' ';
        // Behind C2 only malformed second bytes, from 0xC0 up, meet a fold.
        for (int lead : { 0xC3, 0xC2 })
            EXPECT_EQ(
                upnp_get_utf8_sortchar(lead, i + 0x80 + (0xC3 - lead) * 64),
                fold == ' ' ? lead - 256 : fold)
                << i;
    }
    EXPECT_EQ(upnp_get_utf8_sortchar('a', 0xA9), 'a');
    EXPECT_EQ(upnp_get_utf8_sortchar(0xE2 - 256, 0), 0xE2 - 256);
}

TEST(SortOrder, ComparesWholeTexts)
{
    static const struct {
        const char *why, *a, *b;
        int         expected;
    } cases[] = {
        // clang-format off
        { "case",                 "abc",              "ABC",              0 },
        { "shorter first",        "ab",               "abc",              -1 },
        { "accents, steps",       "\xC3\xA9t\xC3\xA9", "ETE",             0 },
        { "a-ring is z",          "\xC3\xA5",         "z",                0 },
        { "Greek, same lead",     "\xCE\xB1",         "\xCE\xB2",         0 },
        { "high before ASCII",    "\xCE\xB1",         "a",                -1 },
        { "three bytes count",    "\xE2\x82\xAC",     "\xE2\x82\xAD",     -1 },
        { "as signed bytes",      "\xE2\x82",         "\xE2\x82\xAC",     1 },
        { "the fourth does not",  "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x81", 0 },
        { "cut off, equal",       "\xF0\x9F",         "\xF0\x9F",         0 },
        // clang-format on
    };
    for (const auto &c : cases) {
        EdgeText a(c.a), b(c.b);
        EXPECT_EQ(upnp_utf8_stricmp(a.data, b.data), c.expected) << c.why;
        EXPECT_EQ(upnp_utf8_stricmp(b.data, a.data), -c.expected) << c.why;
    }
    EXPECT_EQ(upnp_utf8_stricmp(nullptr, nullptr), 0);
    EXPECT_EQ(upnp_utf8_stricmp(nullptr, ""), -1);
    EXPECT_EQ(upnp_utf8_stricmp("", nullptr), 1);
    for_each_short_text([](const char *text) {
        ASSERT_EQ(upnp_utf8_stricmp(text, text), 0);
        ASSERT_EQ(upnp_utf8_stricmp(text, "M"), -upnp_utf8_stricmp("M", text));
    });
}
