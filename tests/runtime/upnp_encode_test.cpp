// upnp_encode_test.cpp - base64, URL escapes, the scramble, comma lists and
// argument vectors, also for malformed texts and without memory.

#include "runtime/upnp_encode.h"

#include "runtime/upnp_argv.h"
#include "runtime/upnp_csv.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"
#include "support/take.h"

#include <gtest/gtest.h>
#include <random>
#include <string.h>
#include <string>
#include <vector>

using Texts = std::vector<std::string>;

static char *bin_to_base64(const char *text)
{
    return upnp_bin_to_base64(text, static_cast<uint32_t>(strlen(text)));
}

template <int32_t raw> static char *to_encoded_url(const char *text)
{
    return upnp_string_to_encoded_url(text, raw);
}

static std::string repeat(int count, const char *text)
{
    std::string repeated;
    while (count-- > 0)
        repeated += text;
    return repeated;
}

TEST(Encoders, GiveTheseTextsOrNullWithoutMemory)
{
    static constexpr auto from64 = upnp_string_from_base64;
    static constexpr auto to64 = upnp_string_to_base64;
    static constexpr auto from_url = upnp_string_from_encoded_url;
    static constexpr auto to_url = to_encoded_url<0>;
    static constexpr auto raw_to_url = to_encoded_url<1>;
    static const struct {
        const char *why;
        char *(*convert)(const char *);
        std::string text, expected;
    } cases[] = {
        // clang-format off
        { "one left over is padded",    to64,          "a",      "YQ==" },
        { "two are not",                to64,          "ab",     "YWI" },
        { "none is left over",          to64,          "abc",    "YWJj" },
        { "empty",                      to64,          "",       "" },
        { "two bytes are padded",       bin_to_base64, "ab",     "YWI=" },
        { "no bytes",                   bin_to_base64, "",       "" },
        { "without padding",            from64, "YWI",           "ab" },
        { "padding ends it",            from64, "YWI=YWI",       "ab" },
        { "one character has no byte",  from64, "Y",             "" },
        { "six bits too many",          from64, "YWJjZ",         "abc" },
        { "other bytes are skipped",    from64, "\xFFY-W\r\nJj", "abc" },
        { "nothing but padding",        from64, "====",          "" },

        { "blanks",                     from_url, "a%20b+c",   "a b c" },
        { "digits of either case",      from_url, "%c3%A9",    "\xC3\xA9" },
        { "cut off",                    from_url, "a%2",       "a" },
        { "cut off at once",            from_url, "a%",        "a" },
        { "other digits count as 0",    from_url, "%4G%G4",    "@\x04" },
        { "even a sign",                from_url, "%%41\xE9",  "\x04" "1\xE9" },
        { "empty",                      from_url, "",          "" },

        { "what stays",          raw_to_url, "azAZ09$.:?@_", "azAZ09$.:?@_" },
        { "what does not",       raw_to_url, "/-~& ",       "%2F%2D%7E%26%20" },
        { "Latin-1",             to_url,     "\xE9",         "%E9" },
        { "UTF-8",               raw_to_url, "\xC3\xA9",     "%E9" },
        { "takes any next byte", raw_to_url, "\xE9/",        "%EF" },
        { "dropped at the end",  raw_to_url, "a\xE9",        "a" },
        { "three lose one",      raw_to_url, "\xE2\x82\xAC", "%E2%AC" },
        { "stray bytes",         raw_to_url, "\x80\xBF",     "%80%BF" },
        { "empty",               to_url,     "",             "" },
        { "long", raw_to_url, repeat(900, "x//"), repeat(900, "x%2F%2F") },
        // clang-format on
    };
    for (const auto &c : cases)
        for_each_failing_allocation([&] {
            std::string text = take(c.convert(EdgeText(c.text).data));
            EXPECT_EQ(text, allocation_has_failed() ? "(null)" : c.expected)
                << c.why;
        });
    for (auto convert : { from64, to64, from_url, to_url, raw_to_url })
        EXPECT_EQ(convert(nullptr), nullptr);
    EXPECT_EQ(upnp_bin_to_base64(nullptr, 0), nullptr);
}

