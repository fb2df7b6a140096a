// upnp_sort.cpp - the order of UTF-8 texts in lists.

#include "runtime/upnp_sort.h"

#include "runtime/upnp_string.h"

#include <string.h>
#include <string_view>

// The base letters of 0xC0 to 0xFC in Latin-1, "-" for none. A-ring goes with
// Z on purpose: it ends a Nordic alphabet.
// clang-format off
static constexpr std::string_view folds =
    "AAAAAZACEEEEIIII"   // C0  grave acute circumflex tilde uml ring AE C ...
    "-NOOOOO-OUUUU---"   // D0  Eth N O O O O O times O-slash U U U U Y Th ss
    "AAAAAZACEEEEIIII"   // E0  the same in lower case
    "-NOOOOO-OUUUU";     // F0
// clang-format on

static_assert(folds.size() == 0xFC - 0xC0 + 1);

// Bytes of the character that a byte begins. Stray continuation bytes are
// characters of one byte.
static size_t character_bytes(uint8_t lead)
{
    return lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
}

static int32_t sort_key(const char *text)
{
    return upnp_toupper(upnp_get_utf8_sortchar(text[0], text[1]));
}

static int32_t order_of(int32_t a, int32_t b)
{
    return (a > b) - (a < b);
}

// Compares two characters of three bytes and more, which have no letter to
// fold to. Neither text is read on behind its NUL.
static int32_t compare_long(const char *a, const char *b)
{
    for (int i = 0; i < 3; ++i) {
        if (a[i] != b[i])
            return order_of(static_cast<int8_t>(a[i]),
                            static_cast<int8_t>(b[i]));
        if (!a[i])
            break;
    }
    return 0;
}

char *upnp_utf8_next_char(const char *text)
{
    if (!text)
        return nullptr;
    return const_cast<char *>(
        text + strnlen(text, character_bytes(static_cast<uint8_t>(*text))));
}

int32_t upnp_get_utf8_sortchar(int32_t first, int32_t second)
{
    auto    lead = static_cast<uint8_t>(first);
    auto    next = static_cast<uint8_t>(second);
    uint8_t index = UINT8_MAX;

    // C2 leads 0x80 to 0xBF, whose index lies above the table: that row has no
    // folds. Only a malformed second byte gets one.
    if (lead == 0xC3)
        index = static_cast<uint8_t>(next + 0x80);
    else if (lead == 0xC2)
        index = static_cast<uint8_t>(next + 0x40);

    if (index < folds.size() && folds[index] != '-')
        return folds[index];
    return static_cast<int8_t>(lead);
}

int32_t upnp_utf8_stricmp(const char *a, const char *b)
{
    if (!a || !b)
        return (a != nullptr) - (b != nullptr);

    while (*a && *b) {
        int32_t order = order_of(sort_key(a), sort_key(b));

        // Equal keys from 0xE0 up are equal first bytes.
        if (order == 0 && static_cast<uint8_t>(*a) >= 0xE0)
            order = compare_long(a, b);
        if (order != 0)
            return order;
        a = upnp_utf8_next_char(a);
        b = upnp_utf8_next_char(b);
    }
    return (*a != '\0') - (*b != '\0');
}
