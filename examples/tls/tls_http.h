// tls_http.h - heads and bodies, read through a session.
#ifndef TLS_TLS_HTTP_H
#define TLS_TLS_HTTP_H

#include "runtime/upnp_string.h"
#include "tls/tls_session.h"

#include <stdint.h>

namespace tls {

// Reads one head by the rules of HTTP_get_header, within the time that a peer
// may idle. Returns its length, 0 if there is none.
int32_t read_head(Session &session, char *buffer, int32_t size);

// Reads the body that a head announces by chunked coding or a Content-Length,
// at most 16 MiB. Null without a body, for a larger or malformed one, for one
// that does not come whole in two minutes, and when out of memory. No further
// head can be read behind a body that failed, since nobody knows where it
// begins; an answer can still be sent, unless it was the time that ran out.
// Caller frees with upnp_string_free.
UpnpString *read_body(Session &session, const char *head);

}

#endif
