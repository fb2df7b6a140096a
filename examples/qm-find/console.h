// console.h - what a person gets to read.
#ifndef QM_FIND_CONSOLE_H
#define QM_FIND_CONSOLE_H

#include <cstdint>
#include <string>
#include <string_view>

namespace find {

// A text of the network's, made fit for a terminal: what could be taken for a
// command, and what is no UTF-8 (RFC 3629), is shown as "?". The characters of
// kept stay.
std::string printable(std::string_view text, std::string_view kept = {});

// "1 byte", "80.1 kB", "3.4 GB".
std::string readable_size(uint64_t bytes);

// Says on standard error what is wrong with subject. Both may come from the
// network. Returns false.
bool complain(std::string_view subject, std::string_view reason);

}

#endif
