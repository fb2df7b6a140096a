// http_handlers.h - what the request loop asks of the handler lists.
#ifndef HTTP_HTTP_HANDLERS_H
#define HTTP_HTTP_HANDLERS_H

#include "http/http.h"

namespace http_handlers {

// What a request needs of its row. A copy, since the list may be emptied while
// the request's body is read.
struct Match {
    HttpHandler handler;
    bool        read_body;
    bool        remote_allowed;
};

// Finds the row for the method and the url of a request; whether there is one.
bool find(const HttpRequest &request, Match &match);

// Whether no URL handler is registered.
bool is_empty();

// Calls the header handlers, which may add lines to the response head.
void add_head_lines(HttpRequest *request);

}

#endif
