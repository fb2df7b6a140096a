// upnp_charset_test.cpp - conversions and the sort order, for sound texts and
// for every kind of broken one.

#include "runtime/upnp_charset.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_sort.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string.h>
#include <string>
#include <vector>

using Conversion = char *(*)(const char *);

// A plain tracked text as a std::string, "(null)" for none. Frees it.
static std::string take(char *text)
{
    std::string taken = text ? text : "(null)";
    if (text)
        upnp_free_impl(text);
    return taken;
}

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
        for (int first = 1; first < 256; ++first)
            for (int second = 0; second < 256; ++second) {
                std::string text(1, static_cast<char>(first));
                if (second)
                    text += static_cast<char>(second) + tail;
                char *at = edge.data + edge.size - text.size() - 1;
                memcpy(at, text.c_str(), text.size() + 1);
                check(at);
            }
}

TEST(Latin1AndUtf8, ConvertByShape)
{
    static const struct {
        const char *why;
        Conversion  convert;
        const char *text, *expected;
    } cases[] = {
        { "UTF-8 stays", upnp_strdup_to_utf8, "\xC3\xA9", "\xC3\xA9" },
        { "Latin-1", upnp_strdup_to_utf8, "\xE9", "\xC3\xA9" },
        { "low Latin-1", upnp_strdup_to_utf8, "\x80", "\xC2\x80" },
        { "no lead byte", upnp_strdup_to_utf8, "\xFE\xFF",
          "\xC3\xBE\xC3\xBF" },
        { "six bytes, overlong", upnp_strdup_to_utf8,
          "\xFC\x80\x80\x80\x80\x80", "\xFC\x80\x80\x80\x80\x80" },
        { "five of six", upnp_strdup_to_utf8, "\xFC\x80\x80\x80\x80",
          "\xC3\xBC\xC2\x80\xC2\x80\xC2\x80\xC2\x80" },
        { "a mixture", upnp_strdup_to_utf8, "\xE9t\xC3\xA9",
          "\xC3\xA9t\xC3\xA9" },
        { "null", upnp_strdup_to_utf8, nullptr, "(null)" },

        { "back", upnp_strdup_from_utf8, "\xC3\xA9\xC2\xA3", "\xE9\xA3" },
        { "Euro", upnp_strdup_from_utf8, "\xE2\x82\xAC.", "?." },
        { "four to six bytes", upnp_strdup_from_utf8,
          "\xF0\x9F\x98\x80\xF8yyyy\xFCyyyyy.", "???." },
        { "Greek vanishes", upnp_strdup_from_utf8, "\xCE\xB1", "" },
        { "stray bytes", upnp_strdup_from_utf8, "a\x80\xC0\xFE\xFF" "b", "ab" },
        { "any second byte", upnp_strdup_from_utf8, "\xC2" "A\xC3" "A", "A\x81" },
        { "a NUL made", upnp_strdup_from_utf8, "a\xC3\xC0" "b", "a" },
        { "cut off", upnp_strdup_from_utf8, "a\xC3", "a" },
        { "cut off, long", upnp_strdup_from_utf8, "a\xFC\x80", "a?" },
        { "null", upnp_strdup_from_utf8, nullptr, "(null)" },

        { "whatever it holds", upnp_util_convert_enhanced_ascii_to_utf8,
          "\xC3\xA9", "\xC3\x83\xC2\xA9" },
        { "empty", upnp_util_convert_enhanced_ascii_to_utf8, "", "(null)" },
        { "null", upnp_util_convert_enhanced_ascii_to_utf8, nullptr, "(null)" },
    };
    for (const auto &c : cases) {
        EdgeText edge(c.text ? c.text : "");
        EXPECT_EQ(take(c.convert(c.text ? edge.data : nullptr)), c.expected)
            << c.why << ": " << (c.text ? c.text : "");
    }
}

