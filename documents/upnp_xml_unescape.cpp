// upnp_xml_unescape.cpp - resolves the entities of a text in place.

#include "documents/upnp_xml.h"

#include "runtime/upnp_number.h"

#include <stdlib.h>
#include <string.h>
#include <string_view>

namespace {
struct Entity {
    std::string_view name;
    char             byte;
};
}

// Case counts. &nbsp; becomes a plain blank.
static constexpr Entity entities[] = {
    { "amp;", '&' }, { "nbsp;", ' ' },  { "lt;", '<' },
    { "gt;", '>' },  { "apos;", '\'' }, { "quot;", '"' },
};

// The ";" of a numeric reference stands at most this far behind its "#".
static constexpr size_t MAX_DIGITS = 4;

// The number behind "#", cut to one byte whatever it stands for. No number at
// all, and hexadecimal with a capital X, gives 0.
static char numeric_byte(const char *digits)
{
    if (*digits == 'x')
        return static_cast<char>(upnp_hexToi(digits + 1));
    return static_cast<char>(strtol(digits, nullptr, 10));
}

// Reads the reference behind an "&". Returns its length, 0 if it is none.
static size_t read_reference(const char *text, char *byte)
{
    if (*text == '#') {
        size_t length = 1;
        while (length <= MAX_DIGITS && text[length] != ';' &&
               text[length] != '\0')
            ++length;
        if (text[length] != ';')
            return 0;
        *byte = numeric_byte(text + 1);
        return length + 1;
    }

    for (const Entity &entity : entities) {
        if (strncmp(text, entity.name.data(), entity.name.size()) == 0) {
            *byte = entity.byte;
            return entity.name.size();
        }
    }
    return 0;
}

void upnp_xml_unescape(char *text)
{
    const char *from = text ? strchr(text, '&') : nullptr;
    char       *to = text + (from ? from - text : 0);

    if (!from)
        return;
    while (*from != '\0') {
        size_t length = *from == '&' ? read_reference(from + 1, to) : 0;

        if (length == 0)
            *to = *from;
        ++to;
        from += length + 1;
    }
    *to = '\0';
}
