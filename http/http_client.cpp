// http_client.cpp - the client's settings, and the heads of its requests.

#include "http/http_client.h"

#include "http/http.h"
#include "http/http_client_parts.h"
#include "runtime/upnp_lock.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_socket.h"

#include <algorithm>
#include <atomic>
#include <stdio.h>
#include <string.h>

static constexpr char default_agent[] = "qrConnect Quorel/6.0 DLNADOC/1.50";

static constexpr char get_format[] = "%s /%s HTTP/1.1\r\n"
                                     "Accept: */*\r\n"
                                     "Host: %s\r\n"
                                     "%s%s"
                                     "\r\n";

static constexpr char get_1_0_format[] = "GET /%s HTTP/1.0\r\n"
                                         "Accept: */*\r\n"
                                         "Host: %s\r\n"
                                         "%s%s"
                                         "\r\n";

// The blank of the type stands behind the one of the line.
static constexpr char soap_format[] =
    "POST /%s HTTP/1.1\r\n"
    "Accept: */*\r\n"
    "User-Agent: %s\r\n"
    "Host: %s\r\n"
    "SOAPACTION: %s\r\n"
    "CONTENT-TYPE:  text/xml; charset=\"utf-8\"\r\n"
    "Content-Length: %d\r\n"
    "\r\n";

static constexpr char post_format[] = "POST /%s HTTP/1.1\r\n"
                                      "Accept: */*\r\n"
                                      "Host: %s\r\n"
                                      "Connection: %s\r\n"
                                      "Content-Type: %s\r\n"
                                      "%s%s%s%s"
                                      "\r\n";

// A URL has at least one character behind its host's first, be it the slash.
static constexpr size_t URL_LEAST_BYTES = 9;

static constexpr uint32_t GET_1_0_BYTES = 1024;

// A head is cut to the first and refused from the second on.
static constexpr uint32_t POST_BYTES = 1024;
static constexpr int32_t  POST_REFUSED_BYTES = 8192;

static CriticalSection    agent_lock = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };
static http_client::Agent agent;      // guarded by agent_lock
static bool               agent_set;  // guarded by agent_lock

static constinit std::atomic<int32_t> timeout_seconds = 30;

// --- Settings ---------------------------------------------------------------

static void set_agent_locked(const char *text)
{
    if (agent_set)
        return;
    snprintf(agent.text, sizeof(agent.text), "%s", text);
    agent_set = true;
}

http_client::Agent http_client::user_agent()
{
    EnterCriticalSection(&agent_lock);
    set_agent_locked(default_agent);
    Agent copy = agent;
    LeaveCriticalSection(&agent_lock);
    return copy;
}

bool http_client::find_user_agent(Agent *copy)
{
    EnterCriticalSection(&agent_lock);
    bool found = agent_set;
    *copy = agent;
    LeaveCriticalSection(&agent_lock);
    return found;
}

void HTTP_set_default_user_agent(const char *text)
{
    EnterCriticalSection(&agent_lock);
    set_agent_locked(http_client::or_empty(text));
    LeaveCriticalSection(&agent_lock);
}

void HTTP_make_user_agent_settable(void)
{
    EnterCriticalSection(&agent_lock);
    agent_set = false;
    LeaveCriticalSection(&agent_lock);
}

int32_t HTTP_set_connection_timeout(int32_t seconds)
{
    return timeout_seconds.exchange(seconds);
}

int32_t HTTP_get_connection_timeout(void)
{
    return timeout_seconds;
}

// --- Parts of a request -----------------------------------------------------

const char *http_client::or_empty(const char *text)
{
    return text ? text : "";
}

void http_client::copy_host(const char *url, char *host, uint32_t size)
{
    const char *start = url + http_scheme.size();
    size_t      length = std::min<size_t>(strcspn(start, "/"), size - 1);

    memcpy(host, start, length);
    host[length] = '\0';
}

// The path begins behind the host's first character, so that a URL without a
// host has its second slash there.
bool http_client::split_url(const char *url, Target *target)
{
    if (!url || !std::string_view(url).starts_with(http_scheme) ||
        strlen(url) < URL_LEAST_BYTES)
        return false;

    const char *slash = strchr(url + URL_LEAST_BYTES - 1, '/');
    target->has_slash = slash != nullptr;
    target->path = slash ? slash + 1 : "";
    copy_host(url, target->host, sizeof(target->host));
    return true;
}

bool http_client::send_text(int32_t socket, std::string_view text)
{
    return upnp_send(socket, text.data(), static_cast<int64_t>(text.size())) !=
           -1;
}

