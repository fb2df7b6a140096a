// upnp_xml_escape.cpp - makes texts safe to stand in XML.

#include "documents/upnp_xml_escape.h"

#include "documents/upnp_xml_write.h"
#include "runtime/upnp_mem.h"

#include <algorithm>
#include <array>
#include <string.h>
#include <string_view>

static constexpr size_t FIRST_COPIED = 32;  // control bytes are references

namespace {
// What stands between the "&" and the end of a reference; of length 0 for a
// byte that is copied.
struct Reference {
    uint8_t length;
    char    text[7];
};

using References = std::array<Reference, 256>;
}

static constexpr void set(References *references, char byte,
                          std::string_view text)
{
    Reference &reference = (*references)[static_cast<uint8_t>(byte)];

    reference.length = static_cast<uint8_t>(text.size());
    std::copy(text.begin(), text.end(), reference.text);
}

static constexpr References make_references(std::string_view apostrophe)
{
    References references = {};

    for (size_t byte = 1; byte < FIRST_COPIED; ++byte) {
        char   number[4] = { '#' };
        size_t length = 1;

        if (byte >= 10)
            number[length++] = static_cast<char>('0' + byte / 10);
        number[length++] = static_cast<char>('0' + byte % 10);
        number[length++] = ';';
        set(&references, static_cast<char>(byte), { number, length });
    }
    set(&references, '"', "quot;");
    set(&references, '&', "amp;");
    set(&references, '\'', apostrophe);
    set(&references, '<', "lt;");
    set(&references, '>', "gt;");
    return references;
}

static constexpr References with_named_apostrophe = make_references("apos;");
static constexpr References with_numeric_apostrophe = make_references("#39;");

UpnpString *xml::append_escaped(UpnpString *str, const char *text,
                                Escaping escaping)
{
    const References &references = escaping.numeric_apostrophe
                                       ? with_numeric_apostrophe
                                       : with_named_apostrophe;
    std::string_view  prefix = escaping.twice ? "&amp;" : "&";

    while (str) {
        const char *end = text;
        while (*end != '\0' && !references[static_cast<uint8_t>(*end)].length)
            ++end;
        str = upnp_string_add(str, text, static_cast<uint32_t>(end - text));
        if (!str || *end == '\0')
            break;

        const Reference &reference = references[static_cast<uint8_t>(*end)];
        char             bytes[16];
        memcpy(bytes, prefix.data(), prefix.size());
        memcpy(bytes + prefix.size(), reference.text, reference.length);
        str = upnp_string_add(str, bytes,
                              static_cast<uint32_t>(prefix.size()) +
                                  reference.length);
        text = end + 1;
    }
    return str;
}

char *upnp_xml_escape_cond(const char *text, int32_t double_escape)
{
    if (!text)
        return nullptr;

    size_t      room = std::min<size_t>(strlen(text) + 1, UINT32_MAX);
    UpnpString *str = upnp_string_create(nullptr, static_cast<uint32_t>(room));
    if (str)
        str = xml::append_escaped(str, text, { double_escape != 0, false });
    if (!str)
        return nullptr;

    // The record's buffer is the result.
    char *escaped = str->buffer;
    upnp_free_impl(str);
    return escaped;
}

char *upnp_xml_escape(const char *text)
{
    return upnp_xml_escape_cond(text, 1);
}

void upnp_xml_escape_cond_externout(const char *text, UpnpString **holder,
                                    int32_t double_escape,
                                    int32_t numeric_apostrophe)
{
    if (!holder || !*holder)
        return;
    upnp_string_empty(*holder);
    if (text)
        *holder = xml::append_escaped(
            *holder, text, { double_escape != 0, numeric_apostrophe != 0 });
}
