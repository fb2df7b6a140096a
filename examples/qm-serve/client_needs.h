// client_needs.h - what the client of a request needs of this program.
//
// The library asks for itself what concerns the heads of its answers.
#ifndef QM_SERVE_CLIENT_NEEDS_H
#define QM_SERVE_CLIENT_NEEDS_H

#include "http/http.h"
#include "qm-serve/listing.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace serve {

struct ClientNeeds {
    int32_t client;  // id for upnp_client_db_*

    // What it is shown.
    bool   music_only;   // no pictures, no video
    size_t max_text;     // bytes of a title and a name, escaped
    size_t max_objects;  // in one answer
    bool   unlimited;    // no text is cut
    bool   ascii;        // characters beyond ASCII as references
    bool   time_in_date;

    // Resources.
    bool dlna;             // takes DLNA parameters
    bool mp4_profile;      // of MP4 files, even where it is not known for sure
    bool duration;         // always, even where it is not known
    bool bitrate;          // may be told
    bool video_bitrate;    // always
    bool art_as_resource;  // a cover is a resource as well

    // Requests.
    bool ignore_sort;    // its sort criteria count for nothing
    bool plain_sort;     // by bytes
    bool absolute_urls;  // in the device's description
    bool known_uploads;  // uploads of media only
};

ClientNeeds needs_of(const HttpRequest *request);

// The MIME type by which this client knows files of that name; never freed.
const char *media_type_for(const ClientNeeds &needs, const char *name);

// Whether the client is shown such an object.
bool is_shown(const ClientNeeds &needs, const ListedEntry &entry);

// The text of a document for this client: no change for most.
std::string text_for(const ClientNeeds &needs, const std::string &text);

}

#endif
