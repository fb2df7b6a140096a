// secret.cpp - comparison of what must not be found out by trying.

#include "common/secret.h"

#include <algorithm>

bool secret::is_same(std::string_view text, std::string_view expected)
{
    unsigned difference = text.size() != expected.size() || expected.empty();

    for (size_t i = 0; i < std::min(text.size(), expected.size()); ++i)
        difference |= static_cast<unsigned char>(text[i] ^ expected[i]);
    return difference == 0;
}
