// upnp_charset.cpp - conversions between UTF-8, Latin-1 and UTF-16.
//
// Every conversion works out or bounds its size and allocates once. Whatever a
// lead byte announces, no conversion reads on behind the NUL: strnlen tells how
// many bytes of a character are there.

#include "runtime/upnp_charset.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_text.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <string.h>

// Behind the measured size of a text from UTF-16.
static constexpr uint64_t UTF16_SPARE_BYTES = 16;

namespace {
struct Utf16Reader {
    const uint8_t *at;
    bool           is_big_endian;
};
}

// For the program alone: nothing here reads it.
static std::atomic<int32_t> code_page = 932;

// Bytes of the sequence that a lead byte begins, 2 to 6; 0 for other bytes.
static size_t sequence_bytes(char lead)
{
    int ones = std::countl_one(static_cast<uint8_t>(lead));
    return ones >= 2 && ones <= 6 ? static_cast<size_t>(ones) : 0;
}

static bool is_ascii(char c)
{
    return static_cast<uint8_t>(c) < 0x80;
}

static bool is_continuation(char c)
{
    return (c & 0xC0) == 0x80;
}

// Bytes of the sequence of UTF-8 that stands here; 0 if there is none. Only the
// shape counts: overlong forms and surrogates pass.
static size_t whole_sequence(const char *text)
{
    size_t bytes = sequence_bytes(*text);

    for (size_t i = 1; i < bytes; ++i)
        if (!is_continuation(text[i]))
            return 0;
    return bytes;
}

// Writes a character from 0x80 to 0xFF as two bytes and returns their end.
static char *put_latin1(char *out, char c)
{
    bool is_letter = static_cast<uint8_t>(c) >= 0xC0;

    *out++ = static_cast<char>(is_letter ? 0xC3 : 0xC2);
    *out++ = static_cast<char>(is_letter ? c - 0x40 : c);
    return out;
}

// Bytes that become one unit. Sequences of four and more are not known.
static size_t utf16_source_bytes(char lead)
{
    auto byte = static_cast<uint8_t>(lead);
    return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : 3;
}

// Bytes that really stand here for one unit, before the NUL.
static size_t utf16_source_step(const char *text)
{
    return strnlen(text, utf16_source_bytes(*text));
}

static uint16_t utf16_unit(const char *text)
{
    uint8_t  bytes[3] = {};
    unsigned unit = 0;

    memcpy(bytes, text, utf16_source_step(text));
    switch (utf16_source_bytes(*text)) {
    case 1: unit = bytes[0]; break;
    case 2: unit = (bytes[0] & 0x3Fu) << 6 | (bytes[1] & 0x3F); break;
    default:
        unit = static_cast<unsigned>(bytes[0]) << 12 | (bytes[1] & 0x3Fu) << 6 |
               (bytes[2] & 0x3F);
    }
    return static_cast<uint16_t>(unit);
}

// Where the text begins behind its byte order mark.
static Utf16Reader open_utf16(const void *bytes)
{
    auto *at = static_cast<const uint8_t *>(bytes);

    if (at[0] == 0xFF && at[1] == 0xFE)
        return { at + 2, false };
    if (at[0] == 0xFE && at[1] == 0xFF)
        return { at + 2, true };
    return { at, false };
}

static unsigned next_unit(Utf16Reader *reader)
{
    unsigned first = reader->at[0];
    unsigned second = reader->at[1];

    reader->at += 2;
    return reader->is_big_endian ? first << 8 | second : second << 8 | first;
}

