// http_head_test.cpp - heads read from a socket, and their first lines.

#include "http/http.h"
#include "support/edge_text.h"
#include "support/socket_pair.h"

#include <gtest/gtest.h>
#include <string>

namespace {
struct Read {
    std::string head;  // empty: refused
    std::string rest;  // what is left on the socket
};
}

// Reads a head of a peer that sends input and closes, into size bytes that end
// at an unmapped page.
static Read read_head(const std::string &input, int32_t size)
{
    EdgeBytes  buffer(std::string(static_cast<size_t>(size), '#'));
    SocketPair pair(input);
    Read       result;

    shutdown(pair.peer, SHUT_WR);
    int32_t length = HTTP_get_header(pair.own, buffer.data, size);
    if (length > 0) {
        result.head.assign(buffer.data, static_cast<size_t>(length));
        EXPECT_EQ(buffer.data[length], '\0');
    }
    result.rest = SocketPair::waiting(pair.own);
    return result;
}

static const std::string plain = "GET / HTTP/1.1\r\n\r\n";

TEST(HeadReader, TakesOneHeadAndLeavesTheRest)
{
    static const std::string chunked =
        "GET / HTTP/1.1\r\ntransfer-encoding: Chunked\r\n\r\n";
    static const struct {
        const char *why;
        std::string input;
        int32_t     size;
        std::string head, rest;
    } cases[] = {
        { "a request", plain + "next", 64, plain, "next" },
        { "noise in front", "\r\n\x01\x1f\x80\xff" + plain, 64, plain, "" },
        { "a response", "HTTP/1.1 200 OK\r\n\r\n", 64,
          "HTTP/1.1 200 OK\r\n\r\n", "" },
        { "a radio station", "ICY 200 OK\r\n\r\n", 64, "ICY 200 OK\r\n\r\n",
          "" },
        { "longest method", "UNSUBSCRIBE\r\n\r\n", 64, "UNSUBSCRIBE\r\n\r\n",
          "" },
        { "almost a method", "UNSUBSCRIBX\r\n\r\n", 64, "", "\r\n\r\n" },
        { "unknown method", "PUT / HTTP/1.1\r\n\r\n", 64, "", "1.1\r\n\r\n" },
        { "too short to judge", "PUT /\r\n\r\n", 64, "PUT /\r\n\r\n", "" },
        { "NUL inside", std::string("GET /\0 H\r\n\r\n", 12), 64,
          std::string("GET /\0 H\r\n\r\n", 12), "" },
        { "a second CR begins nothing", "GET /\r\n\r\r\n\r\n\r\n+", 64,
          "GET /\r\n\r\r\n\r\n\r\n", "+" },
        { "chunked body behind GET", chunked + "0\r\n\r\nnext", 64, chunked,
          "next" },
        { "chunk ends at the first 0", chunked + "1\r\nx\r\n0\r\n\r\n", 64,
          chunked, "\r\n\r\n" },
        { "chunked body cut off", chunked + "0\r\n", 64, "", "" },
        { "one byte to spare", plain + "+", 19, plain, "+" },
        { "no room for NUL", plain + "+", 18, "GET / HTTP/1.\r\n\r\n", "+" },
        { "cut inside the end", plain + "+", 15, "GET / HTTP\r\n\r\n", "+" },
        { "cut, peer gone", "GET / HTTP/1.1", 9, "GET \r\n\r\n", "" },
        { "room for half an end", plain + "+", 3, "\r\n", "+" },
        { "room for NUL only", plain + "+", 1, "", "+" },
        { "no room", plain, 0, "", plain },
    };
    for (const auto &c : cases) {
        Read got = read_head(c.input, c.size);
        EXPECT_EQ(got.head, c.head) << c.why;
        EXPECT_EQ(got.rest, c.rest) << c.why;
    }
}

TEST(HeadReader, RefusesAHeadCutAtAnyByte)
{
    for (size_t length = 0; length < plain.size(); ++length)
        EXPECT_EQ(read_head(plain.substr(0, length), 64).head, "") << length;
}

TEST(HeadReader, CutsWhatDoesNotFitAndDropsTheRestOfIt)
{
    for (size_t size : { 8191u, 8192u, 8193u, 100000u }) {
        std::string head = "GET /" + std::string(size - 9, 'a') + "\r\n\r\n";
        std::string kept =
            size < 8192 ? head : head.substr(0, 8187) + "\r\n\r\n";
        Read got = read_head(head + "next", HTTP_HEAD_SIZE);
        EXPECT_EQ(got.head, kept) << size;
        EXPECT_EQ(got.rest, "next") << size;
    }
}

TEST(Method, IsTheFirstRowThatBeginsTheHead)
{
    static const struct {
        const char *head;
        uint32_t    expected;
    } cases[] = {
        { "GETTER", 1 },       { "OPTIONS", 2 }, { "SUBSCRIBE", 8 },
        { "UNSUBSCRIBE", 16 }, { "NOTIFY", 32 }, { "UNSUBSCRIB", 0 },
        { "get /", 0 },        { "", 0 },
    };
    for (const auto &c : cases)
        EXPECT_EQ(http_method_from_header(EdgeText(c.head).data), c.expected)
            << c.head;
}

TEST(UnescapeUrl, DecodesOnlyWholeEscapes)
{
    static const struct {
        const char *url, *expected;
    } cases[] = {
        { "/a%20b+c?d=%2B%2b", "/a b c?d=++" },
        { "/%C3%bc", "/\xc3\xbc" },
        { "%2541", "%41" },
        { "%", "%" },
        { "%4", "%4" },
        { "%4g%g4%%41", "%4g%g4%A" },
        { "/a%00b", "/a" },
        { "", "" },
    };
    for (const auto &c : cases) {
        EdgeText url(c.url);
        HTTP_unescape_url(url.data);
        EXPECT_STREQ(url.data, c.expected) << c.url;
    }
}
