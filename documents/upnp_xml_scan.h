// upnp_xml_scan.h - how the parser moves through a text.
//
// Nothing here reads behind the terminator of a text.
#ifndef DOCUMENTS_UPNP_XML_SCAN_H
#define DOCUMENTS_UPNP_XML_SCAN_H

#include <array>
#include <stddef.h>
#include <stdint.h>
#include <string_view>

namespace xml {

// Classes of bytes; each is one bit.
enum : uint8_t {
    STOP = 1,           // the terminator and both quotes
    NAME_END = 2,       // behind a tag name
    ASSIGN_OR_END = 4,  // behind the name of an attribute
    VALUE_END = 8,      // behind the value of an attribute
    OPEN = 16,          // a tag
    BLANK = 32          // white space
};

using Classes = std::array<uint8_t, 256>;

constexpr void add_class(Classes *classes, std::string_view bytes, uint8_t bit)
{
    for (char byte : bytes)
        (*classes)[static_cast<uint8_t>(byte)] |= bit;
}

constexpr Classes make_classes()
{
    Classes classes = {};

    add_class(&classes, { "\"'\0", 3 }, STOP);
    add_class(&classes, " />", NAME_END);
    add_class(&classes, "=/", ASSIGN_OR_END);
    add_class(&classes, " />\t\r\n", VALUE_END);
    add_class(&classes, "<", OPEN);
    add_class(&classes, " \t\r\n", BLANK);
    return classes;
}

inline constexpr Classes byte_classes = make_classes();

// The first byte of one of the classes in mask.
inline const char *seek(const Classes &classes, const char *at, uint8_t mask)
{
    while (!(classes[static_cast<uint8_t>(*at)] & mask))
        ++at;
    return at;
}

inline const char *skip_blanks(const char *at)
{
    while (byte_classes[static_cast<uint8_t>(*at)] & BLANK)
        ++at;
    return at;
}

// The first byte of the wanted class that stands outside quotes, or the
// terminator.
const char *find_unquoted(const Classes &classes, const char *at,
                          uint8_t wanted);

// The "<" of the next element or end tag, or null.
const char *find_tag(const char *at);

// A copy of n bytes without the control bytes at their end. Null when out of
// memory.
char *copy_text(const char *text, size_t n);

// A copy of what the first pair of quotes encloses, or else of all n bytes.
char *copy_quoted(const char *text, size_t n);

}

#endif
