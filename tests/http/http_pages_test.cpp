// http_pages_test.cpp - the pages that the server makes by itself.

#include "http/http_pages.h"

#include "runtime/upnp_socket.h"
#include "support/failing_heap.h"
#include "support/socket_pair.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

std::string tls_bytes;

int32_t tls_send(int32_t, const void *data, int64_t length)
{
    tls_bytes.append(static_cast<const char *>(data),
                     static_cast<size_t>(length));
    return static_cast<int32_t>(length);
}

// A request on one end of a socket pair.
struct Exchange {
    Exchange() : request(new HttpRequest())
    {
        request->socket = pair.own;
        request->method = HTTP_METHOD_GET;
        request->http_version = 11;
        request->range_start = request->range_end = HTTP_RANGE_NONE;
        strcpy(request->url, "/a");
        strcpy(request->base_url, "http://10.0.0.1:9000/");
        strcpy(request->header, "GET /a HTTP/1.1\r\n\r\n");
        tls_bytes.clear();
    }
    std::string answer() const
    {
        return SocketPair::waiting(pair.peer);
    }
    SocketPair                   pair;
    std::unique_ptr<HttpRequest> request;
};

int32_t unavailable(HttpRequest *request)
{
    return HTTP_send_service_unavailable(request, "later");
}

// clang-format off
const struct {
    int32_t (*send)(HttpRequest *);
    std::string status, title, text;
    const char *line;  // of the head
    bool        through_tls;
} pages[] = {
    { HTTP_send_unauthorized, "401", "Unauthorized",
      "Access to this page is restricted.</BODY></HTML>", "", true },
    { HTTP_send_access_restriced, "401", "Unauthorized",
      "Access to this page is restricted.</BODY></HTML>",
      "\nWWW-Authenticate: Basic realm=\"", true },
    { HTTP_send_file_not_found, "404", "Not Found",
      "The requested URL was not found on this server.</BODY></HTML>", "",
      false },
    { unavailable, "503", "Service Unavailable",
      "Server can't provide /a resource now.<br>later</HTML>", "", false },
    { HTTP_send_trial_expired, "401", "Unauthorized",
      "This server is not licensed.</BODY></HTML>", "", false },
};
// clang-format on

}

TEST(Pages, FollowAHeadThatFits)
{
    for (const auto &p : pages) {
        const std::string page = "<HTML><HEAD><TITLE>" + p.status + " " +
                                 p.title + "</TITLE></HEAD><BODY><H1>" +
                                 p.title + "</H1>" + p.text;
        const std::string length =
            "\r\nContent-Length: " + std::to_string(page.size()) + "\r\n";
        Exchange plain, tls, broken;

        EXPECT_EQ(p.send(plain.request.get()), 0);
        std::string answer = plain.answer();
        EXPECT_TRUE(answer.starts_with("HTTP/1.1 " + p.status)) << answer;
        EXPECT_TRUE(answer.ends_with("\r\n\r\n" + page)) << answer;
        for (const char *line :
             { length.c_str(), p.line, ": text/html; charset=utf-8\r\n" })
            EXPECT_NE(answer.find(line), answer.npos) << line << answer;
        EXPECT_STREQ(plain.request->mime_type, "text/html; charset=utf-8");
        EXPECT_STREQ(plain.request->response_headers, "") << "stays usable";

        cb_tls_send = tls_send;
        tls.request->tls = 1;
        EXPECT_EQ(p.send(tls.request.get()), 0);
        EXPECT_EQ(tls_bytes.ends_with(page), p.through_tls) << page;
        EXPECT_EQ(tls.answer(), p.through_tls ? "" : page);
        cb_tls_send = nullptr;

        for (int count : { 0, 1 }) {
            fail_allocation_after(count);
            EXPECT_EQ(p.send(broken.request.get()), 1);
            fail_allocation_after(-1);
            EXPECT_EQ(broken.answer(), "");
        }
        shutdown(broken.pair.own, SHUT_WR);
        EXPECT_EQ(p.send(broken.request.get()), 1);
        EXPECT_EQ(p.send(nullptr), 1);
    }
}

TEST(Pages, CutMessagesAndPagesToTheirRoom)
{
    const std::string long_text(2000, 'x');
    const std::string title(63, 'x'), text(127, 'x');
    Exchange          missing, unavailable;

    HTTP_set_file_not_found_message(long_text.c_str(), long_text.c_str());
    HTTP_send_file_not_found(missing.request.get());
    HTTP_set_file_not_found_message(nullptr, nullptr);
    EXPECT_TRUE(missing.answer().ends_with("<H1>" + title + "</H1>" + text +
                                           "</BODY></HTML>"));

    HTTP_send_service_unavailable(unavailable.request.get(), long_text.c_str());
    std::string answer = unavailable.answer();
    EXPECT_NE(answer.find("Content-Length: 1023\r\n"), std::string::npos);
    EXPECT_EQ(answer.size() - answer.find("\r\n\r\n") - 4, 1023U);
}

TEST(PlainAnswers, WorkOnTheRequestItself)
{
    Exchange text, bare;

    EXPECT_EQ(HTTP_send_error_message(text.request.get(), 500, "broken"), 0);
    EXPECT_EQ(text.request->content_length, 6);
    EXPECT_TRUE(text.answer().ends_with("\r\n\r\nbroken"));
    EXPECT_EQ(HTTP_send_error_code(bare.request.get(), 416), 0);
    EXPECT_TRUE(bare.answer().ends_with("\r\n\r\n"));
}

TEST(Redirect, BuildsItsTarget)
{
    static const struct {
        const char *location, *session, *target;
    } cases[] = {
        { "/b?c", "", "http://10.0.0.1:9000/b?c" },
        { "b", "S=1", "http://10.0.0.1:9000/b?S=1" },
        { "//b", "", "http://10.0.0.1:9000//b" },
        { "http://host/", "S=1", "http://host/?S=1" },
        { "/to?url=http", "", "/to?url=http" },
    };
    for (const auto &c : cases) {
        Exchange exchange;
        strcpy(exchange.request->session_param, c.session);
        EXPECT_EQ(upnp_http_redirect(exchange.request.get(), c.location), 1);
        EXPECT_EQ(exchange.answer(),
                  std::string("HTTP/1.1 307 Moved Temporarily\r\nLocation: ") +
                      c.target + "\r\n\r\n");
    }
    Exchange exchange;
    EXPECT_EQ(upnp_http_redirect(exchange.request.get(), nullptr), 1);
    EXPECT_EQ(exchange.answer(), "");
}

TEST(EscapeBody, StopsAtSizeAndAtControlBytes)
{
    static const struct {
        const char *in;
        uint32_t    size;
        const char *out;
    } cases[] = {
        { "a\"b\xE9<", 64, "a&quot;b&#xE9;<" },
        { "one\ttwo", 64, "one" },
        { "one\r\ntwo", 64, "one" },
        { "abcdef", 4, "abc" },
        { "abcdefg\"", 9, "abcdefg&quot;" },  // reaches behind size
        { "\"x", 7, "&quot;" },
        { "\"", 3, "&q" },
        { "a", 1, "" },
        { nullptr, 64, "" },
    };
    for (const auto &c : cases) {
        std::unique_ptr<char[]> out(new char[c.size + 10]);
        HTTP_escape_body(c.in, out.get(), c.size);
        EXPECT_STREQ(out.get(), c.out);
    }
    char untouched = 'u';
    HTTP_escape_body("a", &untouched, 0);
    HTTP_escape_body("a", nullptr, 8);
    EXPECT_EQ(untouched, 'u');
}
