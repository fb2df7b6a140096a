// xml_parse_fuzz.cpp - any bytes as XML: parsed, searched, copied, released.

#include "documents/upnp_xml.h"
#include "fuzz/fuzz.h"
#include "runtime/upnp_mem.h"

#include <cstring>

using fuzz::require;

// Every name that is in the tree is found, and stands in its place.
static void search(const XmlNode *root, const XmlNode *node)
{
    for (; node; node = node->next) {
        XmlNode *found = upnp_xml_find_tag(root, node->name);
        require(found && strcmp(found->name, node->name) == 0);
        for (XmlAttribute *attribute = node->attributes; attribute;
             attribute = attribute->next)
            require(upnp_xml_find_attribute(node->attributes, attribute->name));
        search(root, node->children);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    auto    text = fuzz::make_text(data, size).bytes;
    int64_t used = upnp_mem_used();
    size_t  length = strlen(text.get());

    XmlNode *root = upnp_xml_parse(text.get());
    if (root) {
        require(!root->next && root->end_offset <= length);
        if (size < 1000)
            search(root, root);
        XmlNode *copy = upnp_xml_copy_tree(root);
        require(copy && upnp_xml_copy_attributes(nullptr) == nullptr);
        upnp_xml_release(copy);
    }
    upnp_xml_release(root);
    require(memcmp(text.get(), data, size) == 0);

    require(upnp_xml_find_tagstart(text.get()) <= static_cast<int64_t>(length));
    require(upnp_xml_find(text.get(), "=/") <= static_cast<int64_t>(length));
    char *quoted = upnp_strdup_quoted(text.get(), static_cast<int32_t>(size));
    upnp_xml_unescape(quoted);
    upnp_free_impl(quoted);

    require(upnp_mem_used() == used);
    return 0;
}
