// device.h - the media server as a UPnP device: its descriptions and its icon.
#ifndef QM_SERVE_DEVICE_H
#define QM_SERVE_DEVICE_H

#include "http/http.h"

#include <string_view>

namespace serve {

// Makes this process a media server, which announces itself and answers
// searches from the start on, and writes its descriptions. The properties must
// be set. False when out of memory.
bool create_device();

// Whether one of the device's documents has this path.
bool is_document(std::string_view path);

// Sends the document of that path; see stream.h for the result.
int32_t send_document(HttpRequest *request, std::string_view path);

}

#endif
