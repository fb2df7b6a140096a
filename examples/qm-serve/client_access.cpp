// client_access.cpp - which clients are served at all, and when they last
// asked.

#include "qm-serve/client_access.h"

#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_query.h"
#include "qm-serve/remote.h"
#include "qm-serve/stream.h"

#include <algorithm>
#include <map>
#include <mutex>

// Addresses that are remembered: more than a home has, but no forged ones
// without end.
static constexpr size_t MAX_SEEN = 1024;

static std::mutex                    seen_lock;
static std::map<std::string, time_t> seen;  // guarded by seen_lock

static void note(const char *ip)
{
    std::scoped_lock lock(seen_lock);

    if (seen.size() >= MAX_SEEN && !seen.contains(ip))
        seen.erase(std::min_element(
            seen.begin(), seen.end(),
            [](const auto &a, const auto &b) { return a.second < b.second; }));
    seen[ip] = time(nullptr);
}

// Some clients wait for the end of the connection to take an answer for whole.
bool serve::admit(HttpRequest *request)
{
    note(request->client_ip);
    if (upnp_client_db_allways_close_connection(request->client))
        request->close_connection = 1;
    return upnp_client_db_access_allowed(request->client_ip) &&
           !is_stranger(request);
}

int32_t serve::turn_away(HttpRequest *request)
{
    return is_stranger(request) ? turn_stranger_away(request)
                                : close_with(request, "403 Forbidden", "");
}

time_t serve::last_request(const std::string &ip)
{
    std::scoped_lock lock(seen_lock);
    auto             found = seen.find(ip);

    return found == seen.end() ? 0 : found->second;
}
