// http_request_test.cpp - requests from the socket to their handler and back.

#include "http/http.h"
#include "http/http_auth.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "server/upnp_server.h"
#include "support/failing_heap.h"
#include "support/socket_pair.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

// What the last handler of this thread saw. Each is called by one letter.
struct Seen {
    char        called;
    std::string url, base_url, body;
    HttpRequest request;
};
thread_local Seen seen;
int32_t           handler_result;

template <char Name> int32_t on(HttpRequest *request)
{
    seen = { Name, request->url, request->base_url,
             request->body ? request->body : "", *request };
    request->mime_type = "text/plain";
    request->content_length = 10;
    return HTTP_send(request, "0123456789") ? 1 : handler_result;
}

int32_t on_keep(HttpRequest *request)
{
    request->socket = -1;
    return 0;
}

int32_t on_large(HttpRequest *request)
{
    static const std::vector<char> data(1 << 23);

    request->content_length = static_cast<int64_t>(data.size()) - 1;
    return HTTP_send(request, data.data());
}

struct Exchange {
    int32_t     result;
    std::string response;
};

class RequestTest : public testing::Test {
protected:
    RequestTest()
    {
        strcpy(server.ip, "127.0.0.1");
        server.httpPort = 9000;
        upnp_http_set_default_url("/start");
        upnp_http_register_handler(on<'*'>, 0xff, nullptr, 0, 1);
        upnp_http_register_handler(on<'b'>, HTTP_METHOD_GET, "/a/b", 0, 1);
        upnp_http_register_handler(on<'p'>, HTTP_METHOD_POST, "/a", 1, 0);
        upnp_http_register_handler(on<'a'>, 3, "/a", 0, 0);
        upnp_http_register_handler(on_keep, HTTP_METHOD_GET, "/keep", 0, 1);
    }

    ~RequestTest() override
    {
        http_unregister_all_handlers();
        http_server_set_tls_callbacks(nullptr, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, nullptr, nullptr);
        g_remote_port = g_remote_dns_set = handler_result = 0;
        g_remote_dns_name[0] = '\0';
        if (g_remote_base_url)
            upnp_free_impl(g_remote_base_url);
        g_remote_base_url = nullptr;
    }

    // Serves one request, "GET /x HTTP/1.1" and further lines, to its end.
    Exchange exchange(const std::string &lines)
    {
        SocketPair     pair(lines + "\r\n\r\n");
        HttpConnection connection = { &server, pair.own, nullptr, server.tls,
                                      0 };

        seen = {};
        int32_t result = HTTP_send_receive(&connection);
        return { result, SocketPair::waiting(pair.peer) };
    }

    HttpServerEntry server = {};
};

}

TEST_F(RequestTest, ReadsTheFirstLine)
{
    static const std::string long_url = "/" + std::string(1022, 'a');
    static const struct {
        std::string line;
        char        called;
        std::string url;
        int32_t     version;
        uint32_t    method;
    } cases[] = {
        // clang-format off
        { "GET /x?y HTTP/1.1",            '*', "/x?y",                 11, 1 },
        { "GET /a/b/c HTTP/1.1",          'b', "/a/b/c",               11, 1 },
        { "POST /a/b HTTP/1.1",           'p', "/a/b",                 11, 4 },
        { "OPTIONS /a HTTP/1.1",          'a', "/a",                   11, 2 },
        { "PUT /a",                       'a', "/a\r\n\r\n",           10, 0 },
        { "GET\tx HTTP/1.0",              '*', "HTTP/1.0\r\n\r\n",     10, 1 },
        { "GET",                          '*', "/start",               10, 1 },
        { "GET  HTTP/1.1",                '*', "/start",               11, 1 },
        { "GET /%61%2F+b HTTP/1.1",       'a', "/a/ b",                11, 1 },
        { "GET http://h:1/a/b HTTP/1.1",  'b', "/a/b",                 11, 1 },
        { "GET http://host HTTP/1.1",     '*', "http://host",          11, 1 },
        { "GET http:// HTTP/1.1",         '*', "http://",              11, 1 },
        { "GET http:/// HTTP/1.1",        '*', "http:///",             11, 1 },
        { "GET / HTTP/1.1",               '*', "/start",               11, 1 },
        { "POST / HTTP/1.1",     '*', "/ContentDirectory/Control",     11, 4 },
        { "GET /favicon.ico HTTP/1.1",    '*', "/images/favicon.ico",  11, 1 },
        { "GET " + long_url + " HTTP/1.1",    'a', long_url,           11, 1 },
        { "GET " + long_url + "+ HTTP/1.1",   'a', long_url,           11, 1 },
        { "GET " + long_url + std::string(3977, '%') + " HTTP/1.1",
                                          'a', long_url,               11, 1 },
        // clang-format on
    };
    for (const auto &c : cases) {
        Exchange got = exchange(c.line);
        EXPECT_EQ(seen.called, c.called) << c.line;
        EXPECT_EQ(seen.url, c.url) << c.line;
        EXPECT_EQ(seen.request.http_version, c.version) << c.line;
        EXPECT_EQ(seen.request.method, c.method) << c.line;
        EXPECT_EQ(seen.base_url, "http://127.0.0.1:9000/") << c.line;
        EXPECT_EQ(got.response.ends_with("0123456789"), c.method != 2);
    }
}

