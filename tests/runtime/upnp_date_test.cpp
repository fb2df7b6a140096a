// upnp_date_test.cpp - dates and durations as text, in several time zones.

#include "runtime/upnp_date.h"

#include "support/edge_text.h"
#include "support/take.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

static constexpr time_t moment = 1246503845;  // 2009-07-02T03:04:05 UTC
static time_t           clock_now;            // 0: the real clock

// The clock of this program.
time_t time(time_t *out) noexcept
{
    struct timespec now = { clock_now, 0 };

    if (!clock_now)
        clock_gettime(CLOCK_REALTIME, &now);
    if (out)
        *out = now.tv_sec;
    return now.tv_sec;
}

static void use_zone(const char *zone)
{
    setenv("TZ", zone, 1);
    g_timeZoneOffsetInSeconds = 1;
}

TEST(DateText, FollowsTheZoneWhereItIsLocal)
{
    static const struct {
        int32_t (*format)(time_t, char *, uint32_t);
        std::string expected;
    } cases[] = {
        { upnp_format_time_to_localdate, "2009-07-01T23:04:05" },
        { upnp_format_time_to_localtime, "23:04:05" },
        { upnp_date_convertToGMT, "2009-07-02" },
        { upnp_time_convertToGMT, "2009-07-02T03:04:05" },
        { upnp_time_convertToLocaltime, "2009-07-01T23:04:05" },
    };

    use_zone("EST5EDT,M3.2.0,M11.1.0");
    for (const auto &c : cases) {
        char    text[32] = "untouched";
        int32_t length = static_cast<int32_t>(c.expected.size());
        EXPECT_EQ(c.format(INT64_MAX, text, sizeof text), 0);
        EXPECT_STREQ(text, "untouched");
        EXPECT_EQ(c.format(moment, text, sizeof text), length);
        EXPECT_EQ(text, c.expected);
        EXPECT_EQ(c.format(moment, nullptr, 0), length);
        EXPECT_EQ(c.format(moment, text, 4), length);
        EXPECT_EQ(text, c.expected.substr(0, 3));
    }
    use_zone("UTC");
}

TEST(HttpDate, FollowsTheClockOverMidnightButNotBack)
{
    static time_t midnight = 2555971200;  // past 2038; runs may be repeated
    UpnpString   *expected = nullptr;
    char          text[40];

    midnight += 10 * 86400;
    for (int second : { -20, -1, 0, 1, 86399, 86400 }) {
        clock_now = midnight + second;
        upnp_date_formatGMT(clock_now, &expected);
        EXPECT_EQ(upnp_date_getGMT(text, sizeof text), 29);
        EXPECT_STREQ(text, expected->buffer);
    }
    // Still the second day.
    clock_now = midnight + 86400 - 7200;
    EXPECT_EQ(upnp_date_getGMT(text, sizeof text), 29);
    EXPECT_EQ(text, std::string(expected->buffer, 17) + "-2:00:00 GMT");
    clock_now = 0;

    upnp_date_formatGMT(moment, &expected);
    EXPECT_STREQ(expected->buffer, "Thu, 02 Jul 2009 03:04:05 GMT");
    upnp_date_formatGMT(INT64_MAX, &expected);
    EXPECT_EQ(expected, nullptr);
    upnp_date_formatGMT(0, nullptr);
}

