// upnp_string_test.cpp - growing records, plain texts, and searches at their
// edges.

#include "runtime/upnp_string.h"

#include "runtime/upnp_mem.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <stdlib.h>
#include <string.h>
#include <string>

using Record = std::unique_ptr<UpnpString, decltype(&upnp_string_free)>;

static Record own(UpnpString *str)
{
    return Record(str, upnp_string_free);
}

// A plain tracked text as a std::string, "(null)" for none. Frees it.
static std::string take(char *text)
{
    std::string taken = text ? text : "(null)";
    if (text)
        upnp_free_impl(text);
    return taken;
}

// The text of a record whose three fields fit together.
static std::string text_of(const Record &str)
{
    if (!str)
        return "(null)";
    EXPECT_LT(str->length, str->capacity);
    EXPECT_EQ(str->buffer[str->length], '\0');
    return std::string(str->buffer, str->length);
}

TEST(UpnpString, GrowsByDoublingOrToFit)
{
    static const struct {
        const char *why, *start;
        uint32_t    capacity, appended, expected;
    } cases[] = {
        { "fits to the last byte", "12345", 10, 4, 10 },
        { "one too many doubles", "12345", 10, 5, 20 },
        { "more than double", "12345", 10, 50, 56 },
        { "no room at all", "", 0, 1, 2 },
        { "start does not fit", "12345", 3, 0, 6 },
        { "start takes the room", "12345", 5, 0, 10 },
        { "nothing, no room", nullptr, 0, 0, 1 },
    };
    for (const auto &c : cases) {
        std::string more(c.appended, 'x');
        UpnpString *a = upnp_string_create(c.start, c.capacity);
        UpnpString *b = upnp_string_create(c.start, c.capacity);
        Record      concat = own(upnp_string_concat(a, more.c_str()));
        Record      add = own(upnp_string_add(b, more.data(), c.appended));
        EXPECT_EQ(concat->capacity, c.expected) << c.why;
        EXPECT_EQ(add->capacity, c.expected) << c.why;
        EXPECT_EQ(text_of(concat), (c.start ? c.start : "") + more) << c.why;
        EXPECT_EQ(text_of(add), text_of(concat)) << c.why;
    }
}

TEST(UpnpString, ANullRecordStartsOneWithRoomToSpare)
{
    Record concat = own(upnp_string_concat(nullptr, nullptr));
    Record add = own(upnp_string_add(nullptr, nullptr, 0));
    Record bytes = own(upnp_string_add(nullptr, "a\0b", 3));

    EXPECT_EQ(concat->capacity, 256u);
    EXPECT_EQ(add->capacity, 256u);
    EXPECT_EQ(bytes->capacity, 259u);
    EXPECT_EQ(text_of(bytes), std::string("a\0b", 3));
    EXPECT_EQ(upnp_string_concat_string(nullptr, add.get()), nullptr);
}

TEST(UpnpString, AppendsItselfWhileItsBufferMoves)
{
    UpnpString *str = upnp_string_create("abc", 4);

    str = upnp_string_concat(str, str->buffer);
    str = upnp_string_add(str, str->buffer + 2, 3);
    str = upnp_string_concat_string(str, str);
    EXPECT_STREQ(str->buffer, "abcabccababcabccab");
    str = upnp_string_cut(str, 16);
    str = upnp_string_concat_and_convert(str, str->buffer, 1);
    str = upnp_string_sprintf(str, "<%s>", str->buffer);
    EXPECT_STREQ(str->buffer, "abab<abab>");
    upnp_string_safe_free(&str);
    EXPECT_EQ(str, nullptr);
}

