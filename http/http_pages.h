// http_pages.h - the pages that the server makes by itself: errors, a
// redirect, and text escaped for such pages.
//
// The page calls answer a request in full and return 0, or 1 when nothing or
// only a part could be sent; a handler hands that result on, and the connection
// then goes on or ends. They are for a request whose response has not begun.
//
// Threads: a request belongs to its connection's thread. The messages are set
// before the server starts and only read from then on.
#ifndef HTTP_HTTP_PAGES_H
#define HTTP_HTTP_PAGES_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Messages ---------------------------------------------------------------

// Title and text of the pages below, copied and cut to 63 and 127 bytes. They
// go into the HTML as they are. A null argument selects the default.

// For 401: "Unauthorized" and "Access to this page is restricted."
UPNP_API void HTTP_set_access_restriced_message(const char *title,
                                                const char *text);

// For 404: "Not Found" and "The requested URL was not found on this server."
UPNP_API void HTTP_set_file_not_found_message(const char *title,
                                              const char *text);

// For the licence state: "Unauthorized" and "This server is not licensed."
UPNP_API void HTTP_set_trial_expired_message(const char *title,
                                             const char *text);

// --- Pages ------------------------------------------------------------------

// HTML pages of at most 1023 bytes, longer ones are cut. The request gets the
// type "text/html; charset=utf-8" if it has none and stays usable otherwise:
// the head is built from a copy. 1 for a null request and when out of memory,
// with nothing sent.
//
// The two access pages run through TLS where the request does. All other
// pages go to the plain socket, whatever the request says.

// 401, without and with a challenge for Basic credentials (RFC 7617), whose
// realm is the host name.
UPNP_API int32_t HTTP_send_unauthorized(HttpRequest *request);
UPNP_API int32_t HTTP_send_access_restriced(HttpRequest *request);

// 404.
UPNP_API int32_t HTTP_send_file_not_found(HttpRequest *request);

// 503, naming the URL. detail is HTML that follows the message; may be null.
UPNP_API int32_t HTTP_send_service_unavailable(HttpRequest *request,
                                               const char  *detail);

// 401, telling that the server's licence does not cover the request.
UPNP_API int32_t HTTP_send_trial_expired(HttpRequest *request);

// --- Plain answers ----------------------------------------------------------

// These work on the request itself and set its content_length.

// The head of this status and then text as it stands, of the request's
// mime_type; null counts as empty. 1 for a null request or a failed send.
UPNP_API int32_t HTTP_send_error_message(HttpRequest *request, int32_t status,
                                         const char *text);

// The head alone. The result of HTTP_send_header; 1 for a null request.
UPNP_API int32_t HTTP_send_error_code(HttpRequest *request, int32_t status);

// Sends 307 with a Location line and no other. A location that holds "http"
// anywhere is taken as it is; any other is put behind base_url, without a
// leading "/". A session_param that is not empty follows behind "?". The line
// is cut to 2047 bytes with its end. With a null location nothing is sent.
// Always 1, so that the connection ends, since the head has no length.
UPNP_API int32_t upnp_http_redirect(HttpRequest *request, const char *location);

// --- Escaping ---------------------------------------------------------------

// Copies in to out for use inside an HTML attribute: a double quote becomes
// "&quot;", a byte of 128 and above "&#xE9;". The copy ends at the first byte
// below 32, so at a line end or a tab too, and once size - 1 bytes have been
// written. out ends with a NUL; a null in gives the empty text, a null out or
// a size of 0 does nothing.
//
// The last replacement is written whole: out must have room for ten bytes MORE
// than size. A replacement longer than size - 1 bytes is cut to that.
UPNP_API void HTTP_escape_body(const char *in, char *out, uint32_t size);

UPNP_C_END
#endif
