// http_mime.h - MIME types and file extensions, both ways.
//
// Texts handed out are constants, or belong to the client database until
// upnp_client_db_exit: nothing is to be freed.
//
// Threads: any; nothing is written.
#ifndef HTTP_HTTP_MIME_H
#define HTTP_HTTP_MIME_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// The MIME type of an extension, in any case, without its dot. With a request,
// which may be null, its client's own wish goes first. An extension that is
// empty or not known gives "application/octet-stream"; null gives null.
// Of two types of one extension the first counts: "3gp" is video.
UPNP_API const char *HTTP_get_mime_type(HttpRequest *request,
                                        const char  *extension);

// What follows the last "." of name; null if there is none, and for null.
// Borrowed from name. "a.b/c" has the extension "b/c".
UPNP_API const char *HTTP_get_extension(const char *name);

// The first extension of a MIME type, else what the client database says; null
// if it is not known, and for null. A type is known if the text holds it
// anywhere, by exact case, so that parameters may follow. Three types have a
// charset of their own, which the text must then have: "text/xml" is unknown.
// "application/octet-stream" has the empty extension.
UPNP_API const char *HTTP_get_extension_by_mime_type(const char *mime);

// 1 if the table here, without the client database, knows the type as above;
// 0 for null.
UPNP_API int32_t HTTP_is_known_mime_type(const char *mime);

UPNP_C_END
#endif
