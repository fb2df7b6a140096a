// http_client_talk.cpp - whole exchanges whose answer comes into memory.

#include "http/http_client.h"

#include "http/http.h"
#include "http/http_body.h"
#include "http/http_client_parts.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_socket.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <utility>

static constexpr int32_t  POST_WAIT_MS = 30000;
static constexpr uint32_t POST_HEAD_BYTES = 1024;
static constexpr uint32_t ACTION_URL_BYTES = 1024;

static constexpr char post_format[] =
    "POST /%s HTTP/1.1\r\n"
    "Accept: */*\r\n"
    "User-Agent: %s\r\n"
    "Host: %s\r\n"
    "CONTENT-TYPE: text/xml ; charset=\"utf-8\"\r\n"
    "%s"
    "Content-Length: %d\r\n"
    "Connection: close\r\n"
    "\r\n";

// --- Response heads ---------------------------------------------------------

char *http_client::create_head()
{
    return static_cast<char *>(upnp_calloc_impl(1, HTTP_HEAD_SIZE));
}

// "HTTP/1.1 100 Continue": the response proper is still to come.
static bool is_interim(const char *head)
{
    static constexpr std::string_view start = "HTTP/1.1 1";
    const char                       *found = strstr(head, start.data());

    return found && isdigit(static_cast<unsigned char>(found[start.size()])) &&
           isdigit(static_cast<unsigned char>(found[start.size() + 1]));
}

bool http_client::read_head(int32_t socket, char *head, const char *caller,
                            const char *message)
{
    do {
        if (HTTP_get_header(socket, head, HTTP_HEAD_SIZE - 1) < 1) {
            upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, caller, "%s", message);
            return false;
        }
    } while (is_interim(head));
    return true;
}

int32_t HTTP_parse_header_response(const char *head)
{
    static constexpr int32_t NO_STATUS = 500;
    const char              *blank = head ? strchr(head, ' ') : nullptr;

    return blank ? static_cast<int32_t>(strtol(blank, nullptr, 10)) : NO_STATUS;
}

// --- Talking ----------------------------------------------------------------

static bool send_talk(int32_t socket, int32_t mode, const char *url,
                      const char *soap_action, const char *body)
{
    if (mode == HTTP_TALK_GET)
        return HTTP_get_request(socket, url, nullptr) == 0;

    body = http_client::or_empty(body);
    if (HTTP_post_request(socket, url, soap_action, body) != 0)
        return false;
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "_HTTP_talk", "Sending body:\n%s",
                  body);
    return http_client::send_text(socket, body);
}

// The body of a response; that of a 404 is read and dropped.
static UpnpString *read_answer(int32_t socket)
{
    UpnpString *body = nullptr;
    char       *head = http_client::create_head();

    if (!head)
        return nullptr;
    if (http_client::read_head(socket, head, "_HTTP_talk",
                               "received no header in HTTP_talk!"))
        body = http_read_body(socket, head, 0);
    if (upnp_istrstr(head, "404 not found"))
        upnp_string_safe_free(&body);
    upnp_free_impl(head);
    return body;
}

UpnpString *_HTTP_talk(int32_t mode, const char *url, const char *soap_action,
                       const char *body, int32_t timeout_ms)
{
    UpnpString *answer = nullptr;
    int32_t     socket;

    if (mode != HTTP_TALK_POST && mode != HTTP_TALK_GET)
        return nullptr;
    socket = HTTP_open(url);
    if (socket == -1)
        return nullptr;
    if (timeout_ms > 0)
        setSockOptReceiveTimeout(socket, timeout_ms);

    if (send_talk(socket, mode, url, soap_action, body))
        answer = read_answer(socket);
    upnp_close_socket(&socket);
    return answer;
}

UpnpString *HTTP_talk(int32_t mode, const char *url, const char *soap_action,
                      const char *body)
{
    return _HTTP_talk(mode, url, soap_action, body, 0);
}

UpnpString *HTTP_get(const char *url)
{
    return HTTP_talk(HTTP_TALK_GET, url, nullptr, nullptr);
}

UpnpString *HTTP_get_with_timeout(const char *url, int32_t timeout_ms)
{
    return _HTTP_talk(HTTP_TALK_GET, url, nullptr, nullptr, timeout_ms);
}

UpnpString *HTTP_soap_action(const char *base_url, const char *path,
                             const char *soap_action, const char *body)
{
    char url[ACTION_URL_BYTES];

    if (!base_url || !path || !soap_action || !body)
        return nullptr;

    char *base = upnp_strdup_impl(base_url);
    if (!base) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, "HTTP_soap_action",
                      "Out of memory copying URLBase");
        return nullptr;
    }
    size_t scheme = strnlen(base, http_client::http_scheme.size());
    char  *slash = strchr(base + scheme, '/');
    if (*path == '/' && slash)
        *slash = '\0';
    snprintf(url, sizeof(url), "%s%s%s", base, *path == '/' ? "" : "/", path);
    upnp_free_impl(base);
    return HTTP_talk(HTTP_TALK_POST, url, soap_action, body);
}

// --- Posting ----------------------------------------------------------------

static bool send_post(int32_t socket, const char *url, const char *headers,
                      std::string_view body)
{
    http_client::Target target;
    char                request[POST_HEAD_BYTES];
    auto                length = static_cast<int32_t>(body.size());

    if (!http_client::split_url(url, &target) || !target.has_slash)
        return false;
    snprintf(request, sizeof(request), post_format, target.path,
             http_client::user_agent().text, target.host,
             http_client::or_empty(headers), length);
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "HTTP_post_request_neutral",
                  "Sending request:\n%s", request);
    if (!http_client::send_text(socket, request))
        return false;

    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "HTTP_post", "Sending body:\n%.*s\n",
                  length, body.data());
    return http_client::send_text(socket, body);
}

// Hands the text of body over, which keeps a NUL within it in its place.
static void take_answer(UpnpString *body, char **answer,
                        uint32_t *answer_length)
{
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "HTTP_post", "answer:\n%s",
                  body->buffer);
    if (answer_length)
        *answer_length = body->length;
    if (answer)
        *answer = std::exchange(body->buffer, nullptr);
}

// Whether a head came.
static bool read_post_answer(int32_t socket, char **answer,
                             uint32_t *answer_length)
{
    static constexpr char caller[] = "HTTP_post";
    char                 *head = http_client::create_head();

    if (!head)
        return false;

    bool came =
        http_client::read_head(socket, head, caller, "received no header!");
    if (came) {
        upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, caller, "response header:\n%s",
                      head);
        UpnpString *body = HTTP_receive_body(socket, head);
        if (!upnp_string_is_empty(body))
            take_answer(body, answer, answer_length);
        upnp_string_free(body);
    }
    upnp_free_impl(head);
    return came;
}

int32_t HTTP_post(const char *url, const char *headers, const char *body,
                  int32_t length, char **answer, uint32_t *answer_length)
{
    if (length < 0 || (!body && length > 0))
        return 0;
    int32_t socket = HTTP_open(url);
    if (socket == -1)
        return 0;
    setSockOptReceiveTimeout(socket, POST_WAIT_MS);

    std::string_view bytes(http_client::or_empty(body),
                           static_cast<size_t>(length));
    bool             done = send_post(socket, url, headers, bytes) &&
                read_post_answer(socket, answer, answer_length);
    upnp_close_socket(&socket);
    return done ? 1 : 0;
}
