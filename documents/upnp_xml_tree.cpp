// upnp_xml_tree.cpp - makes, links, copies and releases the nodes of a tree.

#include "documents/upnp_xml.h"

#include "runtime/upnp_mem.h"

// Copies a text that may be null. Whether that worked.
static bool copy_to(char **copy, const char *text)
{
    *copy = upnp_strdup_impl(text);
    return *copy || !text;
}

// Frees a text that may be null.
static void release_text(char *text)
{
    if (text)
        upnp_free_impl(text);
}

static XmlNode *create_node(const char *name, const char *value)
{
    auto *node = static_cast<XmlNode *>(upnp_calloc_impl(1, sizeof(XmlNode)));
    if (!node)
        return nullptr;

    if (!copy_to(&node->name, name) || !copy_to(&node->value, value)) {
        upnp_xml_release(node);
        return nullptr;
    }
    return node;
}

static XmlAttribute *create_attribute(const char *name, const char *value)
{
    auto *attribute =
        static_cast<XmlAttribute *>(upnp_calloc_impl(1, sizeof(XmlAttribute)));
    if (!attribute)
        return nullptr;

    if (!copy_to(&attribute->name, name) ||
        !copy_to(&attribute->value, value)) {
        upnp_xml_release_attributes(attribute);
        return nullptr;
    }
    return attribute;
}

XmlNode *upnp_xml_new_node(const char *name, const char *value)
{
    return name ? create_node(name, value) : nullptr;
}

XmlAttribute *upnp_xml_new_attribute(const char *name, const char *value)
{
    return name ? create_attribute(name, value) : nullptr;
}

void upnp_xml_add_as_subnode(XmlNode *parent, XmlNode *child)
{
    if (!parent)
        return;

    XmlNode **link = &parent->children;
    while (*link)
        link = &(*link)->next;
    *link = child;
}

// Moves the children of a node in front of its siblings, so that the whole tree
// is released as one list, in constant stack and linear time.
static void flatten(XmlNode *node)
{
    XmlNode *last = node->children;

    while (last->next)
        last = last->next;
    last->next = node->next;
    node->next = node->children;
}

void upnp_xml_release(XmlNode *node)
{
    while (node) {
        if (node->children)
            flatten(node);

        XmlNode *next = node->next;
        upnp_xml_release_attributes(node->attributes);
        release_text(node->name);
        release_text(node->value);
        upnp_free_impl(node);
        node = next;
    }
}

void upnp_xml_release_attributes(XmlAttribute *attribute)
{
    while (attribute) {
        XmlAttribute *next = attribute->next;

        release_text(attribute->name);
        release_text(attribute->value);
        upnp_free_impl(attribute);
        attribute = next;
    }
}

XmlAttribute *upnp_xml_copy_attributes(const XmlAttribute *attribute)
{
    XmlAttribute  *copies = nullptr;
    XmlAttribute **link = &copies;

    for (; attribute; attribute = attribute->next) {
        *link = create_attribute(attribute->name, attribute->value);
        if (!*link) {
            upnp_xml_release_attributes(copies);
            return nullptr;
        }
        link = &(*link)->next;
    }
    return copies;
}

static XmlNode *copy(const XmlNode *node, bool follow_siblings);

// A copy of one node and what it holds.
static XmlNode *copy_one(const XmlNode *node)
{
    XmlNode *copied = create_node(node->name, node->value);
    if (!copied)
        return nullptr;

    copied->end_offset = node->end_offset;
    copied->attributes = upnp_xml_copy_attributes(node->attributes);
    copied->children = copy(node->children, true);
    if ((node->attributes && !copied->attributes) ||
        (node->children && !copied->children)) {
        upnp_xml_release(copied);
        return nullptr;
    }
    return copied;
}

static XmlNode *copy(const XmlNode *node, bool follow_siblings)
{
    XmlNode  *copies = nullptr;
    XmlNode **link = &copies;

    for (; node; node = follow_siblings ? node->next : nullptr) {
        *link = copy_one(node);
        if (!*link) {
            upnp_xml_release(copies);
            return nullptr;
        }
        link = &(*link)->next;
    }
    return copies;
}

XmlNode *upnp_xml_copy_node(const XmlNode *node)
{
    return copy(node, false);
}

XmlNode *upnp_xml_copy_tree(const XmlNode *node)
{
    return copy(node, true);
}

void upnp_xml_copy_to_subnode(XmlNode *parent, const XmlNode *tree)
{
    if (parent)
        upnp_xml_add_as_subnode(parent, upnp_xml_copy_tree(tree));
}
