// edge_text.h - bytes that end at an unmapped page, to catch a read too far.
#ifndef TESTS_SUPPORT_EDGE_TEXT_H
#define TESTS_SUPPORT_EDGE_TEXT_H

#include <cstddef>
#include <string_view>

// A copy of bytes whose last one is the last mapped one: reading on faults.
// Freed when the record goes away.
struct EdgeBytes {
    explicit EdgeBytes(std::string_view bytes);
    ~EdgeBytes();
    EdgeBytes(const EdgeBytes &) = delete;
    EdgeBytes &operator=(const EdgeBytes &) = delete;

    char  *data;  // writable
    size_t size;
    void  *map;
    size_t map_size;
};

// The same for a text: its NUL is the last mapped byte.
struct EdgeText : EdgeBytes {
    explicit EdgeText(std::string_view text);
};

#endif
