// upnp_number.cpp - numbers to and from text.

#include "runtime/upnp_number.h"

#include <array>
#include <stdio.h>

// What a 32-bit number has at most.
static constexpr uint32_t LONG_DIGITS = 8;

// The value of each byte as a hexadecimal digit, -1 for all others.
static constexpr auto hex_values = [] {
    std::array<int, 256> values;

    values.fill(-1);
    for (int i = 0; i < 10; ++i)
        values['0' + i] = i;
    for (int i = 0; i < 6; ++i)
        values['A' + i] = values['a' + i] = 10 + i;
    return values;
}();

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

template <typename Number>
static Number read_decimal(const char *text, uint32_t *count_out)
{
    Number      value = 0;
    const char *end = text;

    for (; end && is_digit(*end); ++end)
        value = 10 * value + static_cast<Number>(*end - '0');
    if (count_out)
        *count_out = static_cast<uint32_t>(end - text);
    return value;
}

int32_t hexchar_to_i(int32_t c)
{
    int value = hex_values[static_cast<uint8_t>(c)];
    return value >= 0 ? value : 0;
}

uint64_t upnp_hexStringToNumber(const char *text, uint32_t max_digits)
{
    uint64_t number = 0;

    for (uint32_t i = 0; i < max_digits; ++i) {
        int value = hex_values[static_cast<uint8_t>(text[i])];
        if (value < 0)
            break;
        number = number << 4 | static_cast<uint64_t>(value);
    }
    return number;
}

uint32_t upnp_hexStringToLong(const char *text)
{
    return static_cast<uint32_t>(upnp_hexStringToNumber(text, LONG_DIGITS));
}

int32_t upnp_hexToi(const char *text)
{
    return static_cast<int32_t>(upnp_hexStringToLong(text));
}

int32_t upnp_longToHexString(uint32_t value, char *out)
{
    return out ? snprintf(out, LONG_DIGITS + 1, "%08x", value) : 0;
}

uint32_t upnp_atoui2(const char *text, uint32_t *count_out)
{
    return read_decimal<uint32_t>(text, count_out);
}

uint32_t upnp_atoui(const char *text)
{
    return upnp_atoui2(text, nullptr);
}

uint64_t upnp_atoui64(const char *text, uint32_t *count_out)
{
    return read_decimal<uint64_t>(text, count_out);
}

uint64_t upnp_string_to_longlong(const char *text, uint32_t *count_out)
{
    return upnp_atoui64(text, count_out);
}

int64_t upnp_ascii_to_long_long(const char *text)
{
    if (!text)
        return 0;
    if (*text == '+')
        ++text;

    bool     is_negative = *text == '-';
    uint64_t value = upnp_atoui64(text + is_negative, nullptr);
    return static_cast<int64_t>(is_negative ? 0 - value : value);
}

int32_t upnp_uint64_to_string(uint64_t value, char *out, uint32_t size)
{
    if (!out || size == 0)
        return 0;

    int length =
        snprintf(out, size, "%llu", static_cast<unsigned long long>(value));
    out[size - 1] = '\0';
    return length;
}

int32_t upnp_longlong_to_string(int64_t value, char *out, uint32_t size)
{
    if (!out || size == 0)
        return 0;

    int length = snprintf(out, size, "%lld", static_cast<long long>(value));
    out[size - 1] = '\0';
    return length;
}
