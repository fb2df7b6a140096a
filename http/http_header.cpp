// http_header.cpp - the head of each response that the server sends.

#include "http/http_header.h"

#include "clientdb/upnp_client_query.h"
#include "config/upnp_ini_file.h"
#include "http/http_handlers.h"
#include "http/http_header_parts.h"
#include "http/http_product.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"
// The content-protection module plugs in at the server, above this folder.
#include "server/upnp_dtcp.h"

#include <algorithm>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static constexpr uint64_t HEAD_BYTES = HTTP_HEAD_SIZE;
static constexpr uint64_t LINE_BYTES = 128;
static constexpr uint64_t CONTENT_TYPE_BYTES = 256;
static constexpr size_t   OWN_CONTENT_TYPE_BYTES = 128;

// clang-format off
static constexpr char redsonic_format[] =
    "%s\r\n"
    "Content-Type: %s\r\n"
    "%s"                                // Content-Length
    "%s"                                // Content-Language
    "Accept-Range: 0 bytes\r\n"
    "User-Agent: redsonic\r\n"
    "\r\n";

static constexpr char unknown_length_format[] =
    "%s\r\n"
    "Content-Type: %s\r\n"
    "%s"                                // Content-Language
    "Connection: close\r\n"
    "%s"                                // Transfer-Encoding
    "%s"                                // the lines that were added
    "\r\n";

static constexpr char normal_format[] =
    "%s\r\n"
    "Content-Type: %s\r\n"
    "%s"                                // Transfer-Encoding
    "%s"                                // Content-Language
    "%s"                                // Content-Length
    "Date: %s\r\n"
    "Pragma: no-cache\r\n"
    "Cache-control: no-cache\r\n"
    "%s"                                // Last-Modified
    "Accept-Ranges: bytes\r\n"
    "Connection: %s\r\n"
    "%s"                                // the range
    "%s"                                // the lines that were added
    "EXT:\r\n"
    "Server: %s\r\n"
    "\r\n";

static constexpr char no_cache_lines[] =
    "Pragma: no-cache\r\n"
    "Cache-control: no-cache\r\n";
// clang-format on

namespace {
// The pieces of one head. Lines end in CR LF or are empty.
struct Head {
    void      **group;  // owns the texts that follow
    char       *text;   // the finished head
    char       *content_length;
    char       *content_type;
    char       *last_modified;
    char       *content_language;
    UpnpString *status_line;  // without its CR LF
    UpnpString *range_line;   // null for none
    char        date[32];
    char        type_suffix[64];
};
}

static bool take_buffers(Head *head)
{
    head->group = upnp_group_malloc(
        5, &head->text, HEAD_BYTES, &head->content_length, LINE_BYTES,
        &head->content_type, CONTENT_TYPE_BYTES, &head->last_modified,
        LINE_BYTES, &head->content_language, LINE_BYTES);
    if (!head->group)
        return false;

    head->content_length[0] = '\0';
    head->last_modified[0] = '\0';
    head->content_language[0] = '\0';
    return true;
}

static void release(Head *head)
{
    upnp_string_safe_free(&head->range_line);
    upnp_string_safe_free(&head->status_line);
    upnp_group_free(head->group);
}

static void write_last_modified(const HttpRequest *request, Head *head)
{
    UpnpString *date = nullptr;

    if (!request->file_cache || !request->file_cache->modified)
        return;

    upnp_date_formatGMT(request->file_cache->modified, &date);
    if (!upnp_string_is_empty(date))
        snprintf(head->last_modified, LINE_BYTES, "Last-Modified: %s\r\n",
                 date->buffer);
    upnp_string_safe_free(&date);
}

// The status that goes out for the one that the handler asked for.
static int32_t judge(HttpRequest *request, int32_t status,
                     const http_header::Asked &asked)
{
    if (status != 200)
        return status;

    // Resources that a foreign transcoder names are refused on purpose.
    if (strstr(request->url, "com.awox.transcode")) {
        request->content_length = 0;
        return 404;
    }
    return http_header::check_head(request, asked);
}

static bool write_status(HttpRequest *request, Head *head, int32_t status)
{
    bool answer_1_0 = request->http_version == 10 &&
                      upnp_client_db_needs_1_0_response(request->client);
    const char *text =
        status == 206 ? http_header::partial_text(request, &head->range_line)
                      : http_header::status_text(request, status, answer_1_0);

    if (!text)
        return false;
    head->status_line = upnp_string_sprintf(
        nullptr, "%s%s", answer_1_0 ? "HTTP/1.0 " : "HTTP/1.1 ", text);
    return head->status_line;
}

static int32_t number_behind(const char *text, const char *name)
{
    const char *found = strstr(text, name);

    if (!found)
        return 0;
    return static_cast<int32_t>(strtol(found + strlen(name), nullptr, 10));
}

// Raw audio is told by its MIME type with the numbers that the URL holds.
static void complete_mime_type(HttpRequest *request, Head *head)
{
    if (!request->mime_type) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, "HTTP_send_header",
                      "NO MIME TYPE given!\n    %s", request->url);
        request->mime_type = "application/octet-stream";
    }
    if (!strcmp(request->mime_type, "audio/L16"))
        snprintf(head->type_suffix, sizeof head->type_suffix,
                 ";rate=%d;channels=%d", number_behind(request->url, "rate"),
                 number_behind(request->url, "channels"));
}