TEST(UpnpString, ConvertingReservesDouble)
{
    static const struct {
        size_t   n;
        uint32_t expected;
    } cases[] = { { 7, 16 }, { 8, 32 }, { 31, 32 }, { 32, 65 } };

    for (const auto &c : cases) {
        std::string text(c.n, 'x');
        Record      str = own(upnp_string_concat_and_convert(
                 upnp_string_create("", 16), text.c_str(), 1));
        EXPECT_EQ(str->capacity, c.expected);
        EXPECT_EQ(text_of(str), text);
    }
    Record latin = own(upnp_string_concat_and_convert(nullptr, "\xC3\xA4", 0));
    EXPECT_EQ(text_of(latin), "\xE4");
    EXPECT_EQ(
        upnp_string_concat_and_convert(upnp_string_create("x", 2), nullptr, 1),
        nullptr);
}

TEST(UpnpString, FormatsAtAnyLength)
{
    for (size_t n : { 0, 4095, 4096, 10000 }) {
        std::string text(n, 'x');
        Record str = own(upnp_string_sprintf(upnp_string_create("a", 2), "%s%d",
                                             text.c_str(), 7));
        EXPECT_EQ(text_of(str), "a" + text + "7");
    }
}

TEST(UpnpString, TakesBytesOffBothEnds)
{
    static const struct {
        uint32_t    n;
        const char *cut, *shifted;
    } cases[] = {
        { 0, "abc", "abc" },
        { 1, "ab", "bc" },
        { 3, "", "" },
        { UINT32_MAX, "", "" },
    };
    for (const auto &c : cases) {
        Record a = own(upnp_string_cut(upnp_string_create("abc", 9), c.n));
        Record b = own(upnp_string_create("abc", 9));
        upnp_string_shift_left(b.get(), c.n);
        EXPECT_EQ(text_of(a), c.cut);
        EXPECT_EQ(text_of(b), c.shifted);
        EXPECT_EQ(upnp_string_is_empty(a.get()), *c.cut == '\0');
        upnp_string_empty(b.get());
        EXPECT_EQ(take(upnp_string_copy_cstring(b.get())), "");
    }
    UpnpString bare = { 5, 0, nullptr };
    upnp_string_empty(nullptr);
    upnp_string_shift_left(&bare, 1);
    EXPECT_EQ(upnp_string_cut(&bare, 1), &bare);
    EXPECT_EQ(upnp_string_get_length(&bare), 0u);
    EXPECT_EQ(upnp_string_copy_cstring(nullptr), nullptr);
    EXPECT_EQ(upnp_string_replace2(&bare, "a", "b"), nullptr);
}

TEST(PlainText, ReplacesLeftToRightInExactCase)
{
    static const struct {
        const char *text, *find, *replacement, *expected;
    } cases[] = {
        { "aaa", "a", "bb", "bbbbbb" },
        { "aaa", "aa", "b", "ba" },
        { "abcabc", "b", nullptr, "acac" },
        { "abcabc", "abc", "", "" },
        { "&&&&&&&", "&", "[+]", "[+][+][+][+][+][+][+]" },
        { "abc", "B", "x", "abc" },
        { "abc", "", "x", "abc" },
        { "", "a", "x", "" },
        { nullptr, "a", "x", "(null)" },
    };
    for (const auto &c : cases) {
        EXPECT_EQ(take(upnp_string_replace(c.text, c.find, c.replacement)),
                  c.expected);
        if (!c.text)
            continue;
        Record str = own(upnp_string_replace2(
            upnp_string_concat(nullptr, c.text), c.find, c.replacement));
        EXPECT_EQ(text_of(str), c.replacement ? c.expected : "(null)");
    }
    static const char text[] = "abc";
    EXPECT_EQ(upnp_string_replace_or_copy(text, "x", "y", 0), text);
    EXPECT_EQ(upnp_string_replace2(upnp_string_create("a", 9), nullptr, ""),
              nullptr);
    EXPECT_EQ(take(upnp_string_delete("a-b-c", "-")), "abc");
}

