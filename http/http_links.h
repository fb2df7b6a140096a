// http_links.h - session tokens and parameters in the links that clients get.
//
// Threads: each call works on its own texts.
#ifndef HTTP_HTTP_LINKS_H
#define HTTP_HTTP_LINKS_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"

UPNP_C_BEGIN

// Carries the session of a request into a document: "<!-- TOKEN -->" becomes
// session_param, and if that is not empty it is added to each URL between
// href="", src="", url="", <guid>, <url> and <link>. A URL is left alone if
// session_param stands in it, or anywhere behind the last link of its kind.
//
// Returns the document to use from now on; the one handed in may be gone. Null
// when out of memory, and it is then gone too. With a null request, and for a
// null or empty document, document comes back as it is. Costs time
// proportional to its length.
UPNP_API UpnpString *http_post_process_for_remote_access(HttpRequest *request,
                                                         UpnpString  *document);

// Frees url and returns a new text in which all parameters name are gone and
// name=value, both escaped, is the last one. A name is looked for as it
// stands. Null for a null argument, a record without a buffer, and when out of
// memory: url is then left alone.
UPNP_API UpnpString *HTTP_set_url_parameter(UpnpString *url, const char *name,
                                            const char *value);

UPNP_C_END
#endif
