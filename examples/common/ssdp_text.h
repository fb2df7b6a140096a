// ssdp_text.h - reads the packets that discovery hands over as text.
//
// Lines may end with CR LF or LF; blanks around names and values do not count.
// Results are borrowed from the packet, and empty for what it does not hold.
#ifndef COMMON_SSDP_TEXT_H
#define COMMON_SSDP_TEXT_H

#include <string_view>

namespace ssdp_text {

// Whether two texts are equal in any case, of A to Z.
bool is_same(std::string_view a, std::string_view b);

std::string_view first_line(std::string_view packet);

// The value of the first field of that name, in any case.
std::string_view field(std::string_view packet, std::string_view name);

}

#endif