TEST(Latin1AndUtf8, HoldTheirLawsForEveryShortText)
{
    for_each_short_text([](const char *text) {
        std::string utf8 = take(upnp_strdup_to_utf8(text));
        ASSERT_EQ(take(upnp_strdup_to_utf8(utf8.c_str())), utf8);

        utf8 = take(upnp_util_convert_enhanced_ascii_to_utf8(text));
        ASSERT_EQ(take(upnp_strdup_from_utf8(utf8.c_str())), text);
        ASSERT_LE(take(upnp_strdup_from_utf8(text)).size(), strlen(text));
    });
}

TEST(Utf16, FromUtf8TakesUpToThreeBytes)
{
    static const struct {
        const char    *why, *text;
        std::u16string expected;
    } cases[] = {
        { "one to three bytes", "A\xC3\xA9\xE2\x82\xAC", u"A\u00E9\u20AC" },
        { "empty", "", u"" },
        { "four: three, and the last takes the A", "\xF0\x9F\x98\x80" "A",
          { 0x07D8, 0x0001 } },
        { "stray bytes pair up", "\x81\x82", u"B" },
        { "cut off", "A\xC3", { 'A', 0xC0 } },
        { "cut off after two", "\xE2\x82", { 0x2080 } },
        { "cut off after one", "\xE2", { 0x2000 } },
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
        { "little-endian", { "\xFF\xFE" "A\0\0\0", 6 }, "A" },
        { "big-endian", { "\xFE\xFF\0A\x20\xAC\0\0", 8 }, "A\xE2\x82\xAC" },
        { "no mark", { "A\0\xE9\0\0\0", 6 }, "A\xC3\xA9" },
        { "edges", { "\x7F\0\x80\0\xFF\x07\0\x08\xFF\xFF\0\0", 12 },
          "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF" },
        { "a pair", { "A\0\x3D\xD8\0\xDE" "B\0\0\0", 10 }, "AB" },
        { "beside the surrogates", { "\xFF\xD7\0\xE0\0\0", 6 },
          "\xED\x9F\xBF\xEE\x80\x80" },
        { "only a mark", { "\xFF\xFE\0\0", 4 }, "" },
        { "empty", { "\0\0", 2 }, "" },
    };
    for (const auto &c : cases)
        EXPECT_EQ(take(upnp_string_utf16_to_utf8(EdgeBytes(c.bytes).data)),
                  c.expected)
            << c.why;
    EXPECT_EQ(upnp_string_utf16_to_utf8(nullptr), nullptr);
    // Odd addresses will do.
    EXPECT_EQ(take(upnp_string_utf16_to_utf8(&"-A\0B\0\0"[1])), "AB");
}

TEST(Conversions, AllocateWhatTheyMeasureAndSurviveWithoutMemory)
{
    static const struct {
        std::function<void *()> convert;
        int64_t                 bytes;
    } cases[] = {
        { [] { return upnp_strdup_to_utf8("abc"); }, 7 },
        { [] { return upnp_strdup_from_utf8("abc"); }, 4 },
        { [] { return upnp_util_convert_enhanced_ascii_to_utf8("a\xE9"); }, 4 },
        { [] { return upnp_string_utf8_to_utf16("a\xC3\xA9"); }, 6 },
        { [] { return upnp_string_utf16_to_utf8("\x3D\xD8\0\xDE" "B\0\0"); },
          4 + 4 + 1 + 16 },
    };
    for (const auto &c : cases) {
        int64_t used = upnp_mem_used();
        void   *block = c.convert();
        EXPECT_EQ(upnp_mem_used() - used, c.bytes);
        upnp_free_impl(block);

        for_each_failing_allocation([&] {
            block = c.convert();
            EXPECT_NE(block == nullptr, !allocation_has_failed());
            if (block)
                upnp_free_impl(block);
        });
    }
}

TEST(ShiftJis, IsGuessedFromItsLeadBytes)
{
    static const struct {
        const char *text;
        int         expected;
    } cases[] = {
        { nullptr, 0 }, { "", 0 }, { "plain", 0 }, { "ab\x82", 1 },
        { "\x81", 1 }, { "\x9F", 1 }, { "\x80", 0 }, { "\xA0", 1 },
        { "\xC3\xA9" "ab", 0 }, { "\xC3\xA9" "a", 1 }, { "\xE9" "ab", 0 },
    };
    for (const auto &c : cases)
        EXPECT_EQ(upnp_util_is_shift_jis(c.text), c.expected)
            << (c.text ? c.text : "null");
    EXPECT_EQ(upnp_util_convert_shift_jis_to_utf8(), nullptr);
    upnp_util_set_code_page(1252);
}

