// http_client_parts.h - what the parts of the HTTP client share.
#ifndef HTTP_HTTP_CLIENT_PARTS_H
#define HTTP_HTTP_CLIENT_PARTS_H

#include "runtime/upnp_string.h"
#include <stdint.h>
#include <string_view>

namespace http_client {

inline constexpr std::string_view http_scheme = "http://";

// What a request line and a Host line need of a URL.
struct Target {
    const char *path;       // behind its slash; borrowed from the URL
    bool        has_slash;  // whether the URL has one behind its host
    char        host[256];  // with the port, if there is one
};

struct Agent {
    char text[128];
};

// Takes a URL apart; false if it is refused.
bool split_url(const char *url, Target *target);

// Copies what stands between "http://" and the next "/", cut to size.
void copy_host(const char *url, char *host, uint32_t size);

// The default user agent, which is set by this if it was not.
Agent user_agent();

// The default user agent; false if none is set.
bool find_user_agent(Agent *agent);

// Sends all of text; whether that worked.
bool send_text(int32_t socket, std::string_view text);

// text, or the empty text for null.
const char *or_empty(const char *text);

// A buffer for one head, HTTP_HEAD_SIZE zero bytes; null when out of memory.
// Caller frees with upnp_free_impl.
char *create_head();

// Reads the head of a response, passing over interim ones, into a buffer of
// create_head. False, with the message logged under the caller's name, if none
// comes.
bool read_head(int32_t socket, char *head, const char *caller,
               const char *message);

}

#endif
