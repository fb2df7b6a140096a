// didl.h - objects as DIDL-Lite (ContentDirectory:1, 2.8.1).
#ifndef QM_SERVE_DIDL_H
#define QM_SERVE_DIDL_H

#include "qm-serve/client_needs.h"
#include "qm-serve/object_id.h"

#include <string>
#include <string_view>
#include <vector>

namespace serve {

// Which optional properties are asked for: "*" for all, or a list of names such
// as "res,res@size,container@childCount".
struct Filter {
    bool                          all;
    std::vector<std::string_view> names;  // borrowed from the list
};

Filter read_filter(std::string_view list);

// The protocolInfo of a MIME type: the parameters that stand behind ";" are
// left out, since the fourth field has some of its own.
std::string protocol_info(std::string_view type, const std::string &parameters);

// The document for these objects, which lie in the folder, and for the client
// that needs this; base_url is that of the server, with "/". Empty when out of
// memory.
std::string didl(const MediaFolder &folder, const std::vector<Object> &objects,
                 const Filter &filter, const ClientNeeds &needs,
                 const char *base_url);

}

#endif
