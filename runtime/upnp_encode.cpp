// upnp_encode.cpp - base64, URL escapes, and the scramble of stored passwords.

#include "runtime/upnp_encode.h"

#include "runtime/upnp_charset.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_text.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_string.h"
#include "runtime/upnp_thread.h"

#include <algorithm>
#include <array>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>

static constexpr std::string_view base64_alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static constexpr std::string_view url_plain_bytes =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789$.:?@_";

static constexpr char upper_digits[] = "0123456789ABCDEF";

// What the table below holds for a byte that is not in the alphabet.
static constexpr uint8_t NO_VALUE = 64;

static constexpr auto base64_values = [] {
    std::array<uint8_t, 256> values;

    values.fill(NO_VALUE);
    for (size_t i = 0; i < base64_alphabet.size(); ++i)
        values[static_cast<uint8_t>(base64_alphabet[i])] =
            static_cast<uint8_t>(i);
    return values;
}();

static constexpr auto is_url_plain = [] {
    std::array<bool, 256> plain = {};

    for (char c : url_plain_bytes)
        plain[static_cast<uint8_t>(c)] = true;
    return plain;
}();

// A text to be escaped grows by blocks of this size.
static constexpr uint32_t URL_BLOCK_BYTES = 1024;

// "::" and the key, and how much of a text is scrambled behind them.
static constexpr char     scramble_mark[] = "::";
static constexpr uint32_t SCRAMBLE_HEAD_BYTES = 3;
static constexpr size_t   SCRAMBLE_TEXT_BYTES = 128;

static unsigned base64_value(char c)
{
    return base64_values[static_cast<uint8_t>(c)];
}

static char base64_char(unsigned bits)
{
    return base64_alphabet[bits & 63];
}

// Writes the characters of n bytes, without padding, and returns their end.
static char *put_base64(char *out, const uint8_t *in, size_t n)
{
    for (; n >= 3; in += 3, n -= 3) {
        unsigned bits = in[0] << 16 | in[1] << 8 | in[2];
        *out++ = base64_char(bits >> 18);
        *out++ = base64_char(bits >> 12);
        *out++ = base64_char(bits >> 6);
        *out++ = base64_char(bits);
    }
    if (n > 0) {
        unsigned bits = in[0] << 16 | (n == 2 ? in[1] << 8 : 0);
        *out++ = base64_char(bits >> 18);
        *out++ = base64_char(bits >> 12);
        if (n == 2)
            *out++ = base64_char(bits >> 6);
    }
    return out;
}

// The base64 of n bytes, with these paddings behind one and two bytes left
// over.
static char *to_base64(const void *bytes, size_t n, const char *after_one,
                       const char *after_two)
{
    auto *text =
        static_cast<char *>(mem::new_zeroed(uint64_t{ n } * 4 / 3 + 4));
    if (!text)
        return nullptr;

    char *end = put_base64(text, static_cast<const uint8_t *>(bytes), n);
    strcpy(end, n % 3 == 1 ? after_one : n % 3 == 2 ? after_two : "");
    return text;
}

// Writes the bytes of three.
static char *put_three(char *out, unsigned bits)
{
    *out++ = static_cast<char>(bits >> 16);
    *out++ = static_cast<char>(bits >> 8);
    *out++ = static_cast<char>(bits);
    return out;
}

// Decodes whole groups of four characters up to the first byte that is not in
// the alphabet, and tells in *in where it stopped. Returns the end of out.
static char *decode_groups(char *out, const char **in, const char *end)
{
    const char *at = *in;

    for (; end - at >= 4; at += 4) {
        unsigned a = base64_value(at[0]), b = base64_value(at[1]);
        unsigned c = base64_value(at[2]), d = base64_value(at[3]);
        if ((a | b | c | d) & NO_VALUE)
            break;
        out = put_three(out, a << 18 | b << 12 | c << 6 | d);
    }
    *in = at;
    return out;
}

// Decodes all of a text, skipping what is not in the alphabet. A byte is
// written only when its eight bits are complete.
static void decode_base64(char *out, const char *in, const char *end)
{
    unsigned bits = 0;
    int      characters = 0;  // of the group that is not complete

    while (in < end) {
        if (characters == 0)
            out = decode_groups(out, &in, end);
        if (in == end)
            break;

        unsigned value = base64_value(*in++);
        if (value == NO_VALUE)
            continue;
        bits = bits << 6 | value;
        if (++characters == 4) {
            out = put_three(out, bits);
            characters = 0;
        }
    }
    if (characters >= 2)
        *out++ = static_cast<char>(bits >> (6 * characters - 8));
    if (characters == 3)
        *out = static_cast<char>(bits >> 2);
}

// Decodes escapes and returns the end of out.
static char *unescape_url(char *out, const char *in)
{
    for (; *in; ++in) {
        if (*in == '+') {
            *out++ = ' ';
        } else if (*in != '%') {
            *out++ = *in;
        } else {
            if (!in[1] || !in[2])
                break;
            *out++ = static_cast<char>(hexchar_to_i(in[1]) << 4 |
                                       hexchar_to_i(in[2]));
            in += 2;
        }
    }
    return out;
}

