// http_range.cpp - which part of a resource a client asks for.
//
// Searches run on to the end of the head, not of the line: what they find in
// the URL or in another header counts.

#include "http/http_range.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_string.h"

#include <stdio.h>
#include <string.h>

namespace {
struct RangeHeader {
    const char *name;
    bool        is_time;
    bool        is_protected;
};
}

// The first one that a head has decides, so bytes win over time.
// clang-format off
static constexpr RangeHeader range_headers[] = {
    { "\nRange:",               false, false },
    { "\nRange.dtcp.com:",      false, true },
    { "TimeSeekRange.dlna.org:", true,  false },
    { "X-Seek-Range:",           true,  false },
};
// clang-format on

// Times are looked for from here on, behind the dash that the name
// "X-Seek-Range" has.
static constexpr int TIME_SCAN_FROM = 12;

void upnp_timeseek_free(HttpTimeSeek *seek)
{
    if (!seek)
        return;
    if (seek->heap)
        upnp_free_impl(seek->heap);
    upnp_free_impl(seek);
}

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

static const char *skip_blanks(const char *text)
{
    return text + strspn(text, " ");
}

static void set_range(HttpRequest *request, int64_t value)
{
    request->range_start = value;
    request->range_end = value;
}

static void copy_to_seek(HttpRequest *request)
{
    request->seek_start = request->range_start;
    request->seek_end = request->range_end;
}

static bool head_has(const HttpRequest *request, const char *text)
{
    return strstr(request->header, text);
}

// The two flags of a DLNA URL that say whether the resource seeks by time and
// by bytes: what stands behind "-OP", or null without one.
static const char *operation_flags(const HttpRequest *request)
{
    const char *found = strstr(request->header, "-OP");

    return found ? found + 3 : nullptr;
}

// Reads "bytes=first-last" into the range fields. A dash right behind "=" is
// passed over: suffix ranges are not served.
static void scan_bytes(HttpRequest *request, const char *text)
{
    for (; *text && *text != '-'; ++text) {
        if (*text != '=')
            continue;
        text = skip_blanks(text + 1);
        if (is_digit(*text))
            request->range_start = upnp_ascii_to_long_long(text);
        if (!*text)
            return;
    }
    if (!*text)
        return;

    request->range_end = HTTP_RANGE_NONE;
    text = skip_blanks(text + 1);
    if (is_digit(*text))
        request->range_end = upnp_ascii_to_long_long(text);
}

static void read_byte_range(HttpRequest *request, const char *text)
{
    set_range(request, HTTP_RANGE_MALFORMED);
    if (!strstr(text, "bytes"))
        return;

    // A DLNA URL without operation flags does not seek at all.
    const char *flags = operation_flags(request);
    if (flags ? flags[0] && flags[1] == '0' : head_has(request, "DLNA-PN")) {
        set_range(request, HTTP_RANGE_REFUSED);
        return;
    }
    scan_bytes(request, text);
    copy_to_seek(request);
}

// Reads "npt=first-last" into the range fields.
static void scan_times(HttpRequest *request, const char *text)
{
    while (*text && *text != '-') {
        if (*text++ != '=')
            continue;
        text = skip_blanks(text);
        request->range_start =
            HTTP_parse_time_range(text, &request->seek_clock_format);
    }
    if (!*text)
        return;

    request->range_end = HTTP_RANGE_NONE;
    text = skip_blanks(text + 1);
    if (is_digit(*text))
        request->range_end = HTTP_parse_time_range(text, nullptr);
}

// Content that is moved interactively or in the background has no play time to
// seek in: the request itself is wrong then, and not just refused.
static int64_t refusal(const HttpRequest *request)
{
    return head_has(request, "FLAGS00d") || head_has(request, "FLAGS00f")
               ? HTTP_RANGE_MALFORMED
               : HTTP_RANGE_REFUSED;
}

static void read_time_range(HttpRequest *request, const char *text)
{
    request->is_time_seek = 1;
    set_range(request, HTTP_RANGE_MALFORMED);

    const char *flags = operation_flags(request);
    if (!flags && head_has(request, "DLNA-PN")) {
        set_range(request, refusal(request));
        return;
    }
    if (flags && head_has(request, "Background"))
        set_range(request, HTTP_RANGE_MALFORMED);
    else if (flags &&
             (flags[0] == '0' || head_has(request, "PlaySpeed.dlna.org")))
        set_range(request, refusal(request));
    else
        scan_times(request, text + TIME_SCAN_FROM);
    copy_to_seek(request);
}

void HTTP_get_range_header(HttpRequest *request)
{
    if (!request)
        return;

    set_range(request, HTTP_RANGE_NONE);
    copy_to_seek(request);
    request->is_time_seek = 0;
    request->protected_range = 0;

    // All names hold this word, and most heads do not.
    if (!upnp_istrstr(request->header, "Range"))
        return;

    for (const RangeHeader &row : range_headers) {
        const char *found = upnp_istrstr(request->header, row.name);
        if (!found)
            continue;
        request->protected_range = row.is_protected;
        if (row.is_time)
            read_time_range(request, found);
        else
            read_byte_range(request, found);
        return;
    }
}

// In 32 bits, which wrap: a clock time without a fraction is multiplied as a
// whole and mostly ends at the largest number.
int32_t HTTP_parse_time_range(const char *text, int32_t *clock_format)
{
    uint32_t value = 0, sum = 0, multiplier = 3600000;
    bool     has_digit = false, has_fraction = false;

    if (!text)
        return 0;

    for (;; ++text) {
        if (is_digit(*text)) {
            value = value * 10 + static_cast<uint32_t>(*text - '0');
            has_digit = true;
        } else if (*text == '.') {
            sum += value * 1000;
            value = 0;
            has_fraction = true;
        } else if (*text == ':') {
            sum += value * multiplier;
            multiplier /= 60;
            value = 0;
            if (clock_format)
                *clock_format = 1;
        } else if (*text != ' ') {
            break;
        }
    }
    if (!has_digit)
        return HTTP_RANGE_MALFORMED;

    int32_t ms =
        static_cast<int32_t>((sum + value) * (has_fraction ? 1 : 1000));
    return ms < 0 ? INT32_MAX : ms;
}

int32_t upnp_range_to_string(int64_t ms, char *out, uint32_t size)
{
    return snprintf(
        out, size, "%d:%d:%d.%03d", static_cast<int>(ms / 3600000 % 60),
        static_cast<int>(ms / 60000 % 60), static_cast<int>(ms / 1000 % 60),
        static_cast<int>(ms % 1000));
}
