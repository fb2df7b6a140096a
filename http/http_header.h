// http_header.h - the head of each response that the server sends.
//
// A handler fills mime_type, content_length and what else it knows of the
// resource, adds lines of its own, and sends the head once.
// Threads: each call works on its own request only; header handlers run on the
// request's thread.
#ifndef HTTP_HTTP_HEADER_H
#define HTTP_HTTP_HEADER_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// A content_length by which a handler says that it does not know the length. A
// DLNA client then gets a stream without a length and the connection closes;
// other clients get this number as their Content-Length.
#define HTTP_UNKNOWN_LENGTH INT64_C(9999999999999999)

// Builds and sends the head. 0, or 1 for a null request, when out of memory
// and when sending fails.
// The DLNA lines of the request are checked first: a 200 may go out as 400,
// 404 or 406. A status that is not known goes out as "200 OK". A negative
// content_length sends no length, and without chunked the head says HTTP/1.0.
// Lines are added to response_headers, and mime_type, content_length and
// close_connection may change: call it once per request.
// A head of more than 8191 bytes is cut there and filled up with zero bytes.
UPNP_API int32_t HTTP_send_header(HttpRequest *request, int32_t status);

// Appends whole lines, each with its CR LF, to the coming head. What does not
// fit in response_headers is cut at 8191 bytes. Null arguments do nothing.
UPNP_API void HTTP_add_header(HttpRequest *request, const char *lines);

// Adds "EXT:" and "SERVER: product" (UPnP Device Architecture, 3.2.3). A null
// request: nothing.
UPNP_API void HTTP_set_server_info(HttpRequest *request);

// Adds the lines that keep the response out of caches. A null request: nothing.
UPNP_API void HTTP_set_no_cache(HttpRequest *request);

// The line "Content-Language: tag\r\n" or "Accept-Language: tag\r\n" for a
// language, with the tag of upnp_http_build_language_header_1. Null when out
// of memory. Caller frees with upnp_free_impl.
UPNP_API char *upnp_http_build_content_language_header(const char *language);
UPNP_API char *upnp_http_build_accept_language_header(const char *language);

// The HTTP tag of a language, given as such a tag or by its local name ("jp",
// "chs"). "*" for null and unknown names, null when out of memory. Caller
// frees with upnp_free_impl.
UPNP_API char *upnp_http_build_language_header_1(const char *language);

UPNP_C_END
#endif
