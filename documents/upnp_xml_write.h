// upnp_xml_write.h - XML trees as text, and texts made safe for XML.
//
// Three forms: plain writes values as they stand, whatever they hold; valid
// escapes them; compliant escapes them and holds the fields of DIDL-Lite to
// their limits and formats, leaving out what then is empty.
//
// Threads: any; a tree must not change while it is written.
#ifndef DOCUMENTS_UPNP_XML_WRITE_H
#define DOCUMENTS_UPNP_XML_WRITE_H

#include "documents/upnp_xml.h"
#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Trees -------------------------------------------------------------------

// Each writes node with all it holds and, with single 0, its following
// siblings. pretty puts each element on a line of its own, indented by four
// blanks a level; there is no line feed at the end. Attributes come in list
// order, which is the reverse of a parsed document's. Nodes and attributes
// without a name are left out.
// Null for a null node and when out of memory, which is logged. Caller frees
// with upnp_string_free.

// Values as they stand, both tags always: <x></x>.
UPNP_API UpnpString *upnp_xml_tree_to_string(const XmlNode *node,
                                             int32_t pretty, int32_t single);

// The same with values escaped.
UPNP_API UpnpString *upnp_xml_tree_to_string_valid(const XmlNode *node,
                                                   int32_t        pretty,
                                                   int32_t        single);

// Escaped and filtered: titles and other texts are cut, dates and addresses
// that do not fit are dropped, durations, booleans and protocolInfo come in one
// form. Elements and attributes that end up empty are left out, so the text may
// be empty; an element with attributes alone is written as <x a="b"/>.
UPNP_API UpnpString *upnp_xml_tree_to_compliant_string(const XmlNode *node,
                                                       int32_t        pretty,
                                                       int32_t        single);

// The plain form. Despite its name it also writes the following siblings.
UPNP_API UpnpString *upnp_xml_node_to_string(const XmlNode *node,
                                             int32_t        pretty);

// --- Escaping ----------------------------------------------------------------

// A copy of text with " & ' < > and all bytes below 32 as references. With
// double_escape the "&" of each reference is escaped once more. Null for null
// and when out of memory. Caller frees with upnp_free_impl.
UPNP_API char *upnp_xml_escape_cond(const char *text, int32_t double_escape);

// The same with double_escape set.
UPNP_API char *upnp_xml_escape(const char *text);

// The same into *holder, a record that is there already: its text is replaced,
// its buffer is used again. A null text leaves it empty. *holder is null
// afterwards if memory ran out. numeric_apostrophe writes ' as &#39;. text must
// not lie in that record. Null arguments do nothing.
UPNP_API void upnp_xml_escape_cond_externout(const char  *text,
                                             UpnpString **holder,
                                             int32_t      double_escape,
                                             int32_t      numeric_apostrophe);

UPNP_C_END
#endif
