// tls_bodies.cpp - reads bodies into memory, within limits.

#include "tls/tls_http.h"

#include "http/http_body.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"

#include <algorithm>
#include <cstring>
#include <memory>

static constexpr int64_t  MAX_BODY_BYTES = 16 << 20;
static constexpr int64_t  BODY_MS = 120'000;
static constexpr int32_t  BLOCK_BYTES = 16384;
static constexpr uint32_t LINE_BYTES = 256;

// Lines behind the last chunk.
static constexpr int32_t MAX_TRAILERS = 64;

// Hexadecimal digits of a chunk's size that can be within the limit.
static constexpr size_t MAX_SIZE_DIGITS = 7;

namespace {
struct Body {
    tls::Session &session;
    int64_t       deadline_ms;
    char         *block;  // BLOCK_BYTES
    UpnpString   *text;   // what came by now; null for nothing
};
}

static int32_t read_block(Body &body, int64_t size)
{
    return tls::read_some(
        body.session, body.block,
        static_cast<int32_t>(std::min<int64_t>(size, BLOCK_BYTES)),
        std::min(body.deadline_ms, tls::idle_deadline()));
}

static bool append(Body &body, int64_t size)
{
    if (size > MAX_BODY_BYTES - upnp_string_get_length(body.text))
        return false;
    while (size > 0) {
        int32_t count = read_block(body, size);
        if (count < 1)
            return false;
        body.text = upnp_string_add(body.text, body.block,
                                    static_cast<uint32_t>(count));
        if (!body.text)
            return false;
        size -= count;
    }
    return true;
}

// Reads one line without its CR LF. A longer one is refused.
static bool read_line(Body &body, char (&line)[LINE_BYTES])
{
    for (uint32_t length = 0; length < LINE_BYTES; ++length) {
        if (read_block(body, 1) != 1)
            return false;
        line[length] = body.block[0];
        if (line[length] != '\n')
            continue;
        line[length > 0 && line[length - 1] == '\r' ? length - 1 : length] =
            '\0';
        return true;
    }
    return false;
}

// "1a2b" or "1a2b;name=value"; -1 for anything else.
static int64_t chunk_size(const char *line)
{
    size_t digits = strspn(line, "0123456789abcdefABCDEF");

    if (digits == 0 || digits > MAX_SIZE_DIGITS ||
        (line[digits] && !strchr("; \t", line[digits])))
        return -1;
    return upnp_hexStringToLong(line);
}

static bool skip_trailers(Body &body)
{
    char line[LINE_BYTES];

    for (int32_t i = 0; i < MAX_TRAILERS; ++i) {
        if (!read_line(body, line))
            return false;
        if (!*line)
            return true;
    }
    return false;
}

static bool read_chunks(Body &body)
{
    char line[LINE_BYTES];

    while (read_line(body, line)) {
        int64_t size = chunk_size(line);
        if (size == 0)
            return skip_trailers(body);
        if (size < 0 || !append(body, size))
            return false;
        // What follows the data is the end of their line, and nothing else.
        if (!read_line(body, line) || *line)
            return false;
    }
    return false;
}

UpnpString *tls::read_body(Session &session, const char *head)
{
    if (!head)
        return nullptr;

    bool    is_chunked = HTTP_parse_header_chunked(head) != 0;
    int64_t length = HTTP_parse_header_size(head);
    if (!is_chunked && length < 1)
        return nullptr;

    std::unique_ptr<char, void (*)(void *)> block(
        static_cast<char *>(upnp_malloc_impl(BLOCK_BYTES)), upnp_free_impl);
    Body body = { session, now_ms() + BODY_MS, block.get(), nullptr };
    if (!block || !(is_chunked ? read_chunks(body) : append(body, length))) {
        session.is_out_of_step = true;
        upnp_string_safe_free(&body.text);
    }
    return body.text;
}