// What the heads of requests decide is shown with the heads of responses.
TEST_F(RequestTest, LetsTheHandlerEndOrTakeTheConnection)
{
    EXPECT_EQ(exchange("GET /keep HTTP/1.0").result, 0);
    handler_result = 7;
    EXPECT_EQ(exchange("GET /x HTTP/1.1").result, 7);
}

TEST_F(RequestTest, AnswersBeforeOrInsteadOfTheHandler)
{
    static const struct {
        const char *head;
        char        called;
        const char *status, *body;
    } cases[] = {
        { "POST /a HTTP/1.1\r\nContent-Length: 4\r\n\r\nbody", 'p',
          "HTTP/1.1 200 ", "body" },
        { "POST /x HTTP/1.1\r\nContent-Length: 4\r\n\r\nbody", '*',
          "HTTP/1.1 200 ", "" },
        { "POST /a HTTP/1.1\r\nExpect: 100-Continue\r\nSoap: createobject", 'p',
          "HTTP/1.1 100 Continue\r\nContent-Length: 0\r\n\r\nHTTP/1.1 200 ",
          "" },
        { "GET /x HTTP/1.1\r\nX: 100-continue application/x-dtcp1", '*',
          "HTTP/1.1 200 ", "" },
        { "POST /a HTTP/1.1\r\nSoap: createobject", 0, "HTTP/1.1 400 ", "" },
        { "POST /a HTTP/1.1\r\nSoap: CreateObject", 'p', "HTTP/1.1 200 ", "" },
    };
    for (const auto &c : cases) {
        Exchange got = exchange(c.head);
        EXPECT_TRUE(got.response.starts_with(c.status)) << got.response;
        EXPECT_EQ(got.result, 0) << c.head;
        EXPECT_EQ(seen.called, c.called) << c.head;
        EXPECT_EQ(seen.body, c.body) << c.head;
        EXPECT_EQ(seen.request.content_length, strlen(c.body)) << c.head;
    }
    for_each_failing_allocation([&] { exchange(cases[0].head); });
}

TEST_F(RequestTest, SendsTheRangeOfWhatLiesInMemory)
{
    static const struct {
        const char *range, *status;
        std::string body;
    } cases[] = {
        { "Range: bytes=0-", "206", "0123456789" },
        { "Range: bytes=2-4", "206", "234" },
        { "Range: bytes=10-", "206", "" },
        // An end equal to the size sends the byte behind it, here the NUL.
        { "Range: bytes=8-10", "206", std::string("89\0", 3) },
        { "Range: bytes=0-11", "416", "" },
        { "Range: bytes=11-", "416", "" },
        { "Range: bytes=4-2", "416", "" },
        { "Range: bytes=-4", "400", "" },
        { "X: DLNA-PN\r\nRange: bytes=0-1", "406", "" },
        { "TimeSeekRange.dlna.org: npt=0.001-0.002", "400", "" },
    };
    for (const auto &c : cases) {
        Exchange got =
            exchange("GET /x HTTP/1.1\r\nHOST: h\r\n" + std::string(c.range));
        EXPECT_EQ(got.response.substr(9, 3), c.status) << c.range;
        EXPECT_TRUE(got.response.ends_with("\r\n\r\n" + c.body)) << c.range;
    }
}