static bool is_surrogate(unsigned unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

// Bytes of UTF-8 to allocate. A surrogate counts for four, although it is
// dropped later.
static uint64_t measure_utf16(Utf16Reader reader)
{
    uint64_t size = 0;

    while (unsigned unit = next_unit(&reader)) {
        if (is_surrogate(unit)) {
            upnp_log_impl(UPNP_LOG_TRACE, LOG_SYSTEM,
                          "upnp_string_utf16_to_utf8",
                          "UTF-16 surrogate pair detected: %04x", unit);
            size += 4;
        } else {
            size += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
        }
    }
    return size;
}

static char *put_unit(char *out, unsigned unit)
{
    if (is_surrogate(unit))
        return out;
    if (unit < 0x80) {
        *out++ = static_cast<char>(unit);
        return out;
    }
    if (unit < 0x800) {
        *out++ = static_cast<char>(0xC0 | unit >> 6);
    } else {
        *out++ = static_cast<char>(0xE0 | unit >> 12);
        *out++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    }
    *out++ = static_cast<char>(0x80 | (unit & 0x3F));
    return out;
}

char *upnp_strdup_to_utf8(const char *text)
{
    if (!text)
        return nullptr;

    auto *result =
        static_cast<char *>(mem::new_block(2 * uint64_t{ strlen(text) } + 1));
    if (!result)
        return nullptr;

    char *out = result;
    while (*text) {
        if (is_ascii(*text)) {
            *out++ = *text++;
            continue;
        }
        size_t bytes = whole_sequence(text);
        if (bytes > 0) {
            out = std::copy_n(text, bytes, out);
            text += bytes;
        } else {
            out = put_latin1(out, *text++);
        }
    }
    *out = '\0';
    return result;
}

char *upnp_strdup_from_utf8(const char *text)
{
    if (!text)
        return nullptr;

    auto *result =
        static_cast<char *>(mem::new_block(uint64_t{ strlen(text) } + 1));
    if (!result)
        return nullptr;

    char *out = result;
    while (*text) {
        auto   lead = static_cast<uint8_t>(*text);
        size_t bytes = sequence_bytes(*text);

        if (lead < 0x80) {
            *out++ = *text++;
        } else if (lead == 0xC2 || lead == 0xC3) {
            if (*++text)
                *out++ =
                    static_cast<char>(lead == 0xC2 ? *text++ : *text++ + 0x40);
        } else if (bytes >= 3) {
            *out++ = '?';
            text += strnlen(text, bytes);
        } else {
            // Two-byte characters beyond Latin-1 go this way too, a byte at a
            // time, and vanish without a mark.
            ++text;
        }
    }
    *out = '\0';
    return result;
}

char *upnp_util_convert_enhanced_ascii_to_utf8(const char *text)
{
    if (!text || !*text)
        return nullptr;

    auto *work =
        static_cast<char *>(mem::new_zeroed(2 * uint64_t{ strlen(text) } + 2));
    if (!work)
        return nullptr;

    char *out = work;
    for (; *text; ++text) {
        if (is_ascii(*text))
            *out++ = *text;
        else
            out = put_latin1(out, *text);
    }
    char *result = upnp_strdup_impl(work);
    upnp_free_impl(work);
    return result;
}

uint16_t *upnp_string_utf8_to_utf16(const char *text)
{
    if (!text)
        return nullptr;

    uint64_t count = 0;
    for (const char *at = text; *at; at += utf16_source_step(at))
        ++count;

    auto *units = static_cast<uint16_t *>(mem::new_zeroed(2 * count + 2));
    if (!units)
        return nullptr;

    uint16_t *out = units;
    for (; *text; text += utf16_source_step(text))
        *out++ = utf16_unit(text);
    return units;
}

char *upnp_string_utf16_to_utf8(const void *bytes)
{
    if (!bytes)
        return nullptr;

    Utf16Reader reader = open_utf16(bytes);
    auto       *text = static_cast<char *>(
        mem::new_zeroed(measure_utf16(reader) + UTF16_SPARE_BYTES));
    if (!text)
        return nullptr;

    char *out = text;
    while (unsigned unit = next_unit(&reader))
        out = put_unit(out, unit);
    return text;
}

uint32_t upnp_wcslen(const uint16_t *units)
{
    uint32_t count = 0;

    while (units && units[count])
        ++count;
    return count;
}

int32_t upnp_util_is_shift_jis(const char *text)
{
    size_t length = 0;
    size_t high = 0;

    for (; text && text[length]; ++length) {
        auto byte = static_cast<uint8_t>(text[length]);

        // A lead byte of Shift-JIS, and no printable character of Latin-1.
        if (byte >= 0x81 && byte <= 0x9F)
            return 1;
        high += byte >= 0xA0;
    }
    return high > length / 2;
}

char *upnp_util_convert_shift_jis_to_utf8(void)
{
    return nullptr;
}

void upnp_util_set_code_page(int32_t code)
{
    code_page = code;
}
