// http_header_parts.h - the pieces of which a response head is made.
#ifndef HTTP_HTTP_HEADER_PARTS_H
#define HTTP_HTTP_HEADER_PARTS_H

#include "http/http.h"
#include "runtime/upnp_string.h"

namespace http_header {

// What several rules ask of the request's head, searched for once.
struct Asked {
    const char *transfer_mode;      // value of transferMode.dlna.org, or null
    const char *content_features;   // of getContentFeatures.dlna.org, or null
    bool        interactive_flags;  // DLNA flags of content that is not played
    bool        streaming_flags;    // DLNA flags of content that is
};

Asked read_head(const char *head);

// The status with which a 200 goes out once the head has been checked: 200,
// 400 or 406.
int32_t check_head(const HttpRequest *request, const Asked &asked);

// The status text of all but 206; what is not known is "200 OK". A page
// without a MIME type gets one. With answer_1_0 the client knows no 416.
const char *status_text(HttpRequest *request, int32_t status, bool answer_1_0);

// The status text of a 206, and its line for the range: null when out of
// memory. *range_line stays null where the head has no such line.
const char *partial_text(const HttpRequest *request, UpnpString **range_line);

// Adds contentFeatures.dlna.org, AvailableSeekRange.DLNA.ORG and
// transferMode.dlna.org as far as they are asked for, and sets the socket's
// priority for a transfer mode that is.
void add_dlna_lines(HttpRequest *request, const Asked &asked);

}

#endif
