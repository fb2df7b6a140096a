// http_head.cpp - reading a head from a socket, its method and its target.
//
// A head is read one byte per call, so that not a byte of the body or of the
// next request leaves the socket.

#include "http/http.h"

#include "http/http_body.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_socket.h"

#include <cctype>
#include <cstring>
#include <string_view>
#include <sys/socket.h>

namespace {
struct Method {
    std::string_view name;
    uint32_t         bit;
};
}

// Searched from top to bottom; the first that begins the head wins.
// clang-format off
static constexpr Method methods[] = {
    { "GET",         HTTP_METHOD_GET         },
    { "HEAD",        HTTP_METHOD_HEAD        },
    { "OPTIONS",     HTTP_METHOD_HEAD        },  // answered with a head alone
    { "POST",        HTTP_METHOD_POST        },
    { "SUBSCRIBE",   HTTP_METHOD_SUBSCRIBE   },
    { "UNSUBSCRIBE", HTTP_METHOD_UNSUBSCRIBE },
    { "NOTIFY",      HTTP_METHOD_NOTIFY      },
};
// clang-format on

// Bytes after which the start of a head is judged: the longest method.
static constexpr int32_t START_BYTES = 11;

static constexpr std::string_view head_end = "\r\n\r\n";
static constexpr uint32_t         HEAD_END_WORD = 0x0d0a0d0a;

static uint32_t method_of(std::string_view head)
{
    for (const Method &method : methods)
        if (head.starts_with(method.name))
            return method.bit;
    return 0;
}

// Responses are read by the same reader: "HTTP/1.1 200 OK" and "ICY 200 OK".
static bool is_start_of_head(std::string_view start)
{
    return method_of(start) != 0 || start.starts_with("HTTP") ||
           start.starts_with("ICY");
}

static bool read_byte(int32_t socket, char *c)
{
    return upnp_recv(socket, c, 1, MSG_NOSIGNAL | MSG_WAITALL) > 0;
}

// How many bytes of CR LF CR LF have been seen once c has come. A byte that is
// not the next one begins anew and counts for nothing, even if it is a CR.
static size_t match_end(size_t seen, char c)
{
    return c == head_end[seen] ? seen + 1 : 0;
}

static uint32_t push_byte(uint32_t last_four, char c)
{
    return last_four << 8 | static_cast<unsigned char>(c);
}

// Drops what is left of a head that does not fit.
static void drop_head(int32_t socket, uint32_t last_four)
{
    char c;

    while (last_four != HEAD_END_WORD && read_byte(socket, &c))
        last_four = push_byte(last_four, c);
}

// Cuts a full buffer to size - 1 bytes that end like a head, as far as there
// is room for that.
static int32_t cut_head(char *buffer, int32_t size)
{
    size_t length = static_cast<size_t>(size) - 1;
    size_t tail = length < head_end.size() ? length : head_end.size();

    buffer[length] = '\0';
    upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, "HTTP_get_header",
                  "header buffer too small!\n%s", buffer);
    memcpy(buffer + length - tail, head_end.data() + head_end.size() - tail,
           tail);
    return size - 1;
}

// Drops the chunked body that some clients send behind a GET: up to the last
// of two line feeds and a "0", in whatever order they come.
static bool drop_chunked_body(int32_t socket)
{
    int32_t line_feeds = 0;
    bool    zero_seen = false;
    char    c;

    while (line_feeds < 2 || !zero_seen) {
        if (!read_byte(socket, &c))
            return false;
        line_feeds += c == '\n';
        zero_seen |= c == '0';
    }
    return true;
}

int32_t HTTP_get_header(int32_t socket, char *buffer, int32_t size)
{
    int32_t  length = 0;
    size_t   end_seen = 0;
    uint32_t last_four = 0;

    if (!buffer || size < 1)
        return 0;
    while (end_seen < head_end.size()) {
        char c;
        if (!read_byte(socket, &c))
            return 0;
        // Line ends left over between requests, and bytes above 0x7F.
        if (length == 0 && static_cast<signed char>(c) < ' ')
            continue;
        buffer[length++] = c;
        if (length == START_BYTES &&
            !is_start_of_head({ buffer, START_BYTES })) {
            upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, "HTTP_get_header",
                          "Invalid header");
            return 0;
        }
        end_seen = match_end(end_seen, c);
        last_four = push_byte(last_four, c);
        if (length == size) {
            length = cut_head(buffer, size);
            if (end_seen < head_end.size())
                drop_head(socket, last_four);
            break;
        }
    }
    buffer[length] = '\0';

    if (strncmp(buffer, "GET", 3) == 0 && HTTP_parse_header_chunked(buffer) &&
        !drop_chunked_body(socket))
        return 0;
    return length;
}

uint32_t http_method_from_header(const char *header)
{
    return header ? method_of({ header, strnlen(header, START_BYTES) }) : 0;
}

void HTTP_unescape_url(char *url)
{
    if (!url)
        return;
    char *out = url;
    for (const char *in = url; *in; ++in) {
        if (*in == '%' && isxdigit(static_cast<unsigned char>(in[1])) &&
            isxdigit(static_cast<unsigned char>(in[2]))) {
            *out++ = static_cast<char>(hexchar_to_i(in[1]) << 4 |
                                       hexchar_to_i(in[2]));
            in += 2;
        } else {
            *out++ = *in == '+' ? ' ' : *in;
        }
    }
    *out = '\0';
}