TEST(PlainText, JoinsStripsAndTurnsSlashes)
{
    static const struct {
        const char *a, *b, *expected;
    } joins[] = { { "ab", "cd", "abcd" },  { "", "cd", "cd" },
                  { nullptr, "cd", "cd" }, { "ab", nullptr, "ab" },
                  { "ab", "", "ab" },      { "", nullptr, "(null)" } };
    for (const auto &c : joins)
        EXPECT_EQ(take(upnp_string_append(c.a, c.b)), c.expected);

    char blanks[] = " \r\n", padded[] = " a\v \t\r\n", path[] = "a\\b/\\c";
    EXPECT_STREQ(upnp_string_strip_trailing_whitespaces(blanks), "");
    EXPECT_STREQ(upnp_string_strip_trailing_whitespaces(padded), " a\v");
    EXPECT_EQ(std::string(padded, sizeof(padded)),
              std::string(" a\v\0\0\0\0\0", 8));
    EXPECT_STREQ(to_unix_path(path), "a/b//c");
    EXPECT_EQ(to_unix_path(nullptr), nullptr);
}

TEST(OutOfMemory, GivesTheWholeTextOrNull)
{
    auto check = [](std::string text, const char *whole) {
        EXPECT_TRUE(text == whole || text == "(null)") << text;
    };
    testing::internal::CaptureStderr();
    for_each_failing_allocation([&] {
        check(text_of(own(upnp_string_create("12345", 2))), "12345");
        check(text_of(own(upnp_string_sprintf(nullptr, "x%d", 1))), "x1");
        check(take(upnp_string_replace("axa", "a", "bb")), "bbxbb");
        check(text_of(own(upnp_string_replace2(upnp_string_create("axa", 4),
                                               "a", "bb"))),
              "bbxbb");
        check(take(upnp_string_append("a", "b")), "ab");
    });
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "upnp_string_vsprintf: out of memory: x%d\n");

    // Lengths beyond 32 bits are out of memory too, before a byte is read.
    EXPECT_EQ(upnp_string_add(upnp_string_create("x", 4), "y", UINT32_MAX),
              nullptr);
    EXPECT_EQ(upnp_string_add(nullptr, "y", UINT32_MAX), nullptr);
}

TEST(OutOfMemory, AFailedGrowthCostsTheRecord)
{
    for (int way = 0; way < 3; ++way) {
        UpnpString *str = upnp_string_create("abc", 4);
        fail_allocation_after(way == 2 ? 1 : 0);
        str = way == 0   ? upnp_string_concat(str, "defg")
              : way == 1 ? upnp_string_add(str, "defg", 4)
                         : upnp_string_concat_and_convert(str, "defg", 1);
        fail_allocation_after(-1);
        EXPECT_EQ(str, nullptr);
    }
}

TEST(Istrstr, FindsTheFirstMatchInAnyCase)
{
    std::string long_needle(1024, 'n');
    std::string long_haystack = "N" + long_needle + "n";
    std::string too_long = long_needle + "n";

    const struct {
        const char *haystack, *needle;
        int         expected;  // -1 for none
    } cases[] = {
        { "Content-Length: 5", "LENGTH", 8 },
        { "aabaabaaab", "AABAAA", 3 },
        { "[]{}", "{", 2 },
        { "@`", "`", 1 },
        { "abc", "abcd", -1 },
        { "abc", "", -1 },
        { "", "a", -1 },
        { nullptr, "a", -1 },
        { "a", nullptr, -1 },
        { long_haystack.c_str(), long_needle.c_str(), 0 },
        { long_haystack.c_str(), too_long.c_str(), -1 },
    };
    for (const auto &c : cases) {
        const char *found = upnp_istrstr(c.haystack, c.needle);
        EXPECT_EQ(found ? found - c.haystack : -1, c.expected) << c.needle;
    }
}

TEST(Istrstr, AgreesWithStrcasestrUpToThePageEdge)
{
    std::minstd_rand random(1);
    auto             text = [&](size_t most) {
        std::string made(random() % most + 1, ' ');
        for (char &c : made)
            c = "aAbB@`\xE1"[random() % 100 < 97 ? random() % 4 : random() % 7];
        return made;
    };
    for (int round = 0; round < 4000; ++round) {
        EdgeText haystack(text(100)), needle(text(9));
        EXPECT_EQ(upnp_istrstr(haystack.data, needle.data),
                  strcasestr(haystack.data, needle.data))
            << haystack.data << " / " << needle.data;
    }
}