// Appends the text at in to str. The bytes are collected in a block, so that
// the record is not asked for each of them.
static UpnpString *escape_url(UpnpString *str, const char *in)
{
    char     block[URL_BLOCK_BYTES];
    uint32_t used = 0;

    while (str && *in) {
        auto value = static_cast<uint8_t>(*in++);
        if (value >= 0xC0) {
            if (!*in)
                break;
            value = static_cast<uint8_t>((value & 0xFC) | *in++);
        }
        if (is_url_plain[value]) {
            block[used++] = static_cast<char>(value);
        } else {
            block[used++] = '%';
            block[used++] = upper_digits[value >> 4];
            block[used++] = upper_digits[value & 15];
        }
        if (used > sizeof block - 3) {
            str = upnp_string_add(str, block, used);
            used = 0;
        }
    }
    return str ? upnp_string_add(str, block, used) : nullptr;
}

static bool is_scrambled(const char *text)
{
    return strncmp(text, scramble_mark, strlen(scramble_mark)) == 0;
}

// Writes two digits for each byte. What the key does not lift above 0 becomes
// FF and cannot be got back.
static void put_scrambled(char *digits, std::string_view text, int key)
{
    for (char c : text) {
        int value = static_cast<int8_t>(c) + key;
        if (value < 0)
            value = 0xFF;
        *digits++ = upper_digits[value >> 4];
        *digits++ = upper_digits[value & 15];
    }
}

char *upnp_string_from_base64(const char *text)
{
    if (!text)
        return nullptr;

    size_t length = strlen(text);
    auto  *data =
        static_cast<char *>(mem::new_zeroed(uint64_t{ length } * 3 / 4 + 1));
    if (!data)
        return nullptr;

    auto *padding = static_cast<const char *>(memchr(text, '=', length));
    decode_base64(data, text, padding ? padding : text + length);
    return data;
}

char *upnp_string_to_base64(const char *text)
{
    // HTTP authorization finds the unpadded form inside a padded one.
    return text ? to_base64(text, strlen(text), "==", "") : nullptr;
}

char *upnp_bin_to_base64(const void *bytes, uint32_t n)
{
    return bytes ? to_base64(bytes, n, "==", "=") : nullptr;
}

char *upnp_string_from_encoded_url(const char *text)
{
    if (!text)
        return nullptr;

    auto *work =
        static_cast<char *>(mem::new_zeroed(uint64_t{ strlen(text) } + 1));
    if (!work)
        return nullptr;

    char *end = unescape_url(work, text);
    char *result = mem::new_text({ work, end });
    upnp_free_impl(work);
    return result;
}

char *upnp_string_to_encoded_url(const char *text, int32_t raw)
{
    char       *converted = nullptr;
    UpnpString *str = nullptr;
    char       *result = nullptr;

    if (!text)
        return nullptr;

    if (!raw) {
        converted = upnp_strdup_to_utf8(text);
        if (!converted)
            return nullptr;
        text = converted;
    }
    str = upnp_string_create(nullptr, URL_BLOCK_BYTES);
    if (str)
        str = escape_url(str, text);
    result = upnp_string_copy_cstring(str);

    upnp_string_free(str);
    if (converted)
        upnp_free_impl(converted);
    return result;
}

void upnp_string_encrypt(const char *text, char *out, uint32_t size)
{
    if (!out || size == 0 || !text)
        return;

    srand(static_cast<unsigned>(getSystemTime()));
    auto key = static_cast<uint32_t>(rand()) % 16;
    memset(out, 0, size);
    if (!*text)
        return;
    if (is_scrambled(text)) {
        snprintf(out, size, "%s", text);
        return;
    }

    char   digits[2 * SCRAMBLE_TEXT_BYTES];
    size_t bytes = strnlen(text, SCRAMBLE_TEXT_BYTES);
    size_t n = 2 * bytes;
    put_scrambled(digits, { text, bytes }, static_cast<int>(key));
    std::rotate(digits, digits + key % n, digits + n);

    // The digits go out whatever size says: callers count on whole texts.
    memcpy(out, scramble_mark, strlen(scramble_mark));
    out[SCRAMBLE_HEAD_BYTES - 1] = upper_digits[key];
    memcpy(out + SCRAMBLE_HEAD_BYTES, digits, n);
    out[SCRAMBLE_HEAD_BYTES + n] = '\0';
}

void upnp_string_decrypt(const char *text, char *out, uint32_t size)
{
    if (!out || size == 0 || !text)
        return;

    size_t length = strlen(text);
    if (length < SCRAMBLE_HEAD_BYTES)
        return;
    memset(out, 0, size);
    if (!is_scrambled(text))
        return;

    size_t n = std::min<size_t>(length - SCRAMBLE_HEAD_BYTES, size);
    int    key = hexchar_to_i(text[SCRAMBLE_HEAD_BYTES - 1]);
    if (n == 0)
        return;

    // The rotation back. Digits that size cut off are missing from it.
    const char *digits = text + SCRAMBLE_HEAD_BYTES;
    size_t      shift = static_cast<size_t>(key) % n;
    std::rotate_copy(digits, digits + (n - shift) % n, digits + n, out);

    // In place: the byte of each pair lies in front of the pair. An odd last
    // digit is dropped.
    for (size_t i = 0; i < n / 2; ++i)
        out[i] = static_cast<char>(hexchar_to_i(out[2 * i]) * 16 +
                                   hexchar_to_i(out[2 * i + 1]) - key);
    out[n / 2] = '\0';
}