TEST(Base64, BringsBackAnyBytesThroughAnyLineLength)
{
    std::mt19937 random(1);
    for (uint32_t n = 0; n < 300; ++n) {
        std::string bytes(n, '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(random());
        std::string text = take(upnp_bin_to_base64(EdgeBytes(bytes).data, n));
        ASSERT_EQ(text.size(), (n + 2) / 3 * 4);
        for (size_t at = n % 7 + 1; at < text.size(); at += n % 7 + 2)
            text.insert(at, "\n");

        char *back = upnp_string_from_base64(EdgeText(text).data);
        ASSERT_EQ(std::string(back, n), bytes) << n;
        upnp_free_impl(back);
    }
}

TEST(Scramble, IsReadInsideTheBufferWhateverTheText)
{
    static const struct {
        const char      *why, *text;
        std::string_view expected;  // as many bytes as the buffer has
    } cases[] = {
        // clang-format off
        { "too short",           "::",           "xxxx" },
        { "not scrambled",       "abcd",         { "\0\0\0\0", 4 } },
        { "no digits",           "::5",          { "\0\0\0\0", 4 } },
        { "room for all",        "::04142",      { "AB\0" "2\0", 5 } },
        { "key 5 turns 6 by 5",  "::5866676",    { "abc\0" "68", 6 } },
        { "key 15 turns 2 by 1", "::F07",        { "a\0", 2 } },
        { "odd digit dropped",   "::0414",       { "A\0" "4\0", 4 } },
        { "lone digit",          "::04",         { "\0\0\0\0", 4 } },
        { "cut at size",         "::041424344",  { "AB\0" "2", 4 } },
        { "cut, then turned",    "::2414243",    { "@?\0" "1", 4 } },
        { "digits that are none", "::z~~41",     { "\0A\0" "1", 4 } },
        { "one byte",            "::04142",      { "\0", 1 } },
        // clang-format on
    };
    for (const auto &c : cases) {
        EdgeBytes out(std::string(c.expected.size(), 'x'));
        upnp_string_decrypt(EdgeText(c.text).data, out.data,
                            static_cast<uint32_t>(out.size));
        EXPECT_EQ(std::string_view(out.data, out.size), c.expected) << c.why;
    }
}

TEST(Scramble, ComesBackForAscii)
{
    const std::string longest(128, 'p');
    const struct {
        std::string text;
        size_t      length;  // of the scrambled text
        std::string back;
    } cases[] = {
        // clang-format off
        { "x",             5,   "x" },
        { "se\x01~cret",   19,  "se\x01~cret" },
        { longest,         259, longest },
        { longest + "cut", 259, longest },
        { "::04142",       7,   "AB" },
        { "",              0,   "unchanged" },
        // clang-format on
    };
    for (const auto &c : cases) {
        EdgeBytes out(std::string(2 * c.text.size() + 4, 'x'));
        upnp_string_encrypt(c.text.c_str(), out.data,
                            static_cast<uint32_t>(out.size));
        EXPECT_EQ(strlen(out.data), c.length) << c.text;

        char back[512] = "unchanged";
        upnp_string_decrypt(out.data, back, sizeof back);
        EXPECT_EQ(back, c.back) << out.data;
    }

    char out[16] = "unchanged";
    upnp_string_encrypt(nullptr, out, sizeof out);
    upnp_string_encrypt("a", out, 0);
    upnp_string_decrypt("::04142", out, 0);
    EXPECT_STREQ(out, "unchanged");
    upnp_string_encrypt("\x80\x80", out, sizeof out);
    EXPECT_STREQ(out + 3, "FFFF") << "lost";
    upnp_string_encrypt("::12345", out, 5);
    EXPECT_STREQ(out, "::12") << "cut";
    upnp_string_encrypt("ab", out, 1);
    EXPECT_EQ(strlen(out), 7u) << "whatever size says";
}

TEST(Csv, KeepsEveryField)
{
    static const struct {
        const char *text;
        Texts       fields;
    } cases[] = {
        { "a,,b", { "a", "", "b" } },
        { "", { "" } },
        { " a ,", { " a ", "" } },
    };
    for (const auto &c : cases)
        for_each_failing_allocation([&] {
            uint32_t count = 99;
            char **array = util_split_csv_split(EdgeText(c.text).data, &count);
            if (!array) {
                EXPECT_EQ(count, 99u) << "untouched";
                return;
            }
            // A failed copy is counted and ends the array.
            bool has_failed = !array[count - 1];
            EXPECT_EQ(has_failed, allocation_has_failed());
            EXPECT_TRUE(has_failed || Texts(array, array + count) == c.fields);
            util_split_csv_release(array, count);
        });
    EXPECT_EQ(util_split_csv_split(nullptr, nullptr), nullptr);
    util_split_csv_release(nullptr, 1);
}

TEST(Argv, SplitsACommandLine)
{
    static const struct {
        const char *text;
        uint8_t     first, capacity;
        int         status;
        Texts       words;
    } cases[] = {
        // clang-format off
        { "run \"a b\" c",   1,   8,   0, { "run", "a b", "c" } },
        { "run \"a b\" c",   1,   3,   0, { "run", "a b" } },
        { "a b",             254, 255, 0, { "a" } },
        { "\t\"\" \r\nb\n",  0,   4,   0, { "", "b" } },
        { "a \"b c ",        0,   4,   0, { "a", "b c " } },
        { "\"",              0,   4,   0, { "" } },
        { "a\"b c\"d",       0,   4,   0, { "a\"b", "c\"d" } },
        { "\"a\"b",          0,   4,   0, { "a", "b" } },
        { "",                0,   4,   0, {} },
        { " \t\r\n",         0,   4,   8, {} },
        { "a",               4,   4,   2, {} },
        { "a",               0,   0,   2, {} },
        // clang-format on
    };
    for (const auto &c : cases)
        for_each_failing_allocation([&] {
            EdgeText text(c.text);
            char   **argv = nullptr;
            uint32_t count = 99;
            int status = qr_util_create_argv_str(text.data, c.first, c.capacity,
                                                 &argv, &count);
            EXPECT_EQ(status, allocation_has_failed() ? 8 : c.status) << c.text;
            EXPECT_EQ(argv != nullptr, status == 0) << c.text;
            EXPECT_EQ(count, status == 0 ? c.words.size() : 0) << c.text;
            for (uint32_t i = 0; argv && i < c.first; ++i)
                EXPECT_EQ(argv[i], nullptr) << c.text;
            for (uint32_t i = 0; i < count; ++i)
                EXPECT_EQ(argv[c.first + i], c.words[i]);
            qr_util_release_argv_str(&argv, c.capacity);
            EXPECT_EQ(argv, nullptr);
        });

    uint32_t count = 99;
    EXPECT_EQ(qr_util_create_argv_str("a", 0, 1, nullptr, &count), 2);
    EXPECT_EQ(count, 0u);
    qr_util_release_argv_str(nullptr, 1);
}

TEST(Argv, IsPutTogetherAgain)
{
    char  word[] = "run", two[] = "a b", quote[] = "c\"d", empty[] = "";
    char *slots[256] = { word, two, quote, empty, nullptr };
    static const struct {
        const char *start;
        uint8_t     count, first;
        const char *expected;
    } cases[] = {
        { "", 5, 0, "run \"a b\" c\"d \"\" \"\"" },
        { "x", 1, 0, "x run" },
        { "", 2, 255, "\"\" run" },
        { "x", 0, 0, "x" },
    };
    for (const auto &c : cases)
        for_each_failing_allocation([&] {
            UpnpString *str = nullptr;
            if (*c.start && !(str = upnp_string_create(c.start, 1)))
                return;
            qr_string_argv_to_string(slots, c.count, c.first, &str);
            EXPECT_STREQ(upnp_string_get_cstring(str),
                         allocation_has_failed() ? nullptr : c.expected);
            upnp_string_free(str);
        });
    UpnpString *str = nullptr;
    qr_string_argv_to_string(slots, 1, 0, nullptr);
    qr_string_argv_to_string(nullptr, 1, 0, &str);
    EXPECT_EQ(str, nullptr);
}