TEST(NextChar, StopsAtTheNul)
{
    static const struct {
        const char *text;
        int         step;
    } cases[] = {
        { "", 0 }, { "ab", 1 }, { "\x80\x80", 1 }, { "\xC3\xA9.", 2 },
        { "\xE2\x82\xAC.", 3 }, { "\xF0\x9F\x98\x80.", 4 }, { "\xFF...." , 4 },
        { "\xC3", 1 }, { "\xE2\x82", 2 }, { "\xF0\x9F\x98", 3 },
    };
    for (const auto &c : cases) {
        EdgeText edge(c.text);
        EXPECT_EQ(upnp_utf8_next_char(edge.data) - edge.data, c.step) << c.text;
    }
    EXPECT_EQ(upnp_utf8_next_char(nullptr), nullptr);
}

TEST(SortKey, FoldsTheLatin1Letters)
{
    // Of 0xC0 to 0xFF; a blank has no fold.
    const std::string folds = "AAAAAZACEEEEIIII NOOOOO OUUUU   "
                              "AAAAAZACEEEEIIII NOOOOO OUUUU   ";
    for (int i = 0; i < 256; ++i) {
        int fold = i < 64 ? folds[static_cast<size_t>(i)] : ' ';
        EXPECT_EQ(upnp_get_utf8_sortchar(0xC3, i + 0x80),
                  fold == ' ' ? 0xC3 - 256 : fold)
            << i;
        EXPECT_EQ(upnp_get_utf8_sortchar(0xC2, i + 0xC0),
                  fold == ' ' ? 0xC2 - 256 : fold)
            << i;
    }
    EXPECT_EQ(upnp_get_utf8_sortchar(0xC2, 0xA9), 0xC2 - 256) << "sound";
    EXPECT_EQ(upnp_get_utf8_sortchar('a', 0xA9), 'a');
    EXPECT_EQ(upnp_get_utf8_sortchar(static_cast<char>(0xE2), 0), 0xE2 - 256);
}

TEST(SortOrder, FoldsCaseAndAccents)
{
    static const struct {
        const char *why, *a, *b;
        int         expected;
    } cases[] = {
        { "nulls", nullptr, nullptr, 0 },
        { "null first", nullptr, "", -1 },
        { "case", "abc", "ABC", 0 },
        { "shorter first", "ab", "abc", -1 },
        { "accent", "\xC3\xA9t\xC3\xA9", "ETE", 0 },
        { "a-ring is z", "\xC3\xA5", "z", 0 },
        { "Greek, same lead", "\xCE\xB1", "\xCE\xB2", 0 },
        { "high before ASCII", "\xCE\xB1", "a", -1 },
        { "three bytes count", "\xE2\x82\xAC", "\xE2\x82\xAD", -1 },
        { "as signed bytes", "\xE2\x82", "\xE2\x82\xAC", 1 },
        { "four: only three count", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x81", 0 },
        { "cut off, equal", "\xF0\x9F", "\xF0\x9F", 0 },
        { "cut off, two bytes", "\xC3", "\xC3", 0 },
    };
    for (const auto &c : cases) {
        EdgeText    edge_a(c.a ? c.a : ""), edge_b(c.b ? c.b : "");
        const char *a = c.a ? edge_a.data : nullptr;
        const char *b = c.b ? edge_b.data : nullptr;
        EXPECT_EQ(upnp_utf8_stricmp(a, b), c.expected) << c.why;
        EXPECT_EQ(upnp_utf8_stricmp(b, a), -c.expected) << c.why;
    }
    for_each_short_text([](const char *text) {
        ASSERT_EQ(upnp_utf8_stricmp(text, text), 0);
        ASSERT_EQ(upnp_utf8_stricmp(text, "M"), -upnp_utf8_stricmp("M", text));
    });
}
