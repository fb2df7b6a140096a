// upnp_date.cpp - dates and durations as text, and back.

#include "runtime/upnp_date.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_shared.h"

#include <atomic>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static constexpr char month_names[12][4] = {
    "Jan", "Feb", "Mar", "Apr", "May", "Jun",
    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec",
};
static constexpr char day_names[7][4] = {
    "Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat",
};

static constexpr int SECONDS_PER_DAY = 86400;
static constexpr int OFFSET_UNKNOWN = 1;

static constexpr char date_format[] = "%04d-%02d-%02d";
static constexpr char time_format[] = "%02d:%02d:%02d";
static constexpr char date_time_format[] = "%04d-%02d-%02dT%02d:%02d:%02d";
static constexpr char http_format[] = "%s, %02d %s %04d %02d:%02d:%02d GMT";

namespace {
// The day on which upnp_date_getGMT last asked for the date. In one word, so
// that the threads that answer requests share it without a lock.
struct CachedDay {
    int64_t  midnight : 36;  // seconds since 1970
    uint64_t year : 16;      // since 1900
    uint64_t month : 4;
    uint64_t day : 5;
    uint64_t weekday : 3;
};

// h:mm:ss.fff; the parts that are missing are 0.
struct Duration {
    int32_t hours, minutes, seconds, fraction;
};
}

static_assert(std::atomic<CachedDay>::is_always_lock_free);

int32_t g_timeZoneOffsetInSeconds = OFFSET_UNKNOWN;

// All zero at load: the first call finds that day long gone.
static std::atomic<CachedDay> cached_day;

// TZ may have changed, which localtime_r alone does not notice.
static bool split_local(time_t seconds, struct tm *parts)
{
    tzset();
    return localtime_r(&seconds, parts);
}

static bool split_utc(time_t seconds, struct tm *parts)
{
    return gmtime_r(&seconds, parts);
}

// The last years that a tm can hold wrap.
static int year_of(const struct tm &parts)
{
    return static_cast<int>(static_cast<unsigned>(parts.tm_year) + 1900);
}

static int32_t print_date_time(const struct tm &parts, char *buffer,
                               uint32_t size)
{
    return snprintf(buffer, size, date_time_format, year_of(parts),
                    parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                    parts.tm_min, parts.tm_sec);
}

int32_t upnp_format_time_to_localdate(time_t seconds, char *buffer,
                                      uint32_t size)
{
    struct tm parts;

    if (!split_local(seconds, &parts))
        return 0;
    return print_date_time(parts, buffer, size);
}

int32_t upnp_format_time_to_localtime(time_t seconds, char *buffer,
                                      uint32_t size)
{
    struct tm parts;

    if (!split_local(seconds, &parts))
        return 0;
    return snprintf(buffer, size, time_format, parts.tm_hour, parts.tm_min,
                    parts.tm_sec);
}

int32_t upnp_date_convertToGMT(time_t seconds, char *buffer, uint32_t size)
{
    struct tm parts;

    if (!split_utc(seconds, &parts))
        return 0;
    return snprintf(buffer, size, date_format, year_of(parts), parts.tm_mon + 1,
                    parts.tm_mday);
}

int32_t upnp_time_convertToGMT(time_t seconds, char *buffer, uint32_t size)
{
    struct tm parts;

    if (!split_utc(seconds, &parts))
        return 0;
    return print_date_time(parts, buffer, size);
}

int32_t upnp_time_convertToLocaltime(time_t seconds, char *buffer,
                                     uint32_t size)
{
    return upnp_format_time_to_localdate(seconds, buffer, size);
}

// Asks for today's date; whether there is one.
static bool fetch_day(CachedDay *day, int64_t *second_of_day)
{
    time_t    now = time(nullptr);
    struct tm parts;

    if (!split_utc(now, &parts))
        return false;

    *second_of_day = parts.tm_hour * 3600 + parts.tm_min * 60 + parts.tm_sec;
    day->midnight = now - *second_of_day;
    day->year = static_cast<uint64_t>(parts.tm_year);
    day->month = static_cast<uint64_t>(parts.tm_mon);
    day->day = static_cast<uint64_t>(parts.tm_mday);
    day->weekday = static_cast<uint64_t>(parts.tm_wday);
    return true;
}

int32_t upnp_date_getGMT(char *buffer, uint32_t size)
{
    CachedDay day = cached_day.load(std::memory_order_relaxed);
    int64_t   second_of_day = time(nullptr) - day.midnight;

    // A clock set back keeps the cached date, and the hour becomes negative.
    if (second_of_day >= SECONDS_PER_DAY) {
        if (!fetch_day(&day, &second_of_day))
            return 0;
        cached_day.store(day, std::memory_order_relaxed);
    }
    return snprintf(buffer, size, http_format, day_names[day.weekday % 7],
                    static_cast<int>(day.day), month_names[day.month % 12],
                    static_cast<int>(day.year) + 1900,
                    static_cast<int>(second_of_day / 3600),
                    static_cast<int>(second_of_day % 3600 / 60),
                    static_cast<int>(second_of_day % 60));
}

void upnp_date_formatGMT(time_t seconds, UpnpString **out)
{
    struct tm parts;

    if (!out)
        return;
    upnp_string_safe_free(out);

    if (split_utc(seconds, &parts))
        *out = upnp_string_sprintf(nullptr, http_format,
                                   day_names[parts.tm_wday], parts.tm_mday,
                                   month_names[parts.tm_mon], year_of(parts),
                                   parts.tm_hour, parts.tm_min, parts.tm_sec);
}

