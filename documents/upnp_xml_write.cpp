// upnp_xml_write.cpp - writes a tree as text, in three forms.
//
// What turns out to be empty in the compliant form has been written already,
// and is taken back by shortening the text.

#include "documents/upnp_xml_write.h"

#include "documents/upnp_xml_compliant.h"
#include "documents/upnp_xml_escape.h"
#include "runtime/upnp_log.h"

#include <string.h>
#include <string_view>

static constexpr uint32_t         FIRST_CAPACITY = 1024;
static constexpr std::string_view level_indent = "    ";
static constexpr xml::Escaping    single_escaping = { false, false };

namespace {
enum Form : uint8_t { PLAIN, VALID, COMPLIANT };

struct Writer {
    Form        form;
    bool        pretty;
    UpnpString *text;     // null once memory has run out
    UpnpString *escaped;  // one value at a time; null but in the compliant form
};
}

static uint32_t length_of(const Writer *writer)
{
    return upnp_string_get_length(writer->text);
}

static void put(Writer *writer, std::string_view bytes)
{
    if (writer->text)
        writer->text = upnp_string_add(writer->text, bytes.data(),
                                       static_cast<uint32_t>(bytes.size()));
}

static void take_back_to(Writer *writer, uint32_t length)
{
    if (writer->text)
        upnp_string_cut(writer->text, writer->text->length - length);
}

static void put_indent(Writer *writer, int32_t level)
{
    for (; writer->pretty && level > 0; --level)
        put(writer, level_indent);
}

static void put_newline(Writer *writer)
{
    if (writer->pretty)
        put(writer, "\n");
}

static void put_filtered(Writer *writer, const char *name, const char *value)
{
    upnp_xml_escape_cond_externout(value, &writer->escaped, 0, 0);
    if (!writer->escaped)
        upnp_string_safe_free(&writer->text);
    if (writer->text)
        writer->text = xml::add_compliant_field(writer->text, name,
                                                writer->escaped->buffer);
}

// Writes a value of an element or an attribute, in the manner of the form.
static void put_value(Writer *writer, const char *name, const char *value)
{
    if (!value || !writer->text)
        return;
    switch (writer->form) {
    case PLAIN: put(writer, value); break;
    case VALID:
        writer->text =
            xml::append_escaped(writer->text, value, single_escaping);
        break;
    case COMPLIANT: put_filtered(writer, name, value); break;
    }
}

// Whether the attribute was written.
static bool put_attribute(Writer *writer, const XmlAttribute *attribute)
{
    if (!attribute->name)
        return false;
    if (writer->form == COMPLIANT &&
        upnp_util_string_is_empty(attribute->value))
        return false;

    uint32_t start = length_of(writer);
    put(writer, " ");
    put(writer, attribute->name);
    put(writer, "=\"");

    uint32_t value_start = length_of(writer);
    put_value(writer, attribute->name, attribute->value);
    if (writer->form == COMPLIANT && length_of(writer) == value_start) {
        take_back_to(writer, start);
        return false;
    }
    put(writer, "\"");
    return true;
}

static bool put_attributes(Writer *writer, const XmlAttribute *attribute)
{
    bool any = false;

    for (; attribute; attribute = attribute->next)
        any |= put_attribute(writer, attribute);
    return any;
}

// A "desc" element must name one and the same namespace if it names it twice.
static bool is_left_out(const Writer *writer, const XmlNode *node)
{
    if (!node->name)
        return true;
    if (writer->form != COMPLIANT)
        return false;
    if (*node->name == '\0')
        return true;
    if (strcmp(node->name, "desc") != 0)
        return false;

    const char *space = upnp_xml_find_attribute_value(node, "nameSpace");
    const char *xmlns = upnp_xml_find_attribute_value(node, "xmlns");
    return space && xmlns && strcmp(space, xmlns) != 0;
}

static void put_nodes(Writer *writer, const XmlNode *node, int32_t level,
                      bool single);

static void put_children(Writer *writer, const XmlNode *node, int32_t level)
{
    uint32_t start = length_of(writer);

    put_newline(writer);
    uint32_t children_start = length_of(writer);
    put_nodes(writer, node->children, level + 1, false);
    if (length_of(writer) == children_start) {
        take_back_to(writer, start);
        return;
    }
    put_newline(writer);
    put_indent(writer, level);
}

// Writes one element; what stands in front of it from start on goes with it
// if it vanishes.
static void put_element(Writer *writer, const XmlNode *node, int32_t level,
                        uint32_t start)
{
    put_indent(writer, level);
    put(writer, "<");
    put(writer, node->name);
    bool has_attributes = put_attributes(writer, node->attributes);
    put(writer, ">");

    uint32_t tag_end = length_of(writer);
    if (writer->form != COMPLIANT || !upnp_util_string_is_empty(node->value))
        put_value(writer, node->name, node->value);
    if (node->children)
        put_children(writer, node, level);

    if (writer->form != COMPLIANT || length_of(writer) > tag_end) {
        put(writer, "</");
        put(writer, node->name);
        put(writer, ">");
    } else if (has_attributes) {
        take_back_to(writer, tag_end - 1);
        put(writer, "/>");
    } else {
        take_back_to(writer, start);
    }
}

// The line feed between siblings belongs to the later one, so that elements
// that are left out or vanish leave no empty lines.
static void put_nodes(Writer *writer, const XmlNode *node, int32_t level,
                      bool single)
{
    uint32_t first = length_of(writer);

    for (; node && writer->text; node = single ? nullptr : node->next) {
        if (is_left_out(writer, node))
            continue;

        uint32_t start = length_of(writer);
        if (start > first)
            put_newline(writer);
        put_element(writer, node, level, start);
    }
}

static UpnpString *write(Form form, const XmlNode *node, int32_t pretty,
                         int32_t single)
{
    if (!node)
        return nullptr;

    Writer writer = { form, pretty != 0, nullptr, nullptr };

    writer.text = upnp_string_create(nullptr, FIRST_CAPACITY);
    if (form == COMPLIANT)
        writer.escaped = upnp_string_create(nullptr, FIRST_CAPACITY);
    put_nodes(&writer, node, 0, single != 0);

    upnp_string_free(writer.escaped);
    if (!writer.text)
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "dumpXml",
                      "Out of memory dumping XML");
    return writer.text;
}

UpnpString *upnp_xml_tree_to_string(const XmlNode *node, int32_t pretty,
                                    int32_t single)
{
    return write(PLAIN, node, pretty, single);
}

UpnpString *upnp_xml_tree_to_string_valid(const XmlNode *node, int32_t pretty,
                                          int32_t single)
{
    return write(VALID, node, pretty, single);
}

UpnpString *upnp_xml_tree_to_compliant_string(const XmlNode *node,
                                              int32_t pretty, int32_t single)
{
    return write(COMPLIANT, node, pretty, single);
}

UpnpString *upnp_xml_node_to_string(const XmlNode *node, int32_t pretty)
{
    return upnp_xml_tree_to_string(node, pretty, 0);
}
