// http_body_test.cpp - bodies from peers that keep to the rules, and others.

#include "http/http_body.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_socket.h"
#include "support/failing_heap.h"
#include "support/socket_pair.h"
#include "support/work_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <sys/resource.h>
#include <thread>

namespace {

// What the peer does once it has sent its bytes. A call that reads too far
// from a peer that stays never returns.
enum Peer { STAYS, CLOSES, FAILS };

struct Pair : SocketPair {
    Pair(const std::string &sent, Peer does) : SocketPair(sent)
    {
        if (does == CLOSES)
            shutdown(peer, SHUT_WR);
        if (does == FAILS)
            fcntl(own, F_SETFL, O_NONBLOCK);
    }
};

const std::string chunked = "POST / HTTP/1.1\r\ntransfer-encoding: CHUNKED\r\n"
                            "Content-Length: 1\r\n\r\n";
const std::string keep = "POST / HTTP/1.1\r\n\r\n";
const std::string ends = "POST / HTTP/1.1\r\nConnection: close\r\n\r\n";

std::string length(const char *value)
{
    return std::string("POST / HTTP/1.1\r\nCONTENT-length: ") + value +
           "\r\n\r\n";
}

}

TEST(ReadBody, ReturnsWhatCameAndReadsNoFurther)
{
    const std::string        twenty = "5;" + std::string(16, 'x') + "\r\n";
    const std::string        long_line = "4;" + std::string(18, 'x') + "datann";
    const std::string        big(20000, 'b');
    static const char *const none = nullptr;
    const struct {
        const char *why;
        std::string header, sent;
        Peer        peer;
        int32_t     strict;
        const char *body;
        std::string left;
    } cases[] = {
        { "exact", length("5"), "hello", STAYS, 1, "hello", "" },
        { "long", length("5"), "hello, you", STAYS, 1, "hello", ", you" },
        { "short", length("9"), "hello", CLOSES, 1, "hello", "" },
        { "nothing came", length("9"), "", CLOSES, 1, "", "" },
        { "zero", length("0"), "hello", STAYS, 1, none, "hello" },
        { "negative", length("-5"), "hello", STAYS, 1, none, "hello" },
        { "2^31", length("2147483648"), "hello", STAYS, 1, none, "hello" },
        { "2^31 - 1", length("2147483647"), "hello", CLOSES, 1, "hello", "" },
        { "2^32 + 5", length("4294967301"), "hello!", STAYS, 1, "hello", "!" },

        { "no length", keep, "hello", STAYS, 1, none, "hello" },
        { "not strict", keep, "hello", CLOSES, 0, "hello", "" },
        { "end", ends, big, CLOSES, 1, big.c_str(), "" },
        { "1.0", "GET / http/1.0\r\n\r\n", "hello", CLOSES, 1, "hello", "" },

        { "chunks", chunked, "5\r\nhello\r\nA;n=v\r\n, everyone\r\n0\r\n\r\n+",
          STAYS, 1, "hello, everyone", "+" },
        { "no chunk", chunked, "0\r\n\r\n+", STAYS, 1, none, "+" },
        { "line of 20", chunked, twenty + "hello\r\n0\r\n\r\n", STAYS, 1,
          "hello", "" },
        { "line of 200", chunked, long_line + std::string(174, 'x') + "\r\n",
          STAYS, 1, "data", std::string(152, 'x') + "\r\n" },
        { "garbage", chunked, "xyz\r\n\r\n+", STAYS, 1, none, "+" },
        { "2^31 - 1 chunk", chunked, "7fffffff\r\nhello", CLOSES, 1, "hello",
          "" },
        { "chunk of -1", chunked, "ffffffff\r\n\r\n2\r\nhe\r\n0\r\n\r\n", STAYS,
          1, "he", "" },
        { "no CR LF", chunked, "3\r\nabc3\r\nabcdef", STAYS, 1, "abc", "cdef" },
        { "closed in a chunk", chunked, "5\r\nhe", CLOSES, 1, "he", "" },
        { "closed before one", chunked, "5\r\n", CLOSES, 1, "", "" },
        { "failed in a chunk", chunked, "5\r\nhe", FAILS, 1, "he", "" },
        { "failed in a line", chunked, "2\r\nhe\r\n5", FAILS, 1, "he", "" },
    };
    struct rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    for (auto c : cases) {
        SCOPED_TRACE(c.why);
        Pair        pair(c.sent, c.peer);
        UpnpString *body = http_read_body(pair.own, c.header.data(), c.strict);
        ASSERT_EQ(body != nullptr, c.body != nullptr);
        if (body) {
            EXPECT_EQ(std::string(body->buffer, body->length), c.body);
        }
        EXPECT_EQ(Pair::waiting(pair.own), c.left);
        upnp_string_safe_free(&body);
    }
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 2000000)
        << "KiB: the announced 2^31 - 1 bytes were touched";
    EXPECT_EQ(http_read_body(-1, nullptr, 0), nullptr);
}

