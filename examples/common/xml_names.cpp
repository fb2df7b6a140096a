// xml_names.cpp - finds elements by name, whatever prefix their author chose.

#include "common/xml_names.h"

bool xml_names::is_called(const XmlNode *node, std::string_view name)
{
    std::string_view whole = node->name;
    size_t           colon = whole.rfind(':');

    return whole.substr(colon == whole.npos ? 0 : colon + 1) == name;
}

const XmlNode *xml_names::find(const XmlNode *node, std::string_view name)
{
    while (node && !is_called(node, name))
        node = node->next;
    return node;
}