TEST_F(RequestTest, KnowsRequestsFromOutside)
{
    static const struct {
        const char *name;
        int32_t     port;
        const char *expected;
    } cases[] = {
        { "http://h", 0, "http://h/" },
        { "http://h/", 0, "http://h/" },
        { "http://h", 81, "http://h:81/" },
        { "http://h/", 81, "http://h/:81/" },
        { "http://h/?", 81, "http://h/?/" },
    };
    static const char *const hosts[][2] = {
        { "Host:  h:1", "http://h:1/" },
        { "X: none", "http://h:1/" },
        { "Host: ", "http:///" },
    };

    g_remote_port = 9000;
    EXPECT_TRUE(
        exchange("GET /a HTTP/1.1").response.starts_with("HTTP/1.1 401"));
    EXPECT_EQ(seen.called, 0);
    exchange("GET /x HTTP/1.1\r\nHost:  h:1");
    EXPECT_EQ(seen.request.at_remote_port, 1);
    EXPECT_EQ(seen.request.session_required, 1);
    EXPECT_EQ(g_remote_base_url, nullptr);
    for (const auto &[header, base_url] : hosts) {
        exchange("GET /x/auth/ott HTTP/1.1\r\n" + std::string(header));
        EXPECT_EQ(seen.request.session_required, 0);
        EXPECT_STREQ(g_remote_base_url, base_url) << header;
    }

    server.remoteAccess = g_remote_dns_set = 1;
    for (const auto &c : cases) {
        strcpy(g_remote_dns_name, c.name);
        g_remote_port = c.port;
        exchange("GET /resources HTTP/1.1");
        EXPECT_EQ(seen.base_url, c.expected) << c.name;
    }
}

static std::string tls_head, tls_sent;

TEST_F(RequestTest, RunsOverTlsThroughTheHooksAlone)
{
    tls_head.clear();
    server.tls = 1;
    EXPECT_EQ(exchange("").result, 1) << "no hooks";
    http_server_set_tls_callbacks(
        nullptr, nullptr, nullptr, nullptr,
        [](int32_t, const void *data, int64_t length) {
            tls_sent.append(static_cast<const char *>(data),
                            static_cast<size_t>(length));
            return -2;
        },
        nullptr,
        [](int32_t, char *buffer, int32_t size) {
            memset(buffer, 'x', static_cast<size_t>(size));
            tls_head.copy(buffer, tls_head.size());
            return tls_head.empty() ? -1 : size;
        },
        [](int32_t, char *) {
            http_unregister_all_handlers();
            return upnp_string_create("body", 5);
        });
    EXPECT_EQ(exchange("").result, 1) << "the hook fails";

    tls_head = "PUT /x HTTP/1.1\r\n\r\n";
    EXPECT_EQ(exchange("").result, 1) << "-2 closes";
    EXPECT_EQ(seen.request.method, 0u);
    EXPECT_EQ(seen.base_url, "https://127.0.0.1:9000/");
    EXPECT_TRUE(tls_sent.ends_with("0123456789"));

    tls_sent.clear();
    tls_head = "POST /a HTTP/1.1\r\n\r\n";
    exchange("");
    EXPECT_EQ(seen.called, 0) << "the list was emptied during the body";
    EXPECT_TRUE(tls_sent.starts_with("HTTP/1.1 404 "));
}

