// client_access.h - which clients are served at all, and when they last asked.
#ifndef QM_SERVE_CLIENT_ACCESS_H
#define QM_SERVE_CLIENT_ACCESS_H

#include "http/http.h"

#include <cstdint>
#include <ctime>
#include <string>

namespace serve {

// Takes note of a request. Whether its client may use the server: an operator
// may have denied it, or it may be a stranger from outside.
bool admit(HttpRequest *request);

// 403, or 401 for a stranger; the result is that of a handler.
int32_t turn_away(HttpRequest *request);

// The handler of that function for those who may use the server.
template <HttpHandler handler> int32_t admitted(HttpRequest *request)
{
    return admit(request) ? handler(request) : turn_away(request);
}

// The same for what nobody may do from outside.
template <HttpHandler handler> int32_t admitted_at_home(HttpRequest *request)
{
    return admit(request) && !request->from_remote_listener
               ? handler(request)
               : turn_away(request);
}

// When a client of this address last asked for something; 0 for never.
time_t last_request(const std::string &ip);

}

#endif
