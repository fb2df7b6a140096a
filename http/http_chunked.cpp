// http_chunked.cpp - sends a response whose length is not known beforehand.

#include "http/http_body.h"

#include "http/http_product.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_socket.h"

#include <stdio.h>
#include <string.h>
#include <string_view>

static constexpr uint32_t DATE_BYTES = 32;

// The blank of the default type stands behind the one of the line.
static constexpr char default_type[] = " text/xml; charset=\"utf-8\"";

static constexpr char head_format[] = "HTTP/1.1 200 OK\r\n"
                                      "CONTENT-TYPE: %s\r\n"
                                      "DATE: %s\r\n"
                                      "Connection: close\r\n"
                                      "EXT:\r\n"
                                      "SERVER: %s\r\n"
                                      "Transfer-Encoding: chunked\r\n"
                                      "\r\n";

static bool send_text(int32_t socket, std::string_view text)
{
    return upnp_send(socket, text.data(), static_cast<int64_t>(text.size())) !=
           -1;
}

int32_t HTTP_send_chunked_header(int32_t socket, const char *content_type)
{
    char date[DATE_BYTES];
    upnp_date_getGMT(date, sizeof(date));

    UpnpString *head = upnp_string_sprintf(
        nullptr, head_format, content_type ? content_type : default_type, date,
        http_product::server);
    if (!head)
        return 0;

    bool sent = send_text(socket, { head->buffer, head->length });
    upnp_string_free(head);
    return sent ? 0 : 1;
}

int32_t HTTP_send_chunked_part(int32_t socket, UpnpString *part)
{
    char size_line[16];

    if (upnp_string_is_empty(part))
        return 0;

    snprintf(size_line, sizeof(size_line), "%x\r\n", part->length);
    if (!send_text(socket, size_line) ||
        !send_text(socket, { part->buffer, part->length }) ||
        !send_text(socket, "\r\n"))
        return 1;

    upnp_string_empty(part);
    return 0;
}

int32_t HTTP_send_chunked_end(int32_t socket)
{
    return send_text(socket, "0\r\n\r\n") ? 0 : 1;
}
