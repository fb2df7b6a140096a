// http_range_test.cpp - ranges of bytes and times, as heads ask for them.

#include "http/http_range.h"

#include "runtime/upnp_mem.h"
#include "support/edge_text.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>

TEST(RangeHeader, FillsTheRangeFields)
{
    enum { TIME = 1, CLOCK = 2, PROTECTED = 4 };

    // clang-format off
    static const struct {
        const char *head;
        int64_t     start, end, seek_start, seek_end;
        int         flags;
    } cases[] = {
        { "GET /", -1, -1, -1, -1, 0 },
        { "GET /Range:", -1, -1, -1, -1, 0 },
        { "\nrange: bytes=0-",        0, -1,  0, -1, 0 },
        { "\nRange: bytes= 5 -  9",   5,  9,  5,  9, 0 },
        { "\nRange: bytes=5-9,20-30", 5,  9,  5,  9, 0 },
        { "\nRange: bytes=5",         5, -2,  5, -2, 0 },
        { "\nRange: bytes=5\nX: a-7", 5,  7,  5,  7, 0 },
        { "\nRange: bytes=-500",     -2, -2, -2, -2, 0 },
        { "\nRange: bytes=-5\nX: -6", -2, 6, -2,  6, 0 },
        { "\nRange: bytes=  ",       -2, -2, -2, -2, 0 },
        { "\nRange: items=5-9",      -2, -2, -1, -1, 0 },
        { "\nRange.dtcp.com: bytes=5-9", 5, 9, 5, 9, PROTECTED },
        { "TimeSeekRange.dlna.org: npt=1-\nRange: bytes=5-9", 5, 9, 5, 9, 0 },
        { "GET /a-OP10\nRange: bytes=5-9",   -3, -3, -1, -1, 0 },
        { "GET /a-OP01\nRange: bytes=5-9",    5,  9,  5,  9, 0 },
        { "GET /DLNA-PNA\nRange: bytes=5-9", -3, -3, -1, -1, 0 },
        { "\nRange: bytes=5-9 -OP",           5,  9,  5,  9, 0 },

        { "timeseekrange.dlna.org: npt=5.250-7", 5250, 7000, 5250, 7000, TIME },
        { "TimeSeekRange.dlna.org: npt= 0:00:01.500 - 0:00:02.000",
          1500, 2000, 1500, 2000, TIME | CLOCK },
        { "TimeSeekRange.dlna.org: npt=x-",      -2, -1, -2, -1, TIME },
        { "TimeSeekRange.dlna.org: npt=-5",      -2, 5000, -2, 5000, TIME },
        { "TimeSeekRange.dlna.org: npt=5",       5000, -2, 5000, -2, TIME },
        { "X-Seek-Range: npt=5-",                5000, -1, 5000, -1, TIME },
        { "X-Seek-Range:",                       -2, -2, -2, -2, TIME },
        { "/-OP10 X-Seek-Range: npt=5-",         5000, -1, 5000, -1, TIME },
        { "/-OP01 X-Seek-Range: npt=5-",         -3, -3, -3, -3, TIME },
        { "/-OP01-FLAGS00d X-Seek-Range: npt=5-", -2, -2, -2, -2, TIME },
        { "/-OP10-FLAGS00d X-Seek-Range: npt=5-", 5000, -1, 5000, -1, TIME },
        { "/-OP10 PlaySpeed.dlna.org X-Seek-Range: npt=5-",
          -3, -3, -3, -3, TIME },
        { "/-OP10 Background X-Seek-Range: npt=5-", -2, -2, -2, -2, TIME },
        { "/DLNA-PNA X-Seek-Range: npt=5-",      -3, -3, -1, -1, TIME },
        { "/DLNA-PNA-FLAGS00f X-Seek-Range: npt=5-", -2, -2, -1, -1, TIME },
        { "X-Seek-Range: npt=5 -OP",             5000, -1, 5000, -1, TIME },
    };
    // clang-format on
    for (const auto &c : cases) {
        auto request = std::make_unique<HttpRequest>();
        strcpy(request->header, c.head);
        request->is_time_seek = request->protected_range = 9;
        HTTP_get_range_header(request.get());
        EXPECT_EQ(request->range_start, c.start) << c.head;
        EXPECT_EQ(request->range_end, c.end) << c.head;
        EXPECT_EQ(request->seek_start, c.seek_start) << c.head;
        EXPECT_EQ(request->seek_end, c.seek_end) << c.head;
        EXPECT_EQ(request->is_time_seek, !!(c.flags & TIME)) << c.head;
        EXPECT_EQ(request->seek_clock_format, !!(c.flags & CLOCK)) << c.head;
        EXPECT_EQ(request->protected_range, !!(c.flags & PROTECTED)) << c.head;
    }
    HTTP_get_range_header(nullptr);
}

TEST(TimeRange, ReadsSecondsAndClocksIn32Bits)
{
    // clang-format off
    static const struct {
        const char *text;
        int32_t     ms, clock;
    } cases[] = {
        { "", -2, 0 },             { "x1", -2, 0 },
        { ":.", -2, 1 },           { "12", 12000, 0 },
        { "12.5", 12005, 0 },      { " 1 2.500-", 12500, 0 },
        { "1.2.3", 3003, 0 },      { "1:02:03.500/", 3723500, 1 },
        { "0:00:02", 2000, 1 },    { "0:10:00", 600000000, 1 },
        { "1:00:00", INT32_MAX, 1 },  // 3600000000 wraps
        { "4294967297", 1000, 0 }, { "2147484", INT32_MAX, 0 },
    };
    // clang-format on
    for (const auto &c : cases) {
        int32_t clock = 0;
        EXPECT_EQ(HTTP_parse_time_range(EdgeText(c.text).data, &clock), c.ms)
            << c.text;
        EXPECT_EQ(clock, c.clock) << c.text;
    }
    EXPECT_EQ(HTTP_parse_time_range("0:00:02.000", nullptr), 2000);
    EXPECT_EQ(HTTP_parse_time_range(nullptr, nullptr), 0);
}

TEST(RangeToString, WrapsHoursAt60)
{
    char text[32];

    EXPECT_EQ(upnp_range_to_string(3723500, text, sizeof text), 9);
    EXPECT_STREQ(text, "1:2:3.500");
    upnp_range_to_string(60 * 3600000LL + 61001, text, sizeof text);
    EXPECT_STREQ(text, "0:1:1.001");
    EXPECT_EQ(upnp_range_to_string(5, text, 4), 9);
    EXPECT_STREQ(text, "0:0");
}

TEST(TimeSeek, FreesItsBlockToo)
{
    auto *seek = static_cast<HttpTimeSeek *>(
        upnp_calloc_impl(1, sizeof(HttpTimeSeek) + 100));

    upnp_timeseek_free(nullptr);
    seek->handler_words[0] = seek;
    seek->heap = upnp_malloc_impl(10);
    upnp_timeseek_free(seek);
    upnp_timeseek_free(
        static_cast<HttpTimeSeek *>(upnp_calloc_impl(1, sizeof *seek)));
}
