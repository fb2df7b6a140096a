// xml_names.h - finds elements by name, whatever prefix their author chose.
//
// Results are borrowed from the tree, and null for what it does not hold.
#ifndef COMMON_XML_NAMES_H
#define COMMON_XML_NAMES_H

#include "documents/upnp_xml.h"

#include <memory>
#include <string_view>

namespace xml_names {

using Tree = std::unique_ptr<XmlNode, decltype(&upnp_xml_release)>;

// "s:Body" is called "Body" with any prefix.
bool is_called(const XmlNode *node, std::string_view name);

// The first of node and its following siblings of that name. May be null.
const XmlNode *find(const XmlNode *node, std::string_view name);

}

#endif
