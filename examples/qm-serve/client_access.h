// client_access.h - which clients are served at all, and when they last asked.
#ifndef QM_SERVE_CLIENT_ACCESS_H
#define QM_SERVE_CLIENT_ACCESS_H

#include "http/http.h"

#include <cstdint>
#include <ctime>
#include <string>

namespace serve {

// Takes note of a request. Whether its client may use the server: an operator
// may have denied it.
bool admit(HttpRequest *request);

// 403; the result is that of a handler.
int32_t turn_away(HttpRequest *request);

// The handler of that function for those who may use the server.
template <HttpHandler handler> int32_t admitted(HttpRequest *request)
{
    return admit(request) ? handler(request) : turn_away(request);
}

// When a client of this address last asked for something; 0 for never.
time_t last_request(const std::string &ip);

}

#endif
