// upnp_error.h - the error codes of UPnP actions, and the SOAP fault that
// carries one (UPnP Device Architecture 1.0, 3.2.2).
//
// Threads: a table is set before the server starts; the rest from any thread.
#ifndef SERVER_UPNP_ERROR_H
#define SERVER_UPNP_ERROR_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

// One row of a table, which ends at a negative code or a null message.
typedef struct UpnpErrorMessage {
    int32_t     code;
    const char *message;  // goes into the fault as it is, unescaped
} UpnpErrorMessage;

// The fault as a printf format: code (%d) and message (%s).
UPNP_API extern const char g_strUPnPError[];

// Sets a table that goes before the library's own; null for none, as at load.
// It is not copied: it must live as long as it is set.
UPNP_API void upnp_set_errmsgs(const UpnpErrorMessage *table);

// The message of a code. An unknown or negative code gives "Bad request".
// Borrowed: a constant, or of the table that was set.
UPNP_API const char *upnp_get_errmsg(int32_t code);

// A fault with a code and its message; an unknown code is reported as 400.
// Null when out of memory. Caller frees with upnp_string_free.
UPNP_API UpnpString *upnp_error(int32_t code);

// Sends the fault. The HTTP status is the code itself for 400, 412 and 501,
// and 500 for all other codes, known or not. 0, or 1 if the head or the text
// could not be sent; when out of memory the head of 501 alone, and its result.
// 1 for a null request. The text goes to the plain socket, also where the
// request runs on TLS.
UPNP_API int32_t upnp_send_error(HttpRequest *request, int32_t code);

UPNP_C_END
#endif
