// tls_heads.cpp - reads a head byte by byte; what follows it stays with the
// session.

#include "tls/tls_http.h"

#include "http/http.h"
#include "http/http_body.h"
#include "runtime/upnp_log.h"

#include <algorithm>
#include <cstring>
#include <string_view>

// Bytes after which the start of a head is judged: the longest method.
static constexpr int32_t START_BYTES = 11;

static constexpr std::string_view head_end = "\r\n\r\n";
static constexpr uint32_t         HEAD_END_WORD = 0x0d0a0d0a;

// The most that is read for one head, with all that is dropped: a peer that
// never stops sending meets no deadline, since nobody waits for it.
static constexpr int32_t MAX_BYTES = 1 << 20;

namespace {
struct Source {
    tls::Session &session;
    int64_t       deadline_ms;
    int32_t       bytes_left;
};
}

static bool read_byte(Source &from, char *c)
{
    return from.bytes_left-- > 0 &&
           tls::read_some(from.session, c, 1, from.deadline_ms) == 1;
}

// A head begins with a method that the library knows.
static bool is_start_of_head(const char *start)
{
    return http_method_from_header(start) != 0 ||
           strncmp(start, "HTTP", 4) == 0 || strncmp(start, "ICY", 3) == 0;
}

static size_t match_end(size_t seen, char c)
{
    return c == head_end[seen] ? seen + 1 : 0;
}

static uint32_t push_byte(uint32_t last_four, char c)
{
    return last_four << 8 | static_cast<unsigned char>(c);
}

// Drops what is left of a head that does not fit.
static void drop_head(Source &from, uint32_t last_four)
{
    char c;

    while (last_four != HEAD_END_WORD && read_byte(from, &c))
        last_four = push_byte(last_four, c);
}

// Cuts a full buffer to size - 1 bytes that end like a head, as far as there
// is room for that.
static int32_t cut_head(char *buffer, int32_t size)
{
    size_t length = static_cast<size_t>(size) - 1;
    size_t tail = std::min(length, head_end.size());

    memcpy(buffer + length - tail, head_end.data() + head_end.size() - tail,
           tail);
    upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, "tls::read_head",
                  "header buffer too small!");
    return size - 1;
}

// Drops the chunked body that some clients send behind a GET: up to the last
// of two line feeds and a "0", in whatever order they come.
static bool drop_chunked_body(Source &from)
{
    int32_t line_feeds = 0;
    bool    zero_seen = false;
    char    c;

    while (line_feeds < 2 || !zero_seen) {
        if (!read_byte(from, &c))
            return false;
        line_feeds += c == '\n';
        zero_seen |= c == '0';
    }
    return true;
}

int32_t tls::read_head(Session &session, char *buffer, int32_t size)
{
    Source   from = { session, idle_deadline(), MAX_BYTES };
    int32_t  length = 0;
    size_t   end_seen = 0;
    uint32_t last_four = 0;

    if (!buffer || size < 1)
        return 0;
    while (end_seen < head_end.size()) {
        char c;
        if (!read_byte(from, &c))
            return 0;
        // Line ends left over between requests, and bytes above 0x7F.
        if (length == 0 && static_cast<signed char>(c) < ' ')
            continue;
        buffer[length++] = c;
        if (length == START_BYTES && !is_start_of_head(buffer))
            return 0;
        end_seen = match_end(end_seen, c);
        last_four = push_byte(last_four, c);
        if (length == size) {
            length = cut_head(buffer, size);
            if (end_seen < head_end.size())
                drop_head(from, last_four);
            break;
        }
    }
    buffer[length] = '\0';

    if (strncmp(buffer, "GET", 3) == 0 && HTTP_parse_header_chunked(buffer) &&
        !drop_chunked_body(from))
        return 0;
    return length;
}