void convert_time_iso8601_to_rfc822(char *text, uint32_t size)
{
    UpnpString *date = nullptr;

    if (!text || !size)
        return;

    upnp_date_formatGMT(upnp_convert_date_time_string_to_numeric(text), &date);
    if (!date)
        return;
    strncpy(text, date->buffer, size);
    text[size - 1] = '\0';
    upnp_string_free(date);
}

static int32_t number_at(const char *text)
{
    return static_cast<int32_t>(strtol(text, nullptr, 10));
}

// The text behind the next separator, null if there is none or no text.
static const char *behind(const char *text, char separator)
{
    const char *found = text ? strchr(text, separator) : nullptr;

    return found ? found + 1 : nullptr;
}

static int32_t number_or_zero(const char *text)
{
    return text ? number_at(text) : 0;
}

// Works the offset out once; whether it is known now.
static bool know_time_zone()
{
    struct tm utc, local;

    if (shared::load(g_timeZoneOffsetInSeconds) != OFFSET_UNKNOWN)
        return true;
    if (!split_utc(0, &utc) || !split_local(0, &local))
        return false;

    int hours = utc.tm_hour - local.tm_hour;
    int minutes = utc.tm_min - local.tm_min;
    if (utc.tm_yday != local.tm_yday)
        hours += 24;

    shared::store(g_timeZoneOffsetInSeconds, hours * 3600 + minutes * 60);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM,
                  "upnp_convert_date_time_string_to_numeric",
                  "Timezone offset is %d:%02d", hours, minutes);
    return true;
}

// The wall clock is read as local standard time, and the zone's offset is
// taken off again: what comes out are the same numbers in UTC.
uint32_t upnp_convert_date_time_string_to_numeric(const char *text)
{
    struct tm parts = {};

    if (!text)
        return 0;

    const char *month = behind(text, '-');
    const char *day = behind(month, '-');
    const char *hour = behind(day, 'T');
    if (!hour)
        hour = behind(text, ' ');
    const char *minute = behind(hour, ':');
    const char *second = behind(minute, ':');

    // Numbers beyond all calendars wrap.
    parts.tm_year =
        static_cast<int>(static_cast<unsigned>(number_at(text)) - 1900);
    parts.tm_mon =
        static_cast<int>(static_cast<unsigned>(number_or_zero(month)) - 1);
    parts.tm_mday = number_or_zero(day);
    parts.tm_hour = number_or_zero(hour);
    parts.tm_min = number_or_zero(minute);
    parts.tm_sec = number_or_zero(second);

    time_t seconds = mktime(&parts);
    if (!know_time_zone())
        return 0;
    return static_cast<uint32_t>(seconds) -
           static_cast<uint32_t>(shared::load(g_timeZoneOffsetInSeconds));
}

// Whether text begins with a number of this many digits within the bounds.
static bool has_number(const char *text, uint32_t digits, uint32_t lowest,
                       uint32_t highest)
{
    uint32_t count;
    uint32_t value = upnp_atoui2(text, &count);

    return count == digits && value >= lowest && value <= highest;
}

int32_t upnp_date_is_valid(const char *text)
{
    return text && has_number(text, 4, 0, 9999) && text[4] == '-' &&
           has_number(text + 5, 2, 1, 12) && text[7] == '-' &&
           has_number(text + 8, 2, 1, 31);
}

static Duration read_duration(const char *text)
{
    const char *minutes = behind(text, ':');
    const char *seconds = behind(minutes, ':');
    const char *fraction = behind(seconds, '.');

    return { number_or_zero(text), number_or_zero(minutes),
             number_or_zero(seconds), number_or_zero(fraction) };
}

uint32_t upnp_convert_time_to_long(const char *text)
{
    Duration time = read_duration(text);

    return static_cast<uint32_t>(time.hours) * 3600000u +
           static_cast<uint32_t>(time.minutes) * 60000u +
           static_cast<uint32_t>(time.seconds) * 1000u +
           static_cast<uint32_t>(time.fraction);
}

uint64_t upnp_convert_duration_string_to_numeric(const char *text)
{
    Duration time = read_duration(text);
    uint32_t minutes = static_cast<uint32_t>(time.minutes);
    uint32_t seconds = static_cast<uint32_t>(time.seconds);

    if (minutes > 59 || seconds > 59)
        return 0;

    // Hours beyond 32 bits of seconds wrap, and may come out negative.
    int32_t total = static_cast<int32_t>(
        static_cast<uint32_t>(time.hours) * 3600u + minutes * 60 + seconds);
    return static_cast<uint64_t>(int64_t{ total } * 1000 + time.fraction);
}

int32_t upnp_format_time(int32_t ms, char *buffer)
{
    return sprintf(buffer, time_format, ms / 3600000, ms % 3600000 / 60000,
                   ms % 3600000 % 60000 / 1000);
}

char *upnp_duration_to_string(uint64_t ms)
{
    char     text[100] = {};
    unsigned hours = static_cast<unsigned>(ms / 3600000);
    unsigned minutes = static_cast<unsigned>(ms / 60000 % 60);
    unsigned seconds = static_cast<unsigned>(ms / 1000 % 60);
    unsigned rest = static_cast<unsigned>(ms % 1000);

    if (rest)
        snprintf(text, sizeof text, "%u:%02u:%02u.%03u", hours, minutes,
                 seconds, rest);
    else
        snprintf(text, sizeof text, "%u:%02u:%02u", hours, minutes, seconds);
    return upnp_strdup_impl(text);
}
