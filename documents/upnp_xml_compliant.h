// upnp_xml_compliant.h - holds the fields of DIDL-Lite to their limits.
#ifndef DOCUMENTS_UPNP_XML_COMPLIANT_H
#define DOCUMENTS_UPNP_XML_COMPLIANT_H

#include "runtime/upnp_string.h"

namespace xml {

// Appends what the field of that name may hold of an escaped value, which may
// be nothing; neither record nor value may be null. Lengths are in bytes, so a
// cut may fall inside a reference or a UTF-8 sequence. A null or empty name
// takes any value. Null when out of memory.
UpnpString *add_compliant_field(UpnpString *text, const char *name,
                                const char *value);

}

#endif
