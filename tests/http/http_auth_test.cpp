// http_auth_test.cpp - who comes in from outside, and the links that lead back.

#include "http/http_auth.h"

#include "http/http_links.h"
#include "runtime/upnp_encode.h"
#include "runtime/upnp_mem.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"

#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <string>

static const std::string public_base = "http://pub.example:8443/";

static int32_t accept_good(char *token)
{
    return strncmp(token, "good", 4) == 0 && !strchr(token, '&') ? 7 : 0;
}

static void see_public_base(const char *text)
{
    if (g_remote_base_url)
        upnp_free_impl(g_remote_base_url);
    g_remote_base_url = upnp_strdup_impl(text);
}

static void set_password(const char *user, const char *password)
{
    char scrambled[64] = "";
    upnp_string_encrypt(password, scrambled, sizeof(scrambled));
    HTTP_set_username_and_pwd(user, scrambled, 0);
}

namespace {
struct HttpAuth : testing::Test {
    HttpAuth() : request(new HttpRequest())
    {
        upnp_http_register_cookie_handler(accept_good);
        see_public_base(public_base.c_str());
    }
    ~HttpAuth() override
    {
        upnp_http_register_cookie_handler(nullptr);
        see_public_base(nullptr);
        HTTP_set_dns_and_remote_port(nullptr, 0);
        HTTP_set_username_and_pwd("", "", 0);
    }
    int32_t ask(const std::string &url, const std::string &line)
    {
        *request = {};
        strcpy(request->url, url.c_str());
        strcpy(request->header, ("GET / HTTP/1.1\r\n" + line).c_str());
        strcpy(request->client_ip, "192.0.2.9");
        strcpy(request->base_url, "http://10.0.0.5:9000/");
        request->session_required = 1;
        return HTTP_has_authorization(request.get());
    }
    std::unique_ptr<HttpRequest> request;
};
}

TEST_F(HttpAuth, FindsTheTokenInEntryUrlCookieOrParameter)
{
    static const std::string cookie = "Cookie: RAMSessionID=";
    static const std::string word = "RAMSessionID=good";
    // clang-format off
    const struct {
        const char *why, *url;
        std::string line;
        int32_t     expected;
        bool        has_session;
    } cases[] = {
        { "entry",            "/ra?good", "", 1, true },
        { "entry goes first", "/ra?good", cookie + "bad\r\n", 1, true },
        { "bad entry",        "/ra?bad", cookie + "good\r\n", 0, false },
        { "empty entry",      "/ra?", cookie + "good\r\n", 0, false },
        { "cookie",           "/", cookie + "good\r\nA: ;\r\n", 1, true },
        { "more cookies",     "/", cookie + "good; a=b\r\n", 1, true },
        { "bad cookie",   "/?RAMSessionID=good", cookie + "bad\r\n", 0, false },
        { "empty cookie", "/?RAMSessionID=good", cookie + ";\r\n", 1, true },
        { "cut off",          "/", cookie + "good", 1, false },
        { "other case",       "/", "cookie: " + word + "\r\n", 1, false },
        { "second cookie",    "/", "Cookie: a=b; " + word + "\r\n", 1, false },
        { "up to CR",         "/?RAMSessionID=good\rX", "", 1, true },
        { "all that follows", "/?RAMSessionID=good&a=b", "", 0, false },
        { "nothing behind =", "/?RAMSessionID=", "", 0, false },
        { "no =",             "/?RAMSessionID", "", 0, false },
        { "no token",         "/a", "", 1, false },
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(ask(c.url, c.line), c.expected) << c.why;
        EXPECT_EQ(request->session_param, c.has_session ? word : "") << c.why;
        bool enters = strncmp(c.url, "/ra?", 4) == 0 && c.url[4];
        EXPECT_STREQ(request->url, enters ? "/webbrowse" : c.url) << c.why;
        EXPECT_EQ(*request->response_headers != '\0', enters && c.expected);
    }

    EXPECT_EQ(ask("/ra?good" + std::string(1000, 'x'), ""), 1);
    EXPECT_EQ(strlen(request->session_param),
              sizeof(request->session_param) - 1);
    upnp_http_register_cookie_handler(nullptr);
    EXPECT_EQ(ask("/ra?good", ""), 0);
    EXPECT_EQ(HTTP_has_authorization(nullptr), 0);
    for_each_failing_allocation([&] { ask("/?RAMSessionID=bad", ""); });
}

