// http_pages.cpp - error pages, the redirect, and text escaped for pages.
//
// A page is sent with a copy of its request: what the head builder changes
// there, such as added lines, leaves the request itself usable.

#include "http/http_pages.h"

#include "http/http_header.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_socket.h"

#include <algorithm>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

static constexpr uint32_t PAGE_BYTES = 1024;

static constexpr char html_type[] = "text/html; charset=utf-8";

static constexpr char message_page[] =
    "<HTML><HEAD><TITLE>%d %s</TITLE></HEAD><BODY><H1>%s</H1>%s</BODY></HTML>";

// Has no end of its body, unlike the others.
static constexpr char unavailable_page[] =
    "<HTML><HEAD><TITLE>503 Service Unavailable</TITLE></HEAD>"
    "<BODY><H1>Service Unavailable</H1>"
    "Server can't provide %s resource now.<br>%s</HTML>";

namespace {
struct Message {
    char title[64];
    char text[128];
};

// How one page goes out.
struct Delivery {
    int32_t     status;
    bool        through_tls;  // the page follows its head into TLS
    const char *head_line;    // added to the head, or null
};
}

static constexpr Message access_default = {
    "Unauthorized",
    "Access to this page is restricted.",
};
static constexpr Message not_found_default = {
    "Not Found",
    "The requested URL was not found on this server.",
};
static constexpr Message trial_default = {
    "Unauthorized",
    "This server is not licensed.",
};

// Written before the server starts.
static Message access_message = access_default;
static Message not_found_message = not_found_default;
static Message trial_message = trial_default;

static void set_message(Message &message, const Message &standard,
                        const char *title, const char *text)
{
    snprintf(message.title, sizeof(message.title), "%s",
             title ? title : standard.title);
    snprintf(message.text, sizeof(message.text), "%s",
             text ? text : standard.text);
}

// Sends head and page, for which copy stands in.
static int32_t send_with_copy(HttpRequest *request, HttpRequest *copy,
                              const Delivery &by, const char *page)
{
    auto    length = static_cast<int64_t>(strlen(page));
    int32_t sent;

    // The copy keeps its null type: the head builder knows what an error is.
    *copy = *request;
    copy->content_length = length;
    if (!request->mime_type)
        request->mime_type = html_type;

    HTTP_add_header(copy, by.head_line);
    HTTP_send_header(copy, by.status);
    sent = by.through_tls ? upnp_send_ssl(request, page, length)
                          : upnp_send(request->socket, page, length);
    return sent < 0 ? 1 : 0;
}

UPNP_PRINTF(3, 4)
static int32_t send_page(HttpRequest *request, const Delivery &by,
                         const char *format, ...)
{
    char        *page = nullptr;
    HttpRequest *copy = nullptr;
    int32_t      result = 1;
    va_list      args;

    if (!request)
        return 1;
    page = static_cast<char *>(upnp_malloc_impl(PAGE_BYTES));
    copy = static_cast<HttpRequest *>(upnp_malloc_impl(sizeof(HttpRequest)));
    if (!page || !copy)
        goto out;

    va_start(args, format);
    vsnprintf(page, PAGE_BYTES, format, args);
    va_end(args);
    result = send_with_copy(request, copy, by, page);

out:
    if (copy)
        upnp_free_impl(copy);
    if (page)
        upnp_free_impl(page);
    return result;
}

static int32_t send_message(HttpRequest *request, const Delivery &by,
                            const Message &message)
{
    return send_page(request, by, message_page, by.status, message.title,
                     message.title, message.text);
}

void HTTP_set_access_restriced_message(const char *title, const char *text)
{
    set_message(access_message, access_default, title, text);
}

void HTTP_set_file_not_found_message(const char *title, const char *text)
{
    set_message(not_found_message, not_found_default, title, text);
}

void HTTP_set_trial_expired_message(const char *title, const char *text)
{
    set_message(trial_message, trial_default, title, text);
}

int32_t HTTP_send_unauthorized(HttpRequest *request)
{
    return send_message(request, { 401, true, nullptr }, access_message);
}

int32_t HTTP_send_access_restriced(HttpRequest *request)
{
    char host[128] = "";
    char challenge[192];

    // A host name that is cut off may come without its NUL.
    upnp_gethostname(host, sizeof(host));
    host[sizeof(host) - 1] = '\0';

    // The line ends in LF alone; clients take it.
    snprintf(challenge, sizeof(challenge),
             "WWW-Authenticate: Basic realm=\"%s\"\n", host);
    return send_message(request, { 401, true, challenge }, access_message);
}

int32_t HTTP_send_file_not_found(HttpRequest *request)
{
    return send_message(request, { 404, false, nullptr }, not_found_message);
}

int32_t HTTP_send_service_unavailable(HttpRequest *request, const char *detail)
{
    return send_page(request, { 503, false, nullptr }, unavailable_page,
                     request ? request->url : "", detail ? detail : "");
}

int32_t HTTP_send_trial_expired(HttpRequest *request)
{
    return send_message(request, { 401, false, nullptr }, trial_message);
}

int32_t HTTP_send_error_message(HttpRequest *request, int32_t status,
                                const char *text)
{
    if (!request)
        return 1;
    if (!text)
        text = "";

    auto length = static_cast<int64_t>(strlen(text));
    request->content_length = length;
    HTTP_send_header(request, status);
    return upnp_send(request->socket, text, length) == -1;
}

int32_t HTTP_send_error_code(HttpRequest *request, int32_t status)
{
    if (!request)
        return 1;
    request->content_length = 0;
    return HTTP_send_header(request, status);
}

static void send_text(HttpRequest *request, const char *text)
{
    upnp_send_ssl(request, text, static_cast<int64_t>(strlen(text)));
}

int32_t upnp_http_redirect(HttpRequest *request, const char *location)
{
    char        target[2048];
    const char *base = "";

    if (!request || !location)
        return 1;
    if (!strstr(location, "http")) {
        base = request->base_url;
        location += *location == '/' ? 1 : 0;
    }
    snprintf(target, sizeof(target), "%s%s%s%s\r\n\r\n", base, location,
             *request->session_param ? "?" : "", request->session_param);

    send_text(request, "HTTP/1.1 307 Moved Temporarily\r\n");
    send_text(request, "Location: ");
    send_text(request, target);
    return 1;
}

// Writes the replacement of a byte and returns its length, 0 for a byte that
// stays as it is. room is what the formatter may use.
static uint32_t write_replacement(char *out, uint32_t room, unsigned char byte)
{
    int length = 0;

    if (byte == '"')
        length = snprintf(out, room, "&quot;");
    else if (byte >= 128)
        length = snprintf(out, room, "&#x%X;", byte);
    return std::min(static_cast<uint32_t>(length), room - 1);
}

void HTTP_escape_body(const char *in, char *out, uint32_t size)
{
    uint32_t count = 0;

    if (!out || size == 0)
        return;
    for (; in && count < size - 1; ++in) {
        auto byte = static_cast<unsigned char>(*in);
        if (byte < ' ')
            break;
        // The whole size and not what is left of it, so that a replacement is
        // never cut in the middle; it may reach behind size.
        uint32_t written = write_replacement(out + count, size, byte);
        if (written == 0)
            out[count++] = *in;
        count += written;
    }
    out[count] = '\0';
}