static void write_content_length(HttpRequest *request, Head *head)
{
    if (request->content_length >= 0 && !request->chunked)
        snprintf(head->content_length, LINE_BYTES,
                 "Content-Length: %" PRId64 "\r\n", request->content_length);

    if (request->dlna_version &&
        request->content_length == HTTP_UNKNOWN_LENGTH) {
        request->content_length = -1;
        request->close_connection = 1;
    }
}

static void write_content_type(HttpRequest *request, Head *head)
{
    bool gets_content = request->method == HTTP_METHOD_GET ||
                        request->method == HTTP_METHOD_HEAD;

    snprintf(head->content_type, OWN_CONTENT_TYPE_BYTES, "%s%s",
             request->mime_type, head->type_suffix);
    if (!request->protected_content || !gets_content || !cb_dtcp_content_type)
        return;
    cb_dtcp_content_type(request, head->content_type, CONTENT_TYPE_BYTES);
    head->content_type[CONTENT_TYPE_BYTES - 1] = '\0';
}

static bool write_content_language(const HttpRequest *request, Head *head)
{
    if (!upnp_istrstr(request->header, "Accept-Language:"))
        return true;

    char *line = upnp_http_build_content_language_header(
        upnp_ini_file_getString(INI_LANGUAGE));
    if (!line)
        return false;
    snprintf(head->content_language, LINE_BYTES, "%s", line);
    upnp_free_impl(line);
    return true;
}

// Writes the finished head and returns its length, which may be more than was
// written.
static int32_t compose(const HttpRequest *request, Head *head)
{
    const char *status = head->status_line->buffer;
    const char *coding =
        request->chunked ? "Transfer-Encoding: chunked\r\n" : "";
    const char *range = head->range_line ? head->range_line->buffer : "";
    int32_t     length;

    if (upnp_client_db_redsonic_compliant(request->client) &&
        strstr(request->header, "redsonic")) {
        length = snprintf(head->text, HTTP_HEAD_SIZE, redsonic_format, status,
                          head->content_type, head->content_length,
                          head->content_language);
        head->text[7] = '0';
        return length;
    }
    if (request->content_length < 0) {
        length = snprintf(head->text, HTTP_HEAD_SIZE, unknown_length_format,
                          status, head->content_type, head->content_language,
                          coding, request->response_headers);
        // A stream whose end is the end of the connection is HTTP/1.0.
        if (!request->chunked)
            head->text[7] = '0';
        return length;
    }
    return snprintf(head->text, HTTP_HEAD_SIZE, normal_format, status,
                    head->content_type, coding, head->content_language,
                    head->content_length, head->date, head->last_modified,
                    request->close_connection ? "close" : "keep-alive", range,
                    request->response_headers, http_product::server);
}

// A head that does not fit is cut, and still goes out with its full length:
// zeros stand in for what is missing.
static int32_t send_zeros(HttpRequest *request, int32_t count)
{
    static constexpr char zeros[1024] = {};

    for (; count > 0; count -= static_cast<int32_t>(sizeof zeros)) {
        int32_t part = std::min(count, static_cast<int32_t>(sizeof zeros));
        if (upnp_send_ssl(request, zeros, part) == -1)
            return 1;
    }
    return 0;
}

static int32_t send_head(HttpRequest *request, Head *head)
{
    int32_t length = compose(request, head);
    int32_t written = std::min(length, static_cast<int32_t>(HEAD_BYTES));

    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "HTTP_send_header", "sending %s",
                  head->text);
    if (upnp_send_ssl(request, head->text, written) == -1)
        return 1;
    return send_zeros(request, length - written);
}

int32_t HTTP_send_header(HttpRequest *request, int32_t status)
{
    Head    head = {};
    int32_t result = 1;

    if (!request)
        return 1;
    if (!take_buffers(&head))
        return 1;

    upnp_date_getGMT(head.date, sizeof head.date);
    write_last_modified(request, &head);

    http_header::Asked asked = http_header::read_head(request->header);
    if (!write_status(request, &head, judge(request, status, asked)))
        goto out;
    complete_mime_type(request, &head);
    write_content_length(request, &head);

    http_header::add_dlna_lines(request, asked);
    if (request->protected_content)
        HTTP_add_header(request, no_cache_lines);
    http_handlers::add_head_lines(request);

    write_content_type(request, &head);
    if (!write_content_language(request, &head))
        goto out;
    result = send_head(request, &head);

out:
    release(&head);
    return result;
}

void HTTP_add_header(HttpRequest *request, const char *lines)
{
    if (!request || !lines)
        return;

    char  *headers = request->response_headers;
    size_t used = strnlen(headers, HTTP_HEAD_SIZE - 1);
    snprintf(headers + used, HTTP_HEAD_SIZE - used, "%s", lines);
}

void HTTP_set_server_info(HttpRequest *request)
{
    HTTP_add_header(request, "EXT:\r\nSERVER: ");
    HTTP_add_header(request, http_product::server);
    HTTP_add_header(request, "\r\n");
}

void HTTP_set_no_cache(HttpRequest *request)
{
    // clang-format off
    HTTP_add_header(request,
                    "Expires: 0\r\n"
                    "Pragma: no-cache\r\n"
                    "Cache-Control: no-cache\r\n");
    // clang-format on
}
