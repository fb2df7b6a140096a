// upnp_xml_parse.cpp - reads one element, and what it holds, from a text.
//
// Reading goes forward only, with two exceptions in read_children: both give
// up at a place where every level above would give up as well. The places are
// remembered, so that the levels above do not search the rest of the text once
// more each.

#include "documents/upnp_xml.h"

#include "documents/upnp_xml_scan.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <string.h>

static constexpr int32_t MAX_DEPTH = 100;
static constexpr int     MAX_ATTRIBUTES = 100;

namespace {
// What all levels of one parse share.
struct Parse {
    bool        too_deep;
    const char *end;        // where the element that was read last ends
    const char *childless;  // no element can be read from here
    const char *tagless;    // no unquoted "<" follows from here
};
}

static XmlNode *read_element(Parse *parse, const char *text, int32_t depth);

// A copy of the bytes from begin to end with their entities resolved.
static char *copy_unescaped(char *(*copy)(const char *, size_t),
                            const char *begin, const char *end)
{
    char *text = copy(begin, static_cast<size_t>(end - begin));

    upnp_xml_unescape(text);
    return text;
}

static XmlAttribute *read_attribute(const char *name, const char *equals,
                                    const char *value, const char *end)
{
    auto *attribute =
        static_cast<XmlAttribute *>(upnp_calloc_impl(1, sizeof(XmlAttribute)));
    if (!attribute)
        return nullptr;

    const char *name_end = equals;
    while (name_end > name && upnp_is_white_space(name_end[-1]))
        --name_end;
    attribute->name =
        xml::copy_text(name, static_cast<size_t>(name_end - name));
    attribute->value = copy_unescaped(xml::copy_quoted, value, end);
    if (!attribute->name || !attribute->value) {
        upnp_xml_release_attributes(attribute);
        return nullptr;
    }
    return attribute;
}

// Reads attributes into the front of the node's list. Stops on the ">" of the
// tag, on the "/" of an empty element or on the terminator, and, without memory
// or behind the last attribute allowed, on a byte that stands for the ">".
static const char *read_attributes(XmlNode *node, const char *at)
{
    for (int count = 1;; ++count) {
        const char *name = xml::skip_blanks(at);
        const char *equals =
            xml::find_unquoted(xml::byte_classes, name, xml::ASSIGN_OR_END);
        if (*equals != '=')
            return equals;

        const char *value = xml::skip_blanks(equals + 1);
        at = xml::find_unquoted(xml::byte_classes, value, xml::VALUE_END);
        XmlAttribute *attribute = read_attribute(name, equals, value, at);
        if (!attribute)
            return at;
        attribute->next = node->attributes;
        node->attributes = attribute;

        if (*at == '>' || *at == '/' || *at == '\0')
            return at;
        // Only one blank may stand in front of the ">". Behind more it is not
        // seen, and the next "=" or "/" belongs to this tag.
        ++at;
        if (*at == '>' || count == MAX_ATTRIBUTES)
            return at;
    }
}

// Compares as much of an end tag as the node's name is long.
static void check_end_tag(const XmlNode *node, const char *name)
{
    if (strncmp(node->name, name, strlen(node->name)) != 0)
        upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_xml_parse_with_depth",
                      "bad end tag!\n%s", node->name);
}

// Takes the end tag at open for that of the node, whatever it says.
static void close_element(Parse *parse, const XmlNode *node, const char *open)
{
    check_end_tag(node, open + 2);
    parse->end = strchrnul(open, '>');
}

// No tag follows a child that ended here: the rest of the text is taken for
// the end tag, as far as there is any.
static void close_unended(Parse *parse, const XmlNode *node, const char *at)
{
    parse->tagless = at;
    if (at[0] != '\0' && at[1] != '\0' && at[2] != '\0')
        check_end_tag(node, at + 2);
    parse->end = strchrnul(at, '>');
}

// Reads the markup from the "<" at open up to the end of the node. False if
// the text is too deep.
static bool read_children(Parse *parse, XmlNode *node, const char *open,
                          int32_t depth)
{
    XmlNode **link = &node->children;

    while (open[1] != '/') {
        if (open[1] == '!' && open != parse->childless) {
            const char *tag = xml::find_tag(open);
            if (tag) {
                open = tag;
                continue;
            }
        }

        XmlNode *child = open != parse->childless
                             ? read_element(parse, open, depth)
                             : nullptr;
        if (!child) {
            parse->childless = open;
            parse->end = open;
            return !parse->too_deep;
        }
        *link = child;
        link = &child->next;

        const char *at = parse->end;
        if (at != parse->tagless)
            open = xml::find_unquoted(xml::byte_classes, at, xml::OPEN);
        if (at == parse->tagless || *open == '\0') {
            close_unended(parse, node, at);
            return true;
        }
    }
    close_element(parse, node, open);
    return true;
}

static bool read_content(Parse *parse, XmlNode *node, const char *content,
                         int32_t depth)
{
    const char *open = strchr(content, '<');

    if (!open) {
        parse->end = content;
        return true;
    }
    if (open[1] != '/')
        return read_children(parse, node, open, depth);

    node->value = copy_unescaped(xml::copy_text, content, open);
    close_element(parse, node, open);
    return true;
}

// The node of the tag whose name stands between begin and end.
static XmlNode *create_node(const char *begin, const char *end)
{
    auto *node = static_cast<XmlNode *>(upnp_calloc_impl(1, sizeof(XmlNode)));
    if (!node)
        return nullptr;

    node->name = xml::copy_text(begin, static_cast<size_t>(end - begin));
    if (!node->name) {
        upnp_free_impl(node);
        return nullptr;
    }
    return node;
}

// Reads the first element of text; parse->end tells where it ends. The levels
// above it are depth many.
static XmlNode *read_element(Parse *parse, const char *text, int32_t depth)
{
    if (depth >= MAX_DEPTH) {
        parse->too_deep = true;
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "upnp_xml_parse_with_depth",
                      "XML node maximum depth reached");
        return nullptr;
    }

    const char *open = xml::find_tag(text);
    if (!open)
        return nullptr;
    const char *at =
        xml::find_unquoted(xml::byte_classes, open + 1, xml::NAME_END);
    if (*at == '\0')
        return nullptr;
    XmlNode *node = create_node(open + 1, at);
    if (!node)
        return nullptr;

    at = xml::skip_blanks(at);
    if (*at != '>')
        at = read_attributes(node, at);

    if (*at == '\0') {
        parse->end = at;
    } else if (*at == '/') {
        parse->end = at + 1;
    } else if (!read_content(parse, node, at + 1, depth + 1)) {
        upnp_xml_release(node);
        return nullptr;
    }
    node->end_offset = static_cast<uint32_t>(parse->end - text);
    return node;
}

XmlNode *upnp_xml_parse(const char *text)
{
    int32_t error_flag = 0;

    return upnp_xml_parse_with_depth(text, 0, &error_flag);
}

XmlNode *upnp_xml_parse_with_depth(const char *text, int32_t depth,
                                   int32_t *error_flag)
{
    Parse parse = {};

    if (!text)
        return nullptr;
    parse.too_deep = error_flag && *error_flag;
    XmlNode *node = read_element(&parse, text, std::max(depth, 0));
    if (parse.too_deep && error_flag && !*error_flag)
        *error_flag = 1;
    return node;
}