TEST(ReadBody, EndsWithoutLeaksWhenMemoryRunsOut)
{
    std::string heads[] = { length("2"), chunked, ends };

    for (std::string &head : heads)
        for_each_failing_allocation([&] {
            Pair pair("2\r\nhe\r\n2\r\nhe\r\n0\r\n\r\n", CLOSES);
            upnp_string_free(HTTP_receive_body(pair.own, head.data()));
        });
}

struct ReceiveFile : WorkFolder {};

TEST_F(ReceiveFile, AppendsWhatCame)
{
    const struct {
        const char *why;
        std::string header, sent;
        Peer        peer;
        int32_t     limit_mb, result;
        const char *file;
    } cases[] = {
        { "exact", length("5"), "hello", CLOSES, 1, 1, "old hello" },
        { "short", length("9"), "hello", CLOSES, 0, 0, "old hello" },
        { "too long", length("5"), "hello!", CLOSES, 0, 0, "old hello!" },
        { "over limit", length("1048577"), "h", STAYS, 1, 0, "old " },
        { "no length", keep, "hello", STAYS, 0, 0, "old " },
        { "end", ends, "hello", CLOSES, -1, 1, "old hello" },
        { "chunks", chunked, "3\r\nhel\r\n2\r\nlo\r\n0\r\n\r\n", STAYS, 1, 1,
          "old hello" },
        { "closed in a chunk", chunked, "5\r\nhe", CLOSES, 0, 1, "old he" },
        { "failed in a chunk", chunked, "5\r\nhe", FAILS, 0, 0, "old he" },
        { "failed in a line", chunked, "2\r\nhe\r\n5", FAILS, 0, 0, "old he" },
        { "over limit as announced", chunked, "100001\r\nhe", CLOSES, 1, 0,
          "old he" },
        { "at the limit", chunked, "100000\r\nhe", CLOSES, 1, 1, "old he" },
        { "2^31 - 1", chunked, "7fffffff\r\nhe", CLOSES, 0, 1, "old he" },
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.why);
        Pair pair(c.sent, c.peer);
        put("file", "old ");
        EXPECT_EQ(
            HTTP_receive_file(pair.own, c.header.data(), "file", c.limit_mb),
            c.result);
        EXPECT_EQ(get("file"), c.file);
    }
    std::string head = ends;
    EXPECT_EQ(HTTP_receive_file(-1, head.data(), nullptr, 0), 0);
    EXPECT_EQ(HTTP_receive_file(-1, head.data(), "/no/such/file", 0), 0);
    EXPECT_EQ(HTTP_receive_file(-1, nullptr, "file", 0), 0);
}

TEST_F(ReceiveFile, StoresManyBlocksUpToTheLimit)
{
    const std::string body(3 << 20, 'x');

    for (int limit_mb : { 1, 3 }) {
        std::string head = ends;
        Pair        pair("", STAYS);
        std::thread peer([&] {
            upnp_send(pair.peer, body.data(), body.size());
            shutdown(pair.peer, SHUT_WR);
        });
        EXPECT_EQ(HTTP_receive_file(pair.own, head.data(),
                                    std::to_string(limit_mb).c_str(), limit_mb),
                  limit_mb == 3);
        shutdown(pair.own, SHUT_RD);
        peer.join();
    }
    EXPECT_LT(get("1").size(), body.size());
    EXPECT_EQ(get("3") == body, true);
}

