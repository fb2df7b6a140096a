// upnp_xml_scan.cpp - finds tags and ends of words, and copies what they hold.

#include "documents/upnp_xml_scan.h"

#include "documents/upnp_xml.h"
#include "runtime/upnp_mem.h"

#include <string.h>

static constexpr std::string_view comment_open = "<!--";
static constexpr std::string_view comment_close = "-->";
static constexpr std::string_view cdata_open = "<![CDATA[";
static constexpr std::string_view cdata_close = "]]>";

static bool begins_with(const char *at, std::string_view prefix)
{
    return strncmp(at, prefix.data(), prefix.size()) == 0;
}

// The byte behind the next mark, which ends in ">", or null.
static const char *behind(const char *at, std::string_view mark)
{
    const char *start = at;

    while ((at = strchr(at, '>'))) {
        ++at;
        if (std::string_view(start, static_cast<size_t>(at - start))
                .ends_with(mark))
            return at;
    }
    return nullptr;
}

static const char *behind_quote(const char *opening)
{
    const char *closing = strchr(opening + 1, *opening);

    return closing ? closing + 1 : nullptr;
}

const char *xml::find_unquoted(const Classes &classes, const char *at,
                               uint8_t wanted)
{
    for (;;) {
        at = seek(classes, at, wanted | STOP);
        if (*at == '\0' || classes[static_cast<uint8_t>(*at)] & wanted)
            return at;

        const char *next = behind_quote(at);
        if (!next)
            return at + strlen(at);
        at = next;
    }
}

// "<!" and "<?" are passed like plain text: what follows is scanned on, the
// quotes in a document type or an instruction included.
const char *xml::find_tag(const char *at)
{
    while (at) {
        at = seek(byte_classes, at, OPEN | STOP);
        if (*at == '\0')
            return nullptr;
        if (*at != '<')
            at = behind_quote(at);
        else if (at[1] != '!' && at[1] != '?' && at[1] != '\0')
            return at;
        else if (begins_with(at, comment_open))
            at = behind(at + comment_open.size(), comment_close);
        else if (begins_with(at, cdata_open))
            at = behind(at + cdata_open.size(), cdata_close);
        else
            ++at;
    }
    return nullptr;
}

static char *copy_bytes(const char *text, size_t n)
{
    if (n >= UINT32_MAX)
        return nullptr;

    auto *copy =
        static_cast<char *>(upnp_malloc_impl(static_cast<uint32_t>(n + 1)));
    if (copy) {
        memcpy(copy, text, n);
        copy[n] = '\0';
    }
    return copy;
}

char *xml::copy_text(const char *text, size_t n)
{
    while (n > 0 && static_cast<uint8_t>(text[n - 1]) - 1u < 31u)
        --n;
    return copy_bytes(text, n);
}

char *xml::copy_quoted(const char *text, size_t n)
{
    for (size_t i = 0; i + 1 < n; ++i) {
        if (text[i] != '"' && text[i] != '\'')
            continue;

        const char *inside = text + i + 1;
        const void *closing = memchr(inside, text[i], n - i - 1);
        if (!closing)
            break;
        return copy_bytes(
            inside,
            static_cast<size_t>(static_cast<const char *>(closing) - inside));
    }
    return copy_text(text, n);
}

int32_t upnp_xml_find(const char *text, const char *set)
{
    xml::Classes classes = {};

    if (!text || !set)
        return 0;
    xml::add_class(&classes, { "\"'\0", 3 }, xml::STOP);
    xml::add_class(&classes, set, xml::OPEN);
    return static_cast<int32_t>(xml::find_unquoted(classes, text, xml::OPEN) -
                                text);
}

int32_t upnp_xml_find_tagstart(const char *text)
{
    const char *tag = text ? xml::find_tag(text) : nullptr;

    return tag ? static_cast<int32_t>(tag - text + 1) : -1;
}

char *upnp_xml_strdup(const char *text, int32_t length)
{
    if (!text || length < 0)
        return nullptr;
    return xml::copy_text(text, strnlen(text, static_cast<size_t>(length)));
}

char *upnp_strdup_quoted(const char *text, int32_t length)
{
    if (!text || length < 0)
        return nullptr;
    return xml::copy_quoted(text, strnlen(text, static_cast<size_t>(length)));
}