TEST_F(RequestTest, RefusesASecondHandlerForUrlAndMethod)
{
    upnp_http_register_handler(on_large, 2, "/a", 0, 1);
    upnp_http_register_handler(on_large, 1, "", 0, 1);
    upnp_http_register_handler(nullptr, 1, "/b", 0, 1);
    EXPECT_EQ(upnp_http_handler_is_registered(on_large), 0);
    EXPECT_EQ(upnp_http_handler_is_registered(on<'a'>), 1);
}

// A listener on a loopback port with its accept thread.
namespace {
struct Listener {
    explicit Listener(uint32_t tls = 0)
    {
        uint32_t port = 19000;
        strcpy(server.ip, "127.0.0.1");
        server.tls = tls;
        HTTP_create_server_socket(&server.httpSocket, &port, server.ip);
        server.httpPort = static_cast<int32_t>(port);
        shared::store(g_server_running, 1);
        thread = std::thread(HTTP_accept_Impl, &server);
    }

    ~Listener()
    {
        upnp_close_socket(&server.httpSocket);
        thread.join();
        shared::store(g_server_running, 0);
        http_unregister_all_handlers();
    }

    // Sends a text, waits for wanted bytes or the end, and closes.
    std::string ask(std::string_view text, size_t wanted = SIZE_MAX) const
    {
        std::string got;
        char        block[4096];
        uint16_t    port = static_cast<uint16_t>(server.httpPort);
        int         fd = upnp_socket_create_tcp();

        EXPECT_EQ(upnp_socket_connect(fd, "127.0.0.1", port), 0);
        send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        for (ssize_t n = 1; n > 0 && got.size() < wanted;)
            if ((n = recv(fd, block, sizeof(block), 0)) > 0)
                got.append(block, static_cast<size_t>(n));
        close(fd);
        return got;
    }

    HttpServerEntry server = {};
    std::thread     thread;
};
}

TEST(Listener, GoesOnServingWhateverPeersDo)
{
    static const std::string get = "GET /x HTTP/1.1\r\n\r\n";
    static const std::string last = "GET /x HTTP/1.0\r\n\r\n";
    Listener                 other, listener;
    std::vector<std::thread> peers;

    EXPECT_NE(listener.server.httpPort, other.server.httpPort);
    upnp_http_register_handler(on<'*'>, 0xff, nullptr, 0, 1);
    upnp_http_register_handler(on_large, 0xff, "/large", 0, 1);
    for (int i = 0; i < 8; ++i)
        peers.emplace_back([&] {
            for (size_t cut = 0; cut < get.size(); ++cut)
                listener.ask(get.substr(0, cut), 0);
            listener.ask("GET /large HTTP/1.1\r\n\r\n", 1);
            std::string answer = listener.ask(last);
            EXPECT_TRUE(answer.ends_with("0123456789"));
            EXPECT_GT(listener.ask(get + get + last).size(), 2 * answer.size());
        });
    for (std::thread &peer : peers)
        peer.join();
}

static int tls_started, tls_ended;

TEST(Listener, ClosesAPeerThatGetsNoTlsSession)
{
    tls_started = tls_ended = 0;
    http_server_set_tls_callbacks([] { ++tls_started; }, [] { ++tls_ended; },
                                  [](int32_t) { return -1; }, nullptr, nullptr,
                                  nullptr, nullptr, nullptr);
    EXPECT_EQ(Listener(1).ask("x"), "");
    EXPECT_EQ(tls_started, 1);
    EXPECT_EQ(tls_ended, 1);
    http_server_set_tls_callbacks(nullptr, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr, nullptr);
    EXPECT_EQ(Listener(1).ask("x"), "");
}

static HttpFileCache *completed;

TEST(FileCache, IsShownToTheHookAndFreedWhole)
{
    auto *cache = static_cast<HttpFileCache *>(
        upnp_calloc_impl(1, sizeof(HttpFileCache)));

    for (void *&data : cache->handler_data)
        data = upnp_malloc_impl(8);
    cache->file = upnp_file_open_read("/dev/null");
    http_set_cb_file_completed([](HttpFileCache *c) { completed = c; });
    http_file_filecache_free(cache);
    EXPECT_EQ(completed, cache);
    http_set_cb_file_completed(nullptr);
}
