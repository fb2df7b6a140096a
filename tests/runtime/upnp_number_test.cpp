// upnp_number_test.cpp - numbers to and from text, at their limits.

#include "runtime/upnp_number.h"

#include "support/edge_text.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>

TEST(HexNumbers, StopAtTheLimitOrAtAnotherByte)
{
    static const struct {
        const char *text;
        uint32_t    max_digits;
        uint64_t    expected;
    } cases[] = {
        // clang-format off
        { "1aF", 8, 0x1AF }, { "1aF", 2, 0x1A }, { "1aF", 0, 0 },
        { "12;x", 8, 0x12 }, { "", 8, 0 },       { " 1", 8, 0 },
        { "123456789abcdef01", 17, 0x23456789ABCDEF01 },
        // clang-format on
    };
    for (const auto &c : cases)
        EXPECT_EQ(upnp_hexStringToNumber(EdgeText(c.text).data, c.max_digits),
                  c.expected)
            << c.text;
    EXPECT_EQ(upnp_hexStringToLong("fffffffe1"), 0xFFFFFFFEu);
    EXPECT_EQ(upnp_hexToi("ffffffff"), -1);

    std::string digits = "0123456789abcdefABCDEF";
    for (int c = -128; c < 256; ++c) {
        size_t at = digits.find(static_cast<char>(c));
        size_t value = at == digits.npos ? 0 : at < 16 ? at : at - 6;
        EXPECT_EQ(hexchar_to_i(c), static_cast<int>(value)) << c;
    }
}

TEST(DecimalNumbers, AreReadWithoutSignAndWrap)
{
    static const struct {
        const char *text;
        uint32_t    narrow, count;
        uint64_t    wide;
    } cases[] = {
        // clang-format off
        { "123abc", 123, 3, 123 }, { "4294967297", 1, 10, 4294967297 },
        { "007", 7, 3, 7 },        { "18446744073709551617", 1, 20, 1 },
        { "-1", 0, 0, 0 },         { " 1", 0, 0, 0 },
        { "", 0, 0, 0 },           { nullptr, 0, 0, 0 },
        // clang-format on
    };
    for (const auto &c : cases) {
        EdgeText    edge(c.text ? c.text : "");
        const char *text = c.text ? edge.data : nullptr;
        uint32_t    narrow = 99, wide = 99;
        EXPECT_EQ(upnp_atoui2(text, &narrow), c.narrow) << edge.data;
        EXPECT_EQ(upnp_string_to_longlong(text, &wide), c.wide) << edge.data;
        EXPECT_TRUE(narrow == c.count && wide == c.count) << edge.data;
        EXPECT_EQ(upnp_atoui(text), c.narrow) << edge.data;
    }
}

TEST(DecimalNumbers, TakeAPlusAndThenAMinus)
{
    static const struct {
        const char *text;
        int64_t     expected;
    } cases[] = {
        // clang-format off
        { "-12", -12 }, { "+12", 12 }, { "+-12", -12 }, { "-+12", 0 },
        { "++1", 0 },   { "--1", 0 },  { " 12", 0 },    { "-", 0 },
        { "12-3", 12 }, { "+", 0 },    { "", 0 },
        { "-9223372036854775808", INT64_MIN },
        { "18446744073709551615", -1 },
        // clang-format on
    };
    for (const auto &c : cases)
        EXPECT_EQ(upnp_ascii_to_long_long(EdgeText(c.text).data), c.expected)
            << c.text;
    EXPECT_EQ(upnp_ascii_to_long_long(nullptr), 0);
}

TEST(NumberTexts, AreCutToTheBufferAndTellTheirLength)
{
    char out[24];

    EXPECT_EQ(upnp_longToHexString(0xAB, out), 8);
    EXPECT_STREQ(out, "000000ab");
    EXPECT_EQ(upnp_longToHexString(0, nullptr), 0);
    EXPECT_EQ(upnp_uint64_to_string(UINT64_MAX, out, 16), 20);
    EXPECT_STREQ(out, "184467440737095");
    EXPECT_EQ(upnp_longlong_to_string(INT64_MIN, out, sizeof out), 20);
    EXPECT_STREQ(out, "-9223372036854775808");
    for (uint32_t size : { 3, 5 }) {
        memset(out, 'x', sizeof out);
        EXPECT_EQ(upnp_longlong_to_string(-1, out, size), 2);
        EXPECT_EQ(upnp_uint64_to_string(10, out + 8, size), 2);
        for (const char *end : { out + size - 1, out + size + 7 })
            EXPECT_TRUE(end[0] == '\0' && end[1] == 'x') << size;
    }
    EXPECT_EQ(upnp_uint64_to_string(1, out, 0), 0);
    EXPECT_EQ(upnp_longlong_to_string(1, nullptr, 8), 0);
}