TEST_F(HttpAuth, SetsACookieOfOneDayOnce)
{
    static const char start[] = "Set-Cookie: RAMSessionID=good; expires=";
    const char       *at = request->response_headers;
    time_t            now = time(nullptr);
    tm                expires = {};

    ASSERT_EQ(ask("/ra?good", ""), 1);
    EXPECT_TRUE(std::string(at).starts_with(start)) << at;
    EXPECT_EQ(strlen(at),
              strlen(start) + strlen("Fri, 02-Jan-2009 03:04:05 GMT\r\n"));
    EXPECT_TRUE(strptime(
        at, (start + std::string("%a, %d-%b-%Y %T GMT\r\n")).c_str(), &expires))
        << at;
    EXPECT_NEAR(static_cast<double>(timegm(&expires) - now), 86400, 60);

    std::string first = at;
    strcpy(request->url, "/ra?good");
    EXPECT_EQ(HTTP_has_authorization(request.get()), 1);
    EXPECT_EQ(at, first);
}

TEST_F(HttpAuth, ComparesTheFirstThreeNumbersOfTheAddresses)
{
    const struct {
        std::string host;
        const char *client_ip, *log;
        bool        same;
    } cases[] = {
        // clang-format off
        { "10.0.0.5:9000/",  "10.0.0.77", "=1 (compared 7)", true },
        { "10.0.1.5:9000/",  "10.0.12.5", "=0 (compared 7)", false },
        { "localhost:9000/", "10.0.0.77", "=0 (compared 0)", false },
        // clang-format on
    };
    for (const auto &c : cases) {
        ask("/?RAMSessionID=good", "");
        std::string base_url = "http://" + c.host;
        strcpy(request->base_url, base_url.c_str());
        strcpy(request->client_ip, c.client_ip);
        std::string log =
            log_lines([&] { HTTP_has_authorization(request.get()); });
        EXPECT_EQ(request->base_url, c.same ? base_url : public_base);
        EXPECT_STREQ(request->session_param, "RAMSessionID=good");
        EXPECT_NE(log.find(c.log), log.npos) << log;
    }
    see_public_base(nullptr);
    EXPECT_EQ(ask("/?RAMSessionID=good", ""), 1);
    EXPECT_STREQ(request->session_param, "");
    EXPECT_STREQ(request->base_url, "http://10.0.0.5:9000/");
}

TEST_F(HttpAuth, AsksForCredentialsWhereBothAreSet)
{
    static const char right[] = "Authorization: Basic am9lOnNlY3JldA==\r\n";
    static const char empty[] = "Authorization: Basic am9lOg==\r\n";
    const struct {
        const char *why, *user, *password, *line;
        int32_t     session, expected;
    } cases[] = {
        { "right", "joe", "secret", right, 0, 1 },
        { "anywhere", "joe", "secret", "X: xam9lOnNlY3JldA==y\r\n", 0, 1 },
        { "wrong", "joe", "secreT", right, 0, 0 },
        { "empty password", "joe", "secret", empty, 0, 0 },
        { "none", "joe", "secret", "", 0, 0 },
        { "no user set", "", "secret", "", 0, 1 },
        { "no password set", "joe", "", "", 0, 1 },
        { "no session, public name", "joe", "secret", "", 1, 0 },
    };
    HTTP_set_dns_and_remote_port("example.org", 8443);
    for (const auto &c : cases) {
        set_password(c.user, c.password);
        ask("/a", c.line);
        request->session_required = c.session;
        EXPECT_EQ(HTTP_has_authorization(request.get()), c.expected) << c.why;
    }

    set_password("joe", "secret");
    HTTP_set_username_and_pwd("x", nullptr, 1);
    HTTP_set_username_and_pwd(nullptr, nullptr, 0);
    EXPECT_EQ(ask("/a", right), 1) << "null keeps, the second pair is apart";
    EXPECT_EQ(ask("/?RAMSessionID=good", ""), 0) << "a token is not enough";
    HTTP_set_dns_and_remote_port(nullptr, 8443);
    EXPECT_EQ(ask("/?RAMSessionID=good", ""), 1) << "without a public name";
    request->session_required = 0;
    for_each_failing_allocation([&] {
        int32_t passes = HTTP_has_authorization(request.get());
        EXPECT_EQ(passes, allocation_has_failed()) << "memory locks no one out";
    });
}

TEST_F(HttpAuth, StoresThePublicName)
{
    static const std::string longest(127, 'x');
    const std::string        names[][2] = {
               { "example.org/", "example.org" },
               { "example.org//", "example.org/" },
               { "/", "/" },
               { "", "" },
               { longest + "y", longest },
    };
    for (const auto &[name, stored] : names) {
        HTTP_set_dns_and_remote_port(name.c_str(), 81);
        EXPECT_EQ(g_remote_dns_name, stored);
        EXPECT_EQ(g_remote_dns_set, stored.empty() ? 0 : 1) << stored;
        EXPECT_EQ(HTTP_get_remote_port(), 81);
    }
}