TEST(Comparison, HasItsRulesForCaseNullAndEmpty)
{
    static const struct {
        const char *text, *other;
        int         starts, ends, equal, equal_case;
    } cases[] = {
        { "clip.mp4", "clip.mp4", 1, 1, 1, 1 },
        { "clip.mp4", "CLIP.MP4", 1, 1, 1, 0 },
        { "clip.mp4", ".MP4", 0, 1, 0, 0 },
        { "clip.mp4", "Clip", 1, 0, 0, 0 },
        { "mp4", "", 1, 0, 0, 0 },
        { "", "", 1, 0, 1, 1 },
        { "", nullptr, 0, 0, 0, 0 },
        { nullptr, nullptr, 0, 0, 0, 0 },
    };
    for (const auto &c : cases) {
        EXPECT_EQ(upnp_starts_with(c.text, c.other), c.starts) << c.other;
        EXPECT_EQ(upnp_ends_with(c.text, c.other), c.ends) << c.other;
        EXPECT_EQ(upnp_util_strings_equal(c.text, c.other, 0, 0), c.equal);
        EXPECT_EQ(upnp_util_strings_equal(c.text, c.other, 1, 0), c.equal_case);
    }
    EXPECT_EQ(upnp_util_strings_equal(nullptr, nullptr, 1, 1), 1);
}

TEST(Scanner, StopsWhereItsClassEnds)
{
    static const struct {
        const char *text;
        int         numeric, blank, name_end, value_end, separator;
    } cases[] = {
        { "", 1, 1, 0, 0, 0 },        { "-", 1, 0, 1, 1, 1 },
        { "-12", 1, 0, 3, 3, 3 },     { "+1", 0, 0, 0, 2, 2 },
        { "--1", 0, 0, 3, 3, 3 },     { " \t\r\n", 0, 1, 0, 0, 4 },
        { "\v", 0, 0, 0, 0, 1 },      { "abc=def", 0, 0, 3, 3, 3 },
        { "a/b,c d", 0, 0, 1, 5, 7 }, { "aZ09._;x", 0, 0, 6, 6, 6 },
        { "\xE4", 0, 0, 0, 0, 1 },
    };
    for (const auto &c : cases) {
        EdgeText text(c.text);
        EXPECT_EQ(upnp_isnumeric(text.data), c.numeric) << c.text;
        EXPECT_EQ(upnp_util_string_is_empty(text.data), c.blank) << c.text;
        EXPECT_EQ(upnp_find_name_end(text.data), c.name_end) << c.text;
        EXPECT_EQ(upnp_find_value_end(text.data), c.value_end) << c.text;
        EXPECT_EQ(upnp_string_find_separator(text.data, ";="), c.separator);
    }
    EXPECT_EQ(upnp_isnumeric(nullptr), 0);
    EXPECT_EQ(upnp_util_string_is_empty(nullptr), 1);
    EXPECT_EQ(upnp_find_name_end(nullptr), 0);
    EXPECT_EQ(upnp_string_find_separator(nullptr, ";"), -1);
    EXPECT_EQ(upnp_skip_white_space(nullptr), nullptr);
}

TEST(Case, FoldsLettersOnlyAndKeepsTheSign)
{
    for (int c : { '@', '[', '`', '{', '5' }) {
        EXPECT_EQ(upnp_tolower(c), c);
        EXPECT_EQ(upnp_toupper(c), c);
    }
    EXPECT_EQ(upnp_tolower('A') + upnp_tolower('Z'), 'a' + 'z');
    EXPECT_EQ(upnp_toupper('a') + upnp_toupper('z'), 'A' + 'Z');
    EXPECT_EQ(upnp_tolower(0xC4), -60);
    EXPECT_EQ(upnp_toupper(-28), -28);
}
