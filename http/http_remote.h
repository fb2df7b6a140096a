// http_remote.h - requests from outside the local network.
#ifndef HTTP_HTTP_REMOTE_H
#define HTTP_HTTP_REMOTE_H

#include "http/http.h"
#include "runtime/upnp_lock.h"

namespace http_remote {

// Guards g_remote_base_url, which connection threads replace and read.
extern CriticalSection base_url_lock;

// Marks a request that came in through the configured remote port. It needs a
// session, unless it asks for the entry page, which shows the public address.
void recognise_port(HttpRequest &request);

// Replaces base_url by the public address, where one is configured.
void use_public_base_url(HttpRequest &request);

}

#endif
