// console.cpp - what a person gets to read.

#include "qm-find/console.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {
// The sequences of one length, by their first byte and the range that the
// second must be in. All further ones are 0x80 to 0xBF.
struct Sequences {
    unsigned char first, last;
    unsigned char second_from, second_to;
    unsigned      length;
};
}

// Without the control characters from U+0080 to U+009F.
// clang-format off
static constexpr Sequences sequences[] = {
    { ' ',  '~',  0,    0,    1 },
    { 0xC2, 0xC2, 0xA0, 0xBF, 2 },
    { 0xC3, 0xDF, 0x80, 0xBF, 2 },
    { 0xE0, 0xE0, 0xA0, 0xBF, 3 },
    { 0xE1, 0xEC, 0x80, 0xBF, 3 },
    { 0xED, 0xED, 0x80, 0x9F, 3 },
    { 0xEE, 0xEF, 0x80, 0xBF, 3 },
    { 0xF0, 0xF0, 0x90, 0xBF, 4 },
    { 0xF1, 0xF3, 0x80, 0xBF, 4 },
    { 0xF4, 0xF4, 0x80, 0x8F, 4 },
};
// clang-format on

static bool is_between(char c, unsigned char from, unsigned char to)
{
    auto byte = static_cast<unsigned char>(c);

    return from <= byte && byte <= to;
}

static bool begins_with(std::string_view text, const Sequences &row)
{
    if (text.size() < row.length || !is_between(text[0], row.first, row.last))
        return false;
    if (row.length > 1 && !is_between(text[1], row.second_from, row.second_to))
        return false;
    for (unsigned i = 2; i < row.length; ++i) {
        if (!is_between(text[i], 0x80, 0xBF))
            return false;
    }
    return true;
}

// Bytes of the printable character that text begins with; 0 for none.
static size_t character_length(std::string_view text)
{
    for (const Sequences &row : sequences) {
        if (begins_with(text, row))
            return row.length;
    }
    return 0;
}

std::string find::printable(std::string_view text, std::string_view kept)
{
    std::string result;

    while (!text.empty()) {
        size_t length =
            kept.find(text[0]) != kept.npos ? 1 : character_length(text);

        result += length > 0 ? text.substr(0, length) : "?";
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

std::string find::readable_size(uint64_t bytes)
{
    static constexpr const char *units[] = { "kB", "MB", "GB", "TB", "PB" };
    char                         text[32];
    auto                         size = static_cast<double>(bytes) / 1000;
    size_t                       unit = 0;

    if (bytes < 1000)
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    while (size >= 1000 && unit + 1 < std::size(units)) {
        size /= 1000;
        ++unit;
    }
    snprintf(text, sizeof(text), "%.1f %s", size, units[unit]);
    return text;
}

bool find::complain(std::string_view subject, std::string_view reason)
{
    fflush(stdout);
    fprintf(stderr, "qm-find: %s: %s\n", printable(subject).c_str(),
            printable(reason).c_str());
    return false;
}