TEST(SendChunked, WritesHeadPartsAndEnd)
{
    static const std::regex wire(
        "HTTP/1\\.1 200 OK\r\n"
        "CONTENT-TYPE:  text/xml; charset=\"utf-8\"\r\n"
        "DATE: \\w{3}, \\d\\d \\w{3} \\d{4} \\d\\d:\\d\\d:\\d\\d GMT\r\n"
        "Connection: close\r\n"
        "EXT:\r\n"
        "SERVER: Linux/2\\.x\\.x, UPnP/1\\.0, qrConnect UPnP SDK/1\\.0, "
        "QuorelMedia UPnP SDK/1\\.1\r\n"
        "Transfer-Encoding: chunked\r\n"
        "\r\n"
        "1a\r\nabcdefghijklmnopqrstuvwxyz\r\n"
        "0\r\n\r\n");
    UpnpString *part = upnp_string_create("abcdefghijklmnopqrstuvwxyz", 64);
    SocketPair  pair;

    EXPECT_EQ(HTTP_send_chunked_header(pair.peer, nullptr), 0);
    EXPECT_EQ(HTTP_send_chunked_part(pair.peer, part), 0);
    EXPECT_EQ(HTTP_send_chunked_part(pair.peer, part), 0) << "empty by now";
    EXPECT_EQ(HTTP_send_chunked_end(pair.peer), 0);
    std::string sent = Pair::waiting(pair.own);
    EXPECT_TRUE(std::regex_match(sent, wire)) << sent;

    shutdown(pair.peer, SHUT_WR);
    part = upnp_string_concat(part, "kept");
    EXPECT_EQ(HTTP_send_chunked_part(pair.peer, part), 1);
    EXPECT_STREQ(part->buffer, "kept");
    EXPECT_EQ(HTTP_send_chunked_end(pair.peer), 1);
    upnp_string_free(part);
}

TEST(HeadFields, AreFoundAnywhereInTheHead)
{
    static const struct {
        const char *header;
        const char *type;
        int64_t     size;
        int32_t     is_chunked, closes;
        const char *param;  // begins what stands behind "name:"
    } cases[] = {
        { "Content-Type:  a/b; c\r\ncontent-length:\t +12x\r\n", "a/b; c", 12,
          0, 0, nullptr },
        { "content-type: \r\nNAME: \t v\r\n", "", 0, 0, 0, "v\r\n" },
        { "content-type: cut", nullptr, 0, 0, 0, nullptr },
        { "content-length: -1\r\nname: \r\n", nullptr, 0, 0, 0, nullptr },
        { "Transfer-Encoding: chunked;x\r\nname:", nullptr, 0, 0, 0, nullptr },
        { "X: chunked\r\nY: transfer-encoding", nullptr, 0, 1, 0, nullptr },
        { "Connection:\tCLOSE\r\n", nullptr, 0, 0, 1, nullptr },
        { "Connection: x\r\nY: close\r\n", nullptr, 0, 0, 1, nullptr },
        { "Y: close\r\nConnection: x, Close\r\n", nullptr, 0, 0, 0, nullptr },
        { "name: \n", nullptr, 0, 0, 0, nullptr },
        { nullptr, nullptr, 0, 0, 0, nullptr },
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.header ? c.header : "null");
        char *type = HTTP_parse_header_mime_type(const_cast<char *>(c.header));
        EXPECT_STREQ(type, c.type);
        EXPECT_EQ(HTTP_parse_header_size(c.header), c.size);
        EXPECT_EQ(HTTP_parse_header_chunked(c.header), c.is_chunked);
        EXPECT_EQ(upnp_http_has_connection_close(c.header), c.closes);
        EXPECT_STREQ(HTTP_get_header_param(c.header, "name:"), c.param);
        if (type)
            upnp_free_impl(type);
    }
}
