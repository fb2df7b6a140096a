// title.cpp - file names as titles that any XML reader takes.

#include "qm-serve/title.h"

#include "qm-serve/media_type.h"
#include "runtime/upnp_string.h"

#include <cstdint>

static constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD
static constexpr std::string_view ellipsis = "...";

// How many bytes follow a first byte, and the smallest character that needs
// them all: a shorter form is the only right one (RFC 3629, section 3).
static size_t bytes_behind(unsigned char first, uint32_t &smallest)
{
    if (first >= 0xC0 && first < 0xE0) {
        smallest = 0x80;
        return 1;
    }
    if (first >= 0xE0 && first < 0xF0) {
        smallest = 0x800;
        return 2;
    }
    smallest = 0x10000;
    return first >= 0xF0 && first < 0xF8 ? 3 : 0;
}

// XML 1.0, production 2.
static bool is_xml_char(uint32_t c)
{
    if (c < ' ')
        return c == '\t' || c == '\n' || c == '\r';
    return c < 0xD800 || (c >= 0xE000 && c < 0xFFFE) ||
           (c >= 0x10000 && c < 0x110000);
}

// The length of the character that text begins with; 0 for what is none.
static size_t character_length(std::string_view text)
{
    auto     first = static_cast<unsigned char>(text[0]);
    uint32_t smallest;
    size_t   behind = bytes_behind(first, smallest);
    uint32_t c = first & (0x3Fu >> behind);

    if (first < 0x80)
        return is_xml_char(first) ? 1 : 0;
    if (behind == 0 || text.size() <= behind)
        return 0;
    for (size_t i = 1; i <= behind; ++i) {
        auto byte = static_cast<unsigned char>(text[i]);

        if ((byte & 0xC0) != 0x80)
            return 0;
        c = c << 6 | (byte & 0x3F);
    }
    return c >= smallest && is_xml_char(c) ? behind + 1 : 0;
}

std::string serve::xml_text(std::string_view bytes)
{
    std::string text;

    while (!bytes.empty()) {
        size_t length = character_length(bytes);

        text += length > 0 ? bytes.substr(0, length) : replacement;
        bytes.remove_prefix(length > 0 ? length : 1);
    }
    return text;
}

std::string serve::title_of(const std::string &name, bool is_folder)
{
    bool   has_ending = !is_folder && is_media(media_type(name.c_str()));
    size_t length = has_ending ? name.rfind('.') : name.size();

    std::string title = xml_text(std::string_view(name).substr(0, length));
    if (!upnp_util_string_is_empty(title.c_str()))
        return title;
    title = xml_text(name);
    return upnp_util_string_is_empty(title.c_str()) ? "_" : title;
}

static size_t escaped_length(char c)
{
    switch (c) {
    case '"':
    case '\'': return 6;
    case '&':
    case '\n':
    case '\r': return 5;
    case '<':
    case '>':
    case '\t': return 4;
    default: return 1;
    }
}

static bool begins_character(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

std::string serve::fitted(std::string text, size_t max)
{
    size_t length = 0;
    size_t kept = 0;  // whole characters that leave room for the ellipsis

    for (size_t i = 0; i < text.size(); ++i) {
        if (begins_character(text[i]) && length + ellipsis.size() <= max)
            kept = i;
        length += escaped_length(text[i]);
    }
    if (length > max)
        text.replace(kept, text.npos, ellipsis);
    return text;
}
