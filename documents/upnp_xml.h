// upnp_xml.h - a small XML tree, and the forgiving parser that makes one.
//
// The parser takes whatever devices send. It never fails on malformed markup
// while it can make a node of it. It knows no namespaces and no DTD, and it
// keeps the bytes of the document: nothing is converted to another character
// set. What it forgives:
//
//   - Only the first element of a text is read; what follows it is ignored.
//   - A wrong end tag ends the element all the same.
//   - The text of an element counts only if its end tag follows: text beside
//     children, comments and CDATA sections is dropped, and so is the content
//     of comments and CDATA sections.
//   - Attribute values need no quotes; an unquoted one ends at "/". An
//     attribute without "=" runs on to the next "=" or "/".
//   - Quotes also count in the text between elements: a lone apostrophe there
//     hides the tags up to the next one.
//
// Ownership: a node owns its name, its value, its attributes and its children,
// all of them tracked blocks. A tree is released from its top only. Searching,
// copying and writing recurse along children and loop along next: a program
// that builds trees by hand keeps them a few hundred levels deep at most.
//
// Threads: a tree belongs to one thread at a time; nothing else is shared.
#ifndef DOCUMENTS_UPNP_XML_H
#define DOCUMENTS_UPNP_XML_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

typedef struct XmlAttribute {
    char                *name;   // as written; may be empty
    char                *value;  // entities resolved; may be null
    struct XmlAttribute *next;
} XmlAttribute;

typedef struct XmlNode {
    char           *name;        // as written, with its prefix; may be empty
    char           *value;       // entities resolved; null without own text
    XmlAttribute   *attributes;  // a parsed list is in reverse document order
    struct XmlNode *next;        // sibling
    struct XmlNode *children;    // first child, in document order
    uint32_t        end_offset;  // where the element ends in the text that its
                                 // parse was given: on its ">" as a rule
} XmlNode;

// --- Parsing -----------------------------------------------------------------

// Reads the first element of text. Null for a null text, for one without a
// whole tag name, for an element at level 101, and when out of memory for the
// root. Caller frees with upnp_xml_release. Costs time proportional to the
// length of text.
UPNP_API XmlNode *upnp_xml_parse(const char *text);

// The same for an element below depth levels of others; a negative depth
// counts as 0. *error_flag is set to 1 at level 101, and left alone otherwise;
// it may be null. A flag that is set already makes the parse fail where it
// would else keep what it has.
UPNP_API XmlNode *upnp_xml_parse_with_depth(const char *text, int32_t depth,
                                            int32_t *error_flag);

// --- Building and releasing --------------------------------------------------

// New records with copies of both texts; a null value stays null. Null for a
// null name and when out of memory.
UPNP_API XmlNode      *upnp_xml_new_node(const char *name, const char *value);
UPNP_API XmlAttribute *upnp_xml_new_attribute(const char *name,
                                              const char *value);

// Appends child, and what follows it, behind the last child of parent, which
// then owns it. Walks the children there are. A null parent does nothing.
UPNP_API void upnp_xml_add_as_subnode(XmlNode *parent, XmlNode *child);

// Releases node, all its following siblings, and all that they hold, at any
// depth. May be null.
UPNP_API void upnp_xml_release(XmlNode *node);

// Releases attribute and all that follow it. May be null.
UPNP_API void upnp_xml_release_attributes(XmlAttribute *attribute);

// A deep copy of the chain, in its order. Null for null and when out of memory.
UPNP_API XmlAttribute *upnp_xml_copy_attributes(const XmlAttribute *attribute);

// A deep copy of node and its children; copy_tree also takes its following
// siblings. Null for null and when out of memory. Caller frees with
// upnp_xml_release.
UPNP_API XmlNode *upnp_xml_copy_node(const XmlNode *node);
UPNP_API XmlNode *upnp_xml_copy_tree(const XmlNode *node);

// Appends upnp_xml_copy_tree(tree) to the children of parent. A null parent
// does nothing.
UPNP_API void upnp_xml_copy_to_subnode(XmlNode *parent, const XmlNode *tree);

// --- Looking up: results are borrowed from the tree --------------------------

// The first element of that exact name, prefix included: node itself, then its
// children, then its following siblings, each with what it holds. Null if there
// is none, and for null arguments.
UPNP_API XmlNode *upnp_xml_find_tag(const XmlNode *node, const char *name);

// The same search, begun at the sibling that follows node. What node itself
// holds is not searched.
UPNP_API XmlNode *upnp_xml_find_next_tag(const XmlNode *node, const char *name);

// The value of the element that upnp_xml_find_tag gives, or null.
UPNP_API char *upnp_xml_find_tag_value(const XmlNode *node, const char *name);

// That value as a decimal number: blanks and a sign in front are taken, and
// text that is no number gives 0.
UPNP_API int32_t upnp_xml_find_tag_value_int(const XmlNode *node,
                                             const char    *name);

// That value as a number if it begins with a digit, else default_value.
UPNP_API uint32_t upnp_xml_find_tag_value_uint(const XmlNode *node,
                                               const char    *name,
                                               uint32_t       default_value);
UPNP_API uint64_t upnp_xml_find_tag_value_uint64(const XmlNode *node,
                                                 const char    *name,
                                                 uint64_t       default_value);

// The attribute of that exact name in the chain, or null.
UPNP_API XmlAttribute *upnp_xml_find_attribute(const XmlAttribute *attribute,
                                               const char         *name);

// The value of that attribute of node, or null.
UPNP_API char *upnp_xml_find_attribute_value(const XmlNode *node,
                                             const char    *name);

// Adds every element of that exact name to array, in the order in which
// upnp_xml_find_tag meets them, and returns the array to use from then on; the
// old one is gone. *count is the number of entries. A null array is an empty
// one. With nothing to add, a null argument or no memory the array comes back
// as it is. Each hit copies the array into a new block. Caller frees the array
// with upnp_free_impl, but not the nodes.
UPNP_API XmlNode **upnp_xml_find_all_nodes(const XmlNode *node,
                                           const char *name, XmlNode **array,
                                           int32_t *count);

// --- Work on texts -----------------------------------------------------------

// Index of the first byte of text that stands in set and outside quotes, or
// the length of text. A quote of either kind ends at the next of its own kind.
// 0 for a null argument and for an empty text.
UPNP_API int32_t upnp_xml_find(const char *text, const char *set);

// Index of the byte behind the "<" of the next element or end tag; -1 if there
// is none, also for null. Quoted text, comments and CDATA sections are passed
// over; "<!" and "<?" are passed like plain text.
UPNP_API int32_t upnp_xml_find_tagstart(const char *text);

// A copy of the first length bytes of text, at most of all, without the control
// bytes 1 to 31 at its end. Null for null, for a negative length and when out
// of memory. Caller frees with upnp_free_impl.
UPNP_API char *upnp_xml_strdup(const char *text, int32_t length);

// The same, but if the bytes hold a pair of quotes of one kind, begun by the
// first quote of any kind, a copy of all that lies between the two.
UPNP_API char *upnp_strdup_quoted(const char *text, int32_t length);

// Resolves, in place, &amp; &nbsp; &lt; &gt; &apos; &quot; and numeric
// references of up to four characters, which give one byte: their low 8 bits.
// A zero byte ends the text. Every other & stays. May be null.
UPNP_API void upnp_xml_unescape(char *text);

UPNP_C_END
#endif