TEST(DateParser, TakesTheNumbersAsUtcInEachZone)
{
    static const struct {
        const char *text;
        uint32_t    seconds;
    } cases[] = {
        { "2009-07-02T03:04:05", moment },
        { "2009-07-02 03:04:05.999+05:00", moment },
        { "2009-07-02", moment - 11045 },
        { "2009-07-02T03", moment - 245 },
        { "2009-07", 1246320000 },         // day 0
        { "1970 01:00:00", 4292206096u },  // month 0, day 0: before 1970
    };

    for (const char *zone :
         { "UTC", "EST5EDT,M3.2.0,M11.1.0", "JST-9", "XXX-5:45", "YYY10:40" }) {
        use_zone(zone);
        for (const auto &c : cases) {
            EdgeText text(c.text);
            EXPECT_EQ(upnp_convert_date_time_string_to_numeric(text.data),
                      c.seconds)
                << c.text << " in " << zone;
        }
    }
    EXPECT_EQ(g_timeZoneOffsetInSeconds, 38400);
    g_timeZoneOffsetInSeconds = 38401;
    EXPECT_EQ(upnp_convert_date_time_string_to_numeric("2009-07-02T03:04:05"),
              moment - 1);
    EXPECT_EQ(upnp_convert_date_time_string_to_numeric(nullptr), 0u);
    use_zone("UTC");
}

TEST(DateParser, TurnsIsoIntoHttpInPlace)
{
    char text[30] = "2009-01-02T03:04:05", narrow[] = "2009-01-02";

    convert_time_iso8601_to_rfc822(text, sizeof text);
    EXPECT_STREQ(text, "Fri, 02 Jan 2009 03:04:05 GMT");
    convert_time_iso8601_to_rfc822(narrow, 8);
    EXPECT_STREQ(narrow, "Fri, 02");
    convert_time_iso8601_to_rfc822(narrow, 0);
    convert_time_iso8601_to_rfc822(nullptr, 8);
}

TEST(DateIsValid, LooksAtTheFirstTenBytes)
{
    for (const char *good : { "2009-12-31", "2009-02-31T10:00:00" })
        EXPECT_EQ(upnp_date_is_valid(good), 1) << good;
    for (const char *bad :
         { "2009-13-01", "2009-1-01", "09-12-31", "2009-00-01", "2009-01-32",
           "2009-01-00", "2009-01-001", "20090-01-01", "2009/01-01",
           "2009-01/01", "2009-01-", "2009-01", "2009-", "2009", "" })
        EXPECT_EQ(upnp_date_is_valid(EdgeText(bad).data), 0) << bad;
    EXPECT_EQ(upnp_date_is_valid(nullptr), 0);
}

TEST(Duration, IsReadWithAndWithoutLimits)
{
    static const struct {
        const char *text;
        uint32_t    free;
        uint64_t    checked;
    } cases[] = {
        { "1:02:03.500", 3723500, 3723500 },
        { "1:60:00", 7200000, 0 },
        { "0:00:60", 60000, 0 },
        { "0:-1:00", 4294907296u, 0 },
        { "2", 7200000, 7200000 },
        { "0:00:01.5", 1005, 1005 },
        { "0.5", 0, 0 },
        { "1193:02:47.296", 0, 4294967296 },  // 2^32 ms
        // 3600000000 s wrap to a negative number.
        { "1000000:00:00", 817405952, 0xFFFFFF5E30B8A000 },
    };

    for (const auto &c : cases) {
        EdgeText text(c.text);
        EXPECT_EQ(upnp_convert_time_to_long(text.data), c.free) << c.text;
        EXPECT_EQ(upnp_convert_duration_string_to_numeric(text.data), c.checked)
            << c.text;
    }
    EXPECT_EQ(upnp_convert_time_to_long(nullptr), 0u);
    EXPECT_EQ(upnp_convert_duration_string_to_numeric(nullptr), 0u);
}

TEST(Duration, IsWrittenInTwoForms)
{
    static const struct {
        int32_t     ms;
        const char *padded, *plain;
    } cases[] = {
        { 3661000, "01:01:01", "1:01:01" },
        { 3661500, "01:01:01", "1:01:01.500" },
        { 7, "00:00:00", "0:00:00.007" },
        { 0, "00:00:00", "0:00:00" },
        { 2147483647, "596:31:23", "596:31:23.647" },
    };

    for (const auto &c : cases) {
        char padded[16];
        upnp_format_time(c.ms, padded);
        EXPECT_STREQ(padded, c.padded);
        EXPECT_EQ(take(upnp_duration_to_string(static_cast<uint32_t>(c.ms))),
                  c.plain);
    }
}
