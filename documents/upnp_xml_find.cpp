// upnp_xml_find.cpp - looks up elements, values and attributes in a tree.

#include "documents/upnp_xml.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"

#include <stdlib.h>
#include <string.h>

// An array of found nodes takes this much an entry, three times what a pointer
// needs: programs may count on the room behind the last one.
static constexpr uint64_t ENTRY_BYTES = 24;

// A node of a tree built by hand may lack a name: nothing matches it.
static bool has_name(const char *own, const char *name)
{
    return own && strcmp(own, name) == 0;
}

XmlNode *upnp_xml_find_tag(const XmlNode *node, const char *name)
{
    if (!name)
        return nullptr;
    for (; node; node = node->next) {
        if (has_name(node->name, name))
            return const_cast<XmlNode *>(node);
        if (XmlNode *found = upnp_xml_find_tag(node->children, name))
            return found;
    }
    return nullptr;
}

XmlNode *upnp_xml_find_next_tag(const XmlNode *node, const char *name)
{
    return node ? upnp_xml_find_tag(node->next, name) : nullptr;
}

char *upnp_xml_find_tag_value(const XmlNode *node, const char *name)
{
    const XmlNode *found = upnp_xml_find_tag(node, name);

    return found ? found->value : nullptr;
}

int32_t upnp_xml_find_tag_value_int(const XmlNode *node, const char *name)
{
    const char *value = upnp_xml_find_tag_value(node, name);

    return value ? static_cast<int32_t>(strtol(value, nullptr, 10)) : 0;
}

// The value if it begins with a digit, else null.
static const char *find_number(const XmlNode *node, const char *name)
{
    const char *value = upnp_xml_find_tag_value(node, name);

    return value && *value >= '0' && *value <= '9' ? value : nullptr;
}

uint32_t upnp_xml_find_tag_value_uint(const XmlNode *node, const char *name,
                                      uint32_t default_value)
{
    const char *number = find_number(node, name);

    return number ? upnp_atoui(number) : default_value;
}

uint64_t upnp_xml_find_tag_value_uint64(const XmlNode *node, const char *name,
                                        uint64_t default_value)
{
    const char *number = find_number(node, name);

    return number ? upnp_atoui64(number, nullptr) : default_value;
}

XmlAttribute *upnp_xml_find_attribute(const XmlAttribute *attribute,
                                      const char         *name)
{
    if (!name)
        return nullptr;
    for (; attribute; attribute = attribute->next) {
        if (has_name(attribute->name, name))
            return const_cast<XmlAttribute *>(attribute);
    }
    return nullptr;
}

char *upnp_xml_find_attribute_value(const XmlNode *node, const char *name)
{
    const XmlAttribute *found =
        node ? upnp_xml_find_attribute(node->attributes, name) : nullptr;

    return found ? found->value : nullptr;
}

// The array with one more entry, or as it is if there is no memory.
static XmlNode **add_entry(XmlNode **array, int32_t *count, const XmlNode *node)
{
    uint32_t used = array && *count > 0 ? static_cast<uint32_t>(*count) : 0;
    uint64_t size = used * ENTRY_BYTES + ENTRY_BYTES;

    if (size > UINT32_MAX)
        return array;
    auto **grown =
        static_cast<XmlNode **>(upnp_malloc_impl(static_cast<uint32_t>(size)));
    if (!grown)
        return array;

    if (used > 0)
        memcpy(grown, array, used * sizeof(*array));
    if (array)
        upnp_free_impl(array);
    grown[used] = const_cast<XmlNode *>(node);
    *count = static_cast<int32_t>(used + 1);
    return grown;
}

XmlNode **upnp_xml_find_all_nodes(const XmlNode *node, const char *name,
                                  XmlNode **array, int32_t *count)
{
    if (!name || !count)
        return array;
    for (; node; node = node->next) {
        if (has_name(node->name, name))
            array = add_entry(array, count, node);
        array = upnp_xml_find_all_nodes(node->children, name, array, count);
    }
    return array;
}