namespace {
struct AgentLine {
    char text[160];
};
}

// The empty text if extra brings an agent of its own.
static AgentLine make_agent_line(const char *extra)
{
    http_client::Agent current = http_client::user_agent();
    AgentLine          line = {};

    if (!strstr(extra, "User-Agent"))
        snprintf(line.text, sizeof(line.text), "User-Agent: %s\r\n",
                 current.text);
    return line;
}

// Logs and sends a request, which may be null, and frees it: 0, or 1.
static int32_t send_request(int32_t socket, UpnpString *request,
                            const char *caller)
{
    if (!request)
        return 1;
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, caller, "Sending request:\n%s",
                  request->buffer);
    bool sent =
        http_client::send_text(socket, { request->buffer, request->length });
    upnp_string_free(request);
    return sent ? 0 : 1;
}

// --- Requests ---------------------------------------------------------------

int32_t HTTP_get_request(int32_t socket, const char *url, const char *extra)
{
    return HTTP_head_or_get_request("GET", socket, url, extra);
}

int32_t HTTP_head_request(int32_t socket, const char *url, const char *extra)
{
    return HTTP_head_or_get_request("HEAD", socket, url, extra);
}

int32_t HTTP_head_or_get_request(const char *method, int32_t socket,
                                 const char *url, const char *extra)
{
    http_client::Target target;

    if (!method || !http_client::split_url(url, &target))
        return 1;
    extra = http_client::or_empty(extra);
    return send_request(socket,
                        upnp_string_sprintf(nullptr, get_format, method,
                                            target.path, target.host,
                                            make_agent_line(extra).text, extra),
                        "HTTP_head_or_get_request");
}

int32_t HTTP_get_request_1_0(int32_t socket, const char *url, const char *extra)
{
    http_client::Target target;
    char                request[GET_1_0_BYTES];

    if (!http_client::split_url(url, &target))
        return 1;
    extra = http_client::or_empty(extra);
    snprintf(request, sizeof(request), get_1_0_format, target.path, target.host,
             make_agent_line(extra).text, extra);
    return http_client::send_text(socket, request) ? 0 : 1;
}

int32_t HTTP_post_request(int32_t socket, const char *url,
                          const char *soap_action, const char *body)
{
    http_client::Target target;

    if (!http_client::split_url(url, &target) || !target.has_slash)
        return 1;
    return send_request(
        socket,
        upnp_string_sprintf(
            nullptr, soap_format, target.path, http_client::user_agent().text,
            target.host, http_client::or_empty(soap_action),
            static_cast<int32_t>(strlen(http_client::or_empty(body)))),
        "HTTP_post_request");
}

// Sends a head of length bytes, as its formatter counted them.
static bool send_post_head(int32_t socket, const char *url, const char *head,
                           int32_t length)
{
    static constexpr char caller[] = "HTTP_post_header";

    if (length < 1) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, caller,
                      "Could not create request for %s", url);
        return false;
    }
    if (length >= POST_REFUSED_BYTES) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, caller,
                      "Buffer too small for request:\n%s", head);
        return false;
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, caller, "Sending request:\n%s",
                  head);
    if (http_client::send_text(socket, { head, static_cast<size_t>(length) }))
        return true;
    upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, caller,
                  "Failed to send request to %s", url);
    return false;
}

int32_t HTTP_post_header(int32_t socket, const char *url,
                         const char *content_type, int64_t length,
                         int32_t expect, const char *extra)
{
    http_client::Target target;
    char                length_text[24];
    char                length_line[48] = "";

    if (!content_type || length < 0 || !http_client::split_url(url, &target))
        return 1;
    if (length != 0) {
        upnp_longlong_to_string(length, length_text, sizeof(length_text));
        snprintf(length_line, sizeof(length_line), "Content-Length: %s\r\n",
                 length_text);
    }
    extra = http_client::or_empty(extra);

    // What the formatter cuts off is sent as zeros, so the buffer has them.
    auto *head = static_cast<char *>(upnp_calloc_impl(1, POST_REFUSED_BYTES));
    if (!head)
        return 1;
    int32_t head_length =
        snprintf(head, POST_BYTES, post_format, target.path, target.host,
                 length != 0 ? "Keep-Alive" : "Close", content_type,
                 length_line, expect ? "Expect: 100-continue\r\n" : "",
                 make_agent_line(extra).text, extra);
    bool sent = send_post_head(socket, url, head, head_length);
    upnp_free_impl(head);
    return sent ? 0 : 1;
}