static std::string linked(const std::string &text, const char *param)
{
    auto request = std::make_unique<HttpRequest>();
    strcpy(request->session_param, param);
    UpnpString *document = http_post_process_for_remote_access(
        request.get(), upnp_string_concat(nullptr, text.c_str()));
    std::string result = document ? document->buffer : "(null)";
    upnp_string_free(document);
    return result;
}

TEST(HttpLinks, CarryTheSession)
{
    // clang-format off
    static const struct {
        const char *in, *out;
    } cases[] = {
        { "<a href=\"/a\">",      "<a href=\"/a?RAMSessionID=t\">" },
        { "<a href=\"/a?b\">",    "<a href=\"/a?b&RAMSessionID=t\">" },
        { "? src=\"\" ?",         "? src=\"?RAMSessionID=t\" ?" },
        { "url=\"/a?b\"",         "url=\"/a?b&amp;RAMSessionID=t\"" },
        { "<guid>/a?b</guid>",    "<guid>/a?b&amp;RAMSessionID=t</guid>" },
        { "<url>/a?b</url>",      "<url>/a?b&amp;RAMSessionID=t</url>" },
        { "<link>/</link><link>/?c</link>",
          "<link>/?RAMSessionID=t</link><link>/?c&amp;RAMSessionID=t</link>" },
        { "href=\"/RAMSessionID=t\"", "href=\"/RAMSessionID=t\"" },
        { "RAMSessionID=t href=\"/a\" href=\"/b\"",  // one look back
          "RAMSessionID=t href=\"/a\" href=\"/b?RAMSessionID=t\"" },
        { "<url>href=\"/a\"</url>", "<url>href=\"/a?RAMSessionID=t\"</url>" },
        { "href=\"/a <url>/b</url>", "href=\"/a <url>/b?RAMSessionID=t</url>" },
        { "<!-- TOKEN -->",       "RAMSessionID=t" },
        { "HREF=\"/a\" href='/b'", "HREF=\"/a\" href='/b'" },
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(linked(c.in, "RAMSessionID=t"), c.out);
    EXPECT_EQ(linked("<!-- TOKEN -->href=\"/a\"", ""), "href=\"/a\"");
    EXPECT_EQ(linked("", "RAMSessionID=t"), "");
    EXPECT_EQ(http_post_process_for_remote_access(nullptr, nullptr), nullptr);
    for_each_failing_allocation(
        [] { linked("href=\"/a\"", "RAMSessionID=t"); });
}

// A cost above the proportional one runs into the time limit of the tests.
TEST(HttpLinks, HandleTenMegabytes)
{
    static constexpr size_t COUNT = 100000;
    const std::string       filler(91, 'x');
    std::string             closed, open;

    for (size_t i = 0; i < COUNT; ++i) {
        closed += "href=\"/a\"" + filler;
        open += "<link>/a " + filler;
    }
    EXPECT_EQ(linked(closed, "RAMSessionID=t").size(), COUNT * 115);
    EXPECT_EQ(linked(open, "RAMSessionID=t").size(), COUNT * 100);
}

TEST(HttpLinks, SetAParameterOnce)
{
    static const struct {
        const char *url, *name, *value, *expected;
    } cases[] = {
        { "/a", "n", "1", "/a?n=1" },
        { "/a?", "n", "1", "/a?n=1" },
        { "/a?n=1", "n", "2", "/a?n=2" },
        { "/a?n=1&b=2&n=3&c", "n", "4", "/a?b=2&c&n=4" },
        { "/a?nn=1&N=2&n", "n", "", "/a?nn=1&N=2&n&n=" },
        { "/a?b&&c", "x y", "a&b=\xC3\xA9", "/a?b&&c&x%20y=a%26b%3D%E9" },
        { "", "n", "1", "?n=1" },
    };
    for (const auto &c : cases) {
        UpnpString *url = HTTP_set_url_parameter(
            upnp_string_concat(nullptr, c.url), c.name, c.value);
        EXPECT_STREQ(upnp_string_get_cstring(url), c.expected);
        upnp_string_free(url);
    }

    UpnpString *url = upnp_string_concat(nullptr, "/a?b");
    EXPECT_EQ(HTTP_set_url_parameter(url, nullptr, "1"), nullptr);
    EXPECT_EQ(HTTP_set_url_parameter(url, "n", nullptr), nullptr);
    EXPECT_EQ(HTTP_set_url_parameter(nullptr, "n", "1"), nullptr);
    for_each_failing_allocation([&] {
        if (UpnpString *changed = HTTP_set_url_parameter(url, "n", "1"))
            url = changed;
    });
    EXPECT_STREQ(url->buffer, "/a?b&n=1") << "left alone until it works";
    upnp_string_free(url);
}
