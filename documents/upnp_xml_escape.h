// upnp_xml_escape.h - appends escaped text to a record.
#ifndef DOCUMENTS_UPNP_XML_ESCAPE_H
#define DOCUMENTS_UPNP_XML_ESCAPE_H

#include "runtime/upnp_string.h"

namespace xml {

struct Escaping {
    bool twice;               // the "&" of each reference is escaped again
    bool numeric_apostrophe;  // ' becomes a numeric reference
};

// Appends text, which must not be null. As with all that grows a record, the
// result is the record from then on, or null when out of memory.
UpnpString *append_escaped(UpnpString *str, const char *text,
                           Escaping escaping);

}

#endif
