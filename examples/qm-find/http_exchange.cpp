// http_exchange.cpp - one request to a device and its answer, read piece by
// piece.

#include "qm-find/http_exchange.h"

#include "common/ssdp_text.h"
#include "http/http.h"
#include "http/http_body.h"
#include "http/http_client.h"
#include "qm-find/console.h"
#include "qm-find/url_reference.h"
#include "runtime/upnp_socket.h"

#include <algorithm>
#include <charconv>
#include <netdb.h>
#include <string_view>

using namespace find;

// Descriptions have some kilobytes, and pages of 200 objects less than one
// megabyte. A tree takes many times the memory of its text.
static constexpr size_t MOST_DOCUMENT_BYTES = 4 << 20;

static constexpr uint32_t BLOCK_BYTES = 16384;

// Answers that announce an answer, before it is one too many.
static constexpr int MOST_INTERIM_HEADS = 10;

// --- Connections -------------------------------------------------------------

// The library takes an unknown host for this machine.
static bool is_known(const std::string &host)
{
    addrinfo  hints = {};
    addrinfo *found = nullptr;

    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0)
        return false;
    freeaddrinfo(found);
    return true;
}

bool find::open_exchange(Exchange &exchange, const std::string &url)
{
    exchange.url = clean_url(url);
    if (exchange.url.empty())
        return complain(url, "not an http:// URL");
    if (!is_known(host_of(exchange.url)))
        return complain(url, "the host is not known");
    exchange.socket = HTTP_open(exchange.url.c_str());
    return exchange.socket != -1 || complain(url, "no connection");
}

void find::close_exchange(Exchange &exchange)
{
    upnp_close_socket(&exchange.socket);
}

// --- Heads -------------------------------------------------------------------

// A body ends with its last chunk, with its length, or with the connection.
static bool find_length(Exchange &exchange)
{
    std::string_view length = ssdp_text::field(exchange.head, "Content-Length");
    const char      *end = length.data() + length.size();

    exchange.bytes_left = -1;
    exchange.is_chunked = HTTP_parse_header_chunked(exchange.head.c_str()) != 0;
    if (exchange.status == 204 || exchange.is_chunked)
        exchange.bytes_left = 0;
    else if (!length.empty())
        return std::from_chars(length.data(), end, exchange.bytes_left).ptr ==
                   end &&
               exchange.bytes_left >= 0;
    return true;
}

bool find::read_answer(Exchange &exchange)
{
    for (int i = 0; i < MOST_INTERIM_HEADS; ++i) {
        exchange.head.assign(HTTP_HEAD_SIZE, '\0');
        exchange.head.resize(static_cast<size_t>(HTTP_get_header(
            exchange.socket, exchange.head.data(), HTTP_HEAD_SIZE)));
        exchange.status = HTTP_parse_header_response(exchange.head.c_str());
        if (exchange.head.empty())
            break;
        if (exchange.status / 100 != 1)
            return find_length(exchange) ||
                   complain(exchange.url, "the answer has no valid length");
    }
    return complain(exchange.url, "no answer");
}

bool find::ask(Exchange &exchange, const std::string &url, const char *extra)
{
    if (!open_exchange(exchange, url))
        return false;
    if (HTTP_get_request(exchange.socket, exchange.url.c_str(), extra) != 0)
        return complain(url, "the request could not be sent");
    return read_answer(exchange);
}

// --- Bodies ------------------------------------------------------------------

// A line without its end; empty if none comes.
static std::string read_line(int32_t socket)
{
    static constexpr size_t MOST_BYTES = 256;
    std::string             line;
    char                    c;

    while (line.size() < MOST_BYTES && upnp_recv(socket, &c, 1, 0) == 1) {
        if (c == '\n')
            return line;
        if (c != '\r')
            line += c;
    }
    return "";
}

// Reads the size of the next chunk, RFC 9112, 7.1: behind the line end of the
// one before, and in front of its extensions.
static bool read_chunk_size(Exchange &exchange)
{
    std::string line = read_line(exchange.socket);

    if (line.empty())
        line = read_line(exchange.socket);
    const char *end = line.data() + line.size();
    auto [rest, error] =
        std::from_chars(line.data(), end, exchange.bytes_left, 16);
    return error == std::errc() && exchange.bytes_left >= 0;
}

int32_t find::read_body(Exchange &exchange, char *buffer, uint32_t size)
{
    if (exchange.is_chunked && exchange.bytes_left == 0 &&
        !read_chunk_size(exchange))
        return -1;
    if (exchange.bytes_left == 0)
        return 0;
    if (exchange.bytes_left > 0)
        size =
            static_cast<uint32_t>(std::min<int64_t>(size, exchange.bytes_left));

    int32_t got = upnp_recv(exchange.socket, buffer, size, 0);
    if (got == 0)
        return exchange.bytes_left == -1 ? 0 : -1;
    if (got > 0 && exchange.bytes_left > 0)
        exchange.bytes_left -= got;
    return got;
}

std::optional<std::string> find::read_document(Exchange &exchange)
{
    std::string document;
    std::string block(BLOCK_BYTES, '\0');
    int32_t     got;

    while ((got = read_body(exchange, block.data(), BLOCK_BYTES)) > 0) {
        document.append(block, 0, static_cast<size_t>(got));
        if (document.size() > MOST_DOCUMENT_BYTES) {
            complain(exchange.url, "the answer is too large");
            return {};
        }
    }
    if (got < 0) {
        complain(exchange.url, "the answer is cut off");
        return {};
    }
    return document;
}

// --- Exchanges ---------------------------------------------------------------

bool find::has_succeeded(const Exchange &exchange)
{
    return exchange.status / 100 == 2;
}

bool find::complain_of_status(const Exchange &exchange)
{
    return complain(exchange.url,
                    "answered " +
                        std::string(ssdp_text::first_line(exchange.head)));
}

std::optional<std::string> find::fetch(const std::string &url)
{
    std::optional<std::string> document;
    Exchange                   exchange;

    if (ask(exchange, url, nullptr)) {
        if (has_succeeded(exchange))
            document = read_document(exchange);
        else
            complain_of_status(exchange);
    }
    close_exchange(exchange);
    return document;
}
