// ssdp_text.cpp - reads the packets that discovery hands over as text.

#include "common/ssdp_text.h"

#include "runtime/upnp_string.h"

#include <algorithm>

static constexpr std::string_view blanks = " \t\r";

static std::string_view trimmed(std::string_view text)
{
    size_t first = text.find_first_not_of(blanks);

    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

static std::string_view take_line(std::string_view &rest)
{
    size_t           end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);

    rest.remove_prefix(std::min(end + 1, rest.size()));
    return trimmed(line);
}

bool ssdp_text::is_same(std::string_view a, std::string_view b)
{
    return std::equal(
        a.begin(), a.end(), b.begin(), b.end(),
        [](char x, char y) { return upnp_tolower(x) == upnp_tolower(y); });
}

std::string_view ssdp_text::first_line(std::string_view packet)
{
    return take_line(packet);
}

std::string_view ssdp_text::field(std::string_view packet,
                                  std::string_view name)
{
    take_line(packet);
    while (!packet.empty()) {
        std::string_view line = take_line(packet);
        size_t           colon = line.find(':');

        if (line.empty())
            break;  // the end of the head
        if (colon != line.npos && is_same(trimmed(line.substr(0, colon)), name))
            return trimmed(line.substr(colon + 1));
    }
    return {};
}
