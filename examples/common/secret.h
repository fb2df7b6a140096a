// secret.h - comparison of what must not be found out by trying.
#ifndef COMMON_SECRET_H
#define COMMON_SECRET_H

#include <string_view>

namespace secret {

// Whether a text is the one that is expected, which must not be empty. Takes
// the same time for every wrong text of a length.
bool is_same(std::string_view text, std::string_view expected);

}

#endif
