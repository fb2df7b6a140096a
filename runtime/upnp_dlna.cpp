// upnp_dlna.cpp - DLNA flags, the fields of protocolInfo, and image sizes.

#include "runtime/upnp_dlna.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <stdio.h>
#include <string.h>

static constexpr char     flags_mark[] = "DLNA.ORG_FLAGS=";
static constexpr size_t   FLAG_DIGITS = 8;
static constexpr uint32_t HIGHEST_BIT = 32;  // taken as bit 0

static constexpr uint32_t MOST_MILLISECONDS = 999;
static constexpr uint32_t MOST_SECONDS = 59;
static constexpr uint32_t MOST_MINUTES = 59;
static constexpr uint32_t MOST_HOURS = 99999;
static constexpr size_t   DURATION_BYTES = 16;

namespace {
struct JpegProfile {
    int32_t     max_width;
    int32_t     max_height;
    const char *name;
};
}

// The first row that holds the image wins.
// clang-format off
static constexpr JpegProfile jpeg_profiles[] = {
    {  160,  160, "JPEG_TN" },
    {  640,  480, "JPEG_SM" },
    { 1024,  768, "JPEG_MED" },
    { 4096, 4096, "JPEG_LRG" },
};
// clang-format on

// --- Flags -----------------------------------------------------------------------

// The digits in a text, or null. Those that begin with A to F are refused.
static const char *find_flags(const char *text)
{
    const char *mark = strstr(text, flags_mark);

    if (mark)
        text = mark + sizeof(flags_mark) - 1;
    if (strnlen(text, FLAG_DIGITS) < FLAG_DIGITS)
        return nullptr;
    return *text >= '0' && *text <= '9' ? text : nullptr;
}

uint32_t dlnaflagstring_flags_get_from_string(const char *text)
{
    const char *digits = text ? find_flags(text) : nullptr;
    uint32_t    flags = 0;

    if (!digits)
        return 0;
    for (size_t at = 0; at < FLAG_DIGITS; at += 2) {
        char     pair[3] = { digits[at], digits[at + 1], '\0' };
        unsigned value;

        if (sscanf(pair, "%02X", &value) != 1)
            return 0;
        flags = flags << 8 | value;
    }
    return flags;
}

int32_t dlnaflagstring_bit_get_from_string(const char *text, uint32_t bit)
{
    if (!text || bit > HIGHEST_BIT)
        return 0;
    return (dlnaflagstring_flags_get_from_string(text) >> bit % 32) & 1;
}

int32_t dlnaflagstring_bit_set_in_string(char *text, uint32_t bit)
{
    char digits[FLAG_DIGITS + 1];

    if (!text || bit > HIGHEST_BIT)
        return -1;
    const char *place = find_flags(text);
    if (!place)
        return 0;
    snprintf(digits, sizeof(digits), "%08X",
             dlnaflagstring_flags_get_from_string(text) | 1u << bit % 32);
    memcpy(text + (place - text), digits, FLAG_DIGITS);
    return 0;
}

// --- protocolInfo ------------------------------------------------------------------

char *upnp_get_protocolInfoField(const char *text, int32_t field,
                                 uint32_t *length_out)
{
    if (!length_out)
        return nullptr;
    *length_out = 0;
    if (!text || field < 1)
        return nullptr;

    for (int32_t at = 1; at < field; ++at) {
        const char *colon = strchr(text, ':');
        if (!colon)
            return nullptr;
        text = colon + 1;
    }
    // An empty field counts between two colons, but not at the end.
    if (*text == '\0')
        return nullptr;
    *length_out = static_cast<uint32_t>(strcspn(text, ":"));
    return const_cast<char *>(text);
}

int32_t upnp_get_otherParamLength(const char *text, uint32_t *name_length,
                                  uint32_t *value_length,
                                  uint32_t *total_length)
{
    uint32_t at = 0, name = 0, value = 0;
    int32_t  is_parameter = 0;

    if (text && *text) {
        name = at = static_cast<uint32_t>(upnp_find_name_end(text));
        if (name > 0 && text[name] == '=') {
            value = static_cast<uint32_t>(upnp_find_value_end(text + name + 1));
            at = name + 1 + value;
            is_parameter = text[at] == ';' || text[at] == '\0';
        }
        at += static_cast<uint32_t>(strcspn(text + at, ";"));
    }
    if (name_length)
        *name_length = name;
    if (value_length)
        *value_length = value;
    if (total_length)
        *total_length = at;
    return is_parameter;
}

// --- Images ------------------------------------------------------------------------

char *jpeg_map_dlna_profile(int32_t width, int32_t height)
{
    for (const JpegProfile &row : jpeg_profiles) {
        if (width <= row.max_width && height <= row.max_height)
            return upnp_strdup_impl(row.name);
    }
    return nullptr;
}

// A side out of range, which only absurd sizes give, ends at the range's end.
static int32_t rounded(double side)
{
    return static_cast<int32_t>(
        std::clamp(side + 0.5, double{ INT32_MIN }, double{ INT32_MAX }));
}

void get_proportional_scale(int32_t width, int32_t height, int32_t max_width,
                            int32_t max_height, int32_t *out_width,
                            int32_t *out_height)
{
    if (!out_width || !out_height)
        return;
    *out_width = max_width;
    *out_height = max_height;
    if (width == 0 || height == 0 || max_width == 0 || max_height == 0)
        return;

    double by_width = static_cast<double>(width) / max_width;
    double by_height = static_cast<double>(height) / max_height;
    if (by_width > by_height)
        *out_height = rounded(height / by_width);
    else if (by_height > by_width)
        *out_width = rounded(width / by_height);
}

// --- Durations ---------------------------------------------------------------------

// Cuts text at its last separator and returns what stands behind it, or null.
static char *split_last(char *text, char separator)
{
    char *found = strrchr(text, separator);

    if (!found)
        return nullptr;
    *found = '\0';
    return found + 1;
}

static uint32_t number_up_to(const char *text, uint32_t most)
{
    return text ? std::min(upnp_atoui(text), most) : 0;
}

void upnp_util_scrub_res_duration(char *text, char *out)
{
    uint32_t milliseconds, seconds, minutes = 0, hours = 0;

    if (!text || !out)
        return;
    milliseconds = number_up_to(split_last(text, '.'), MOST_MILLISECONDS);
    if (char *last = split_last(text, ':')) {
        char *middle = split_last(text, ':');

        seconds = number_up_to(last, MOST_SECONDS);
        minutes = number_up_to(middle ? middle : text, MOST_MINUTES);
        hours = middle ? number_up_to(text, MOST_HOURS) : 0;
    } else {
        seconds = number_up_to(text, MOST_SECONDS);
    }
    snprintf(out, DURATION_BYTES, "%05u:%02u:%02u.%03u", hours, minutes, seconds,
             milliseconds);
}
