// http_header_status.cpp - with which status a response goes out.

#include "http/http_header_parts.h"

#include "clientdb/upnp_client_query.h"

#include <string.h>
#include <string_view>

namespace {
struct Status {
    int32_t     code;
    bool        is_page;  // a missing MIME type becomes that of a page
    const char *text;
};
}

// clang-format off
static constexpr Status statuses[] = {
    { 201, false, "201 Created" },
    { 204, false, "204 No Content" },
    { 207, false, "207 Multi-Status" },
    { 400, true,  "400 Bad Request" },
    { 401, true,  "401 Unauthorised" },
    { 402, true,  "402 Invalid Args" },
    { 404, true,  "404 Not Found" },
    { 406, true,  "406 Not Acceptable" },
    { 412, true,  "412 Precondition Failed" },
    { 416, true,  "416 Requested Range Not Satisfiable" },
    { 500, true,  "500 Internal Server Error" },
    { 501, true,  "501 Action Failed" },
    { 503, true,  "503 Service Unavailable" },
};
// clang-format on

static const char *value_of(const char *head, const char *name)
{
    const char *found = upnp_istrstr(head, name);

    if (!found)
        return nullptr;
    found += strlen(name);
    return found + strspn(found, " ");
}

// The flags stand in the URLs that the programs make: "-FLAGS01500000" and the
// like. All of them count, wherever they stand in the head.
static void read_flags(const char *head, http_header::Asked *asked)
{
    static constexpr std::string_view mark = "FLAGS0";

    const char *found = head;
    while ((found = strstr(found, mark.data()))) {
        found += mark.size();
        std::string_view flags(found, strnlen(found, 2));
        if (flags == "0d" || flags == "0f")
            asked->interactive_flags = true;
        else if (flags == "15" || flags == "17")
            asked->streaming_flags = true;
    }
}

http_header::Asked http_header::read_head(const char *head)
{
    Asked asked = {};

    asked.transfer_mode = value_of(head, "transferMode.dlna.org:");
    asked.content_features = value_of(head, "\ngetContentFeatures.dlna.org:");
    read_flags(head, &asked);
    return asked;
}

// Whether the mode of transfer asked for does not suit the content.
static bool is_wrong_mode(const http_header::Asked &asked)
{
    const char *mode = asked.transfer_mode;

    return (asked.interactive_flags && upnp_starts_with(mode, "Streaming")) ||
           (asked.streaming_flags && upnp_starts_with(mode, "Interactive"));
}

static bool has(const HttpRequest *request, const char *text)
{
    return strstr(request->header, text);
}

// A DLNA client must send a Host line.
static bool lacks_host(const HttpRequest *request)
{
    return upnp_client_db_DLNA_version(request->client) > 0 &&
           !upnp_istrstr(request->header, "HOST:") &&
           !has(request, "getCaptionInfo.sec");
}

// Whether flags ask for play where there is none. "DLNA.ORG_FLAG=" has no S.
static bool has_wrong_flags(const HttpRequest        *request,
                            const http_header::Asked &asked)
{
    if (has(request, "DLNA.ORG_FLAG="))
        return !has(request, "Streaming");
    return asked.interactive_flags && (has(request, "PlaySpeed.dlna.org") ||
                                       has(request, "realTimeInfo.dlna.org"));
}

int32_t http_header::check_head(const HttpRequest *request, const Asked &asked)
{
    if (lacks_host(request) ||
        (asked.content_features && *asked.content_features != '1') ||
        has_wrong_flags(request, asked))
        return 400;
    return is_wrong_mode(asked) ? 406 : 200;
}

const char *http_header::status_text(HttpRequest *request, int32_t status,
                                     bool answer_1_0)
{
    for (const Status &row : statuses) {
        if (row.code != status)
            continue;
        if (row.is_page && !request->mime_type)
            request->mime_type = "text/html; charset=utf-8";
        if (status == 416 && answer_1_0) {
            request->close_connection = 1;
            return "404 Not Found";
        }
        return row.text;
    }
    return "200 OK";
}
