// http_header_test.cpp - request heads against the exact heads they get back.

#include "http/http_header.h"

#include "config/upnp_ini_file.h"
#include "http/http_range.h"
#include "runtime/upnp_mem.h"
#include "server/upnp_dtcp.h"
#include "support/failing_heap.h"
#include "support/socket_pair.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <time.h>

namespace {

enum Quirks { NEEDS_1_0 = 1, IS_DLNA = 2, FOURTH = 4, NO_BYTES = 8, RED = 16 };

// A request for a clip, what its handler does, and the response.
struct Exchange {
    std::string target = "/clip", lines = "";
    const char *method = "GET", *version = "1.1", *host = "Host: h\r\n";
    int         quirks = 0;

    int32_t     asks = 200, chunked = 0, duration = 0, is_protected = 0;
    int64_t     length = 1000;
    const char *mime = "video/mp4", *adds = "";
    time_t      modified = 0;

    std::string status = "200 OK", type = "video/mp4", extra = "";
    std::string top = "Content-Length: 1000\r\n", modified_line = "";
    std::string protocol = "HTTP/1.1 ", connection = "keep-alive";
    const char *whole = nullptr;  // a response of another form
    bool        closes = false;   // with a response of another form
};

Exchange      now;
HttpFileCache cache;

}

// The library's questions about a client come here: see CMakeLists.txt.
// clang-format off
#define ANSWER(question, quirk)                                                \
    extern "C" int32_t __wrap_upnp_client_db_##question(int32_t);              \
    int32_t __wrap_upnp_client_db_##question(int32_t)                          \
    {                                                                          \
        return (now.quirks & quirk) != 0;                                      \
    }
ANSWER(needs_1_0_response, NEEDS_1_0)
ANSWER(DLNA_version, IS_DLNA)
ANSWER(needs_4th_field, FOURTH)
ANSWER(nobytes_in_timeseek_response, NO_BYTES)
ANSWER(redsonic_compliant, RED)
// clang-format on

static int32_t answer(HttpRequest *request)
{
    HTTP_get_range_header(request);
    request->mime_type = now.mime;
    request->content_length = now.length;
    request->total_size = 1000;
    request->chunked = now.chunked;
    request->duration_ms = now.duration;
    request->protected_content = now.is_protected;
    cache.modified = now.modified;
    request->file_cache = &cache;
    if (*now.adds)
        HTTP_add_header(request, "Y: 2\r\n");
    return HTTP_send_header(request, now.asks);
}

static int32_t add_lines(HttpRequest *request)
{
    HTTP_add_header(request, now.adds);
    return 1;
}

static void write_type(HttpRequest *, char *text, uint32_t size)
{
    snprintf(text, size, "application/x-%u", size);
}

static std::string expected_head()
{
    if (now.whole)
        return now.whole;
    return now.protocol + now.status + "\r\nContent-Type: " + now.type +
           "\r\n" + now.top +
           "Date: @\r\n"
           "Pragma: no-cache\r\n"
           "Cache-control: no-cache\r\n" +
           now.modified_line +
           "Accept-Ranges: bytes\r\n"
           "Connection: " +
           now.connection + "\r\n" + now.extra +
           (now.extra.empty() ? "" : "\r\n") +
           "EXT:\r\n"
           "Server: Linux/2.x.x, UPnP/1.0, qrConnect UPnP SDK/1.0, "
           "QuorelMedia UPnP SDK/1.1\r\n"
           "\r\n";
}

// The head with its date, which must be a recent one, replaced by "@".
static std::string without_date(std::string head)
{
    struct tm parts = {};

    size_t at = head.find("\r\nDate: ") + strlen("\r\nDate: ");
    if (at < strlen("\r\nDate: "))
        return head;
    std::string date = head.substr(at, strlen("Fri, 02 Jan 2009 03:04:05 GMT"));
    const char *end = strptime(date.c_str(), "%a, %d %b %Y %T GMT", &parts);
    EXPECT_TRUE(end && !*end) << date;
    EXPECT_NEAR(timegm(&parts), time(nullptr), 60);
    return head.replace(at, date.size(), "@");
}

class SendHeader : public testing::Test {
protected:
    SendHeader()
    {
        upnp_ini_file_init();
        upnp_ini_file_setPropertyByKey(INI_LANGUAGE, "jp");
        upnp_http_register_handler(answer, 0xff, nullptr, 0, 1);
        upnp_http_register_header_handler(add_lines);
        cb_dtcp_content_type = write_type;
    }

    ~SendHeader() override
    {
        cb_dtcp_content_type = nullptr;
        http_unregister_all_handlers();
        upnp_ini_file_release();
        now = {};
    }

    void check(const Exchange &exchange)
    {
        now = exchange;
        std::string head = std::string(now.method) + " " + now.target +
                           " HTTP/" + now.version + "\r\n" + now.host +
                           now.lines +
                           (now.lines.empty() ? "\r\n" : "\r\n\r\n");
        SocketPair      pair(head);
        HttpServerEntry server = {};
        HttpConnection  connection = { &server, pair.own, nullptr, 0, 0 };
        EXPECT_EQ(HTTP_send_receive(&connection),
                  now.closes || now.connection == "close")
            << head;
        EXPECT_EQ(without_date(SocketPair::waiting(pair.peer)), expected_head())
            << head;
    }
};

// clang-format off
static const char page[] = "text/html; charset=utf-8";

TEST_F(SendHeader, NamesEachStatus)
{
    static const struct {
        int32_t     asks;
        const char *mime, *status, *type;
    } cases[] = {
        { 201, "a/b",   "201 Created",                         "a/b" },
        { 204, nullptr, "204 No Content",  "application/octet-stream" },
        { 207, "a/b",   "207 Multi-Status",                    "a/b" },
        { 300, "a/b",   "200 OK",                              "a/b" },
        { 400, nullptr, "400 Bad Request",                     page },
        { 401, nullptr, "401 Unauthorised",                    page },
        { 402, nullptr, "402 Invalid Args",                    page },
        { 404, "a/b",   "404 Not Found",                       "a/b" },
        { 406, nullptr, "406 Not Acceptable",                  page },
        { 412, nullptr, "412 Precondition Failed",             page },
        { 416, nullptr, "416 Requested Range Not Satisfiable", page },
        { 500, nullptr, "500 Internal Server Error",           page },
        { 501, nullptr, "501 Action Failed",                   page },
        { 503, nullptr, "503 Service Unavailable",             page },
    };
    for (const auto &c : cases)
        check({ .asks = c.asks, .mime = c.mime, .status = c.status,
                .type = c.type });
}

TEST_F(SendHeader, TellsWhetherTheConnectionStays)
{
    static const char keep[] = "keep-alive", close[] = "close";

    static const struct {
        const char *method, *version, *line, *connection;
    } cases[] = {
        { "GET",     "1.1", "", keep },
        { "HEAD",    "1.1", "connection: keep-alive, x", keep },
        { "OPTIONS", "1.1", "Connection: Close", close },
        { "GET",     "1.1", "Connection: TE", close },
        { "GET",     "1.1", "Connection: TE, close\r\nY: Keep-Alive", keep },
        { "GET",     "1.1", "Connection:Keep-Alive\r\nY: z", close },
        { "GET",     "1.1", "Connection:close\r\nY: keep-alive", keep },
        { "GET",     "1.1", "Proxy-Connection: close", keep },
        { "GET",     "1.0", "", close },
        { "HEAD",    "1.0", "Connection: Keep-Alive", close },
    };
    for (const auto &c : cases)
        check({ .lines = c.line, .method = c.method, .version = c.version,
                .connection = c.connection });
}

TEST_F(SendHeader, ChecksTheTransferModeAgainstTheFlags)
{
    static const char ok[] = "200 OK", bad[] = "400 Bad Request",
        no[] = "406 Not Acceptable", none[] = "",
        interactive[] = "transferMode.dlna.org: Interactive",
        background[] = "transferMode.dlna.org: Background",
        streaming[] = "transferMode.dlna.org: Streaming";

    static const struct {
        const char *target, *line, *status, *extra;
    } cases[] = {
        { "/a", "TRANSFERMODE.dlna.org:interactive",   ok, interactive },
        { "/a", background,                            ok, background },
        { "/a", "transferMode.dlna.org:  streaming",   ok, streaming },
        { "/-FLAGS00d", "transferMode.dlna.org: Fast", ok, none },
        { "/-FLAGS00d",          none,                 ok, interactive },
        { "/-FLAGS017-FLAGS00f", none,                 ok, interactive },
        { "/-FLAGS015",          none,                 ok, streaming },
        { "/-FLAGS017",          none,                 ok, streaming },
        { "/-FLAGS016",          none,                 ok, none },
        { "/-FLAGS00d", streaming,                     no,  streaming },
        { "/-FLAGS00f", streaming,                     no,  streaming },
        { "/-FLAGS015", interactive,                   no,  interactive },
        { "/-FLAGS017", interactive,                   no,  interactive },
        { "/-FLAGS00d", "PlaySpeed.dlna.org, TransferMode.dlna.org: Streaming",
                                                       bad, streaming },
        { "/-FLAGS015", "PlaySpeed.dlna.org: 2",       ok,  streaming },
        { "/-FLAGS00f", "realTimeInfo.dlna.org: 1",    bad, interactive },
        { "/a",         "x: DLNA.ORG_FLAG=1",          bad, none },
        { "/-FLAGS00d", "x: DLNA.ORG_FLAG=1 Streaming PlaySpeed.dlna.org",
                                                       ok, interactive },
    };
    for (const auto &c : cases)
        check({ .target = c.target, .lines = c.line, .status = c.status,
                .extra = c.extra });
}

TEST_F(SendHeader, MakesContentFeaturesFromTheUrl)
{
    static const struct {
        std::string target;
        int         quirks;
        std::string features;
    } cases[] = {
        { "/clip",           0, "*" },
        { "/clip-PNAVC/x",   0, "DLNA.ORG_PN=AVC" },
        { "/clip-OP01",      0, ";DLNA.ORG_OP=01" },
        { "/clip-OP00-",     0, "" },
        { "/clip-OP00-PNA",  0, "DLNA.ORG_PN=A" },
        { "/clip-CI0/",      0, ";DLNA.ORG_CI=0" },
        { "/-FLAGS01600000", 0,
          ";DLNA.ORG_FLAGS=01600000000000000000000000000000" },
        { "/-FLAGS016-CI1-OP11-PNMP3/", 0,
          "DLNA.ORG_PN=MP3;DLNA.ORG_OP=11;DLNA.ORG_CI=1;"
          "DLNA.ORG_FLAGS=016000000000000000000000000" },
        { "/NON-DLNA-PNA",   0, "*" },
        { "/NON-DLNA-PNA",   FOURTH, "DLNA.ORG_PN=A" },
        // 255 characters in all, CR LF included.
        { "/-PN" + std::string(300, 'a'), 0,
          "DLNA.ORG_PN=" + std::string(215, 'a') },
    };
    for (const auto &c : cases)
        check({ .target = c.target, .lines = "getContentFeatures.dlna.org: 1",
                .quirks = c.quirks,
                .extra = "contentFeatures.dlna.org: " + c.features });
}

TEST_F(SendHeader, NamesTheRange)
{
    static const char seconds[] = "TimeSeekRange.dlna.org: npt=5.050-10.000";
    static const char clocks[] = "TimeSeekRange.dlna.org: npt=0:00:05.050-";

    static const struct {
        const char *line;
        int         quirks;
        int32_t     duration;
        const char *status, *extra;
    } cases[] = {
        { "Range: bytes=5-8", 0, 0,
          "206 Partial Content", "Content-Range: bytes 5-8/1000" },
        { "X-Seek-Range: npt=1.000-2.000", 0, 9,
          "206 Partial Content", "Content-Range: bytes 1000-2000/1000" },
        { "TimeSeekRange.dlna.org: npt=1.0-\r\nRange: bytes=5-8", 0, 9,
          "206 Partial Content", "Content-Range: bytes 5-8/1000" },
        { seconds, 0, 0, "200 OK", "" },
        { seconds, 0, 20007, "200 OK",
          "TimeSeekRange.dlna.org: npt=005.50-010.0/020.7 "
          "bytes=5050-10000/1000" },
        { seconds, NO_BYTES, 20007, "200 OK",
          "TimeSeekRange.dlna.org: npt=005.50-010.0/020.7" },
        { clocks, 0, 3723500, "200 OK",
          "TimeSeekRange.dlna.org: npt=0:0:5.050-1:2:3.500/1:2:3.500 "
          "bytes=5050--1/1000" },
        { clocks, NO_BYTES, 20000, "200 OK",
          "TimeSeekRange.dlna.org: npt=0:0:5.050-0:0:20.000/0:0:20.000" },
    };
    for (const auto &c : cases)
        check({ .lines = c.line, .quirks = c.quirks, .asks = 206,
                .duration = c.duration, .status = c.status, .extra = c.extra });
}

TEST_F(SendHeader, MeetsTheOtherRules)
{
    static const Exchange cases[] = {
        { .quirks = NEEDS_1_0 },
        { .version = "1.0", .quirks = NEEDS_1_0, .protocol = "HTTP/1.0 ",
          .connection = "close" },
        { .version = "1.0", .quirks = NEEDS_1_0, .asks = 416,
          .status = "404 Not Found", .protocol = "HTTP/1.0 ",
          .connection = "close" },
        { .modified = 1230865445, .modified_line =
          "Last-Modified: Fri, 02 Jan 2009 03:04:05 GMT\r\n" },
        { .target = "/com.awox.transcode",
          .lines = "getContentFeatures.dlna.org: 0", .mime = nullptr,
          .status = "404 Not Found", .type = page,
          .extra = "contentFeatures.dlna.org: *",
          .top = "Content-Length: 0\r\n" },
        { .target = "/com.awox.transcode", .asks = 201,
          .status = "201 Created" },
        { .lines = "GETcontentFeatures.dlna.org: 0",
          .status = "400 Bad Request", .extra = "contentFeatures.dlna.org: *" },
        { .host = "", .quirks = IS_DLNA, .status = "400 Bad Request" },
        { .host = "getCaptionInfo.sec: 1\r\n", .quirks = IS_DLNA },
        { .host = "" },
        { .lines = "getavailableseekrange.dlna.org: 1", .duration = 5050,
          .extra = "AvailableSeekRange.DLNA.ORG: 1 npt=0.000-005.50" },
        { .lines = "getAvailableSeekRange.dlna.org: 1" },
        { .target = "/clip-FLAGS017-OP01",
          .lines = "transferMode.dlna.org: Interactive\r\nRange: bytes=0-9",
          .asks = 206, .status = "206 Partial Content",
          .extra = "Content-Range: bytes 0-9/1000\r\n"
                   "transferMode.dlna.org: Interactive" },
        { .target = "/rate44100channels2", .mime = "audio/L16",
          .type = "audio/L16;rate=44100;channels=2" },
        { .mime = "audio/L16", .type = "audio/L16;rate=0;channels=0" },
        { .lines = "accept-language: de", .top =
          "Content-Language: ja\r\nContent-Length: 1000\r\n" },
        { .adds = "X: 1\r\n", .extra = "Y: 2\r\nX: 1" },
        { .is_protected = 1, .type = "application/x-256", .extra =
          "Pragma: no-cache\r\nCache-control: no-cache" },
        { .chunked = 1, .top = "Transfer-Encoding: chunked\r\n" },
        { .lines = "User-Agent: Redsonic", .quirks = RED },
        { .length = HTTP_UNKNOWN_LENGTH,
          .top = "Content-Length: 9999999999999999\r\n" },
        { .lines = "X: DLNADOC/1.50", .length = HTTP_UNKNOWN_LENGTH,
          .whole = "HTTP/1.0 200 OK\r\nContent-Type: video/mp4\r\n"
                   "Connection: close\r\n\r\n", .closes = true },
        { .lines = "Accept-Language: x", .length = -1, .adds = "X: 1\r\n",
          .whole = "HTTP/1.0 200 OK\r\nContent-Type: video/mp4\r\n"
                   "Content-Language: ja\r\nConnection: close\r\n"
                   "Y: 2\r\nX: 1\r\n\r\n" },
        { .lines = "transferMode.dlna.org: Streaming", .chunked = 1,
          .length = -1,
          .whole = "HTTP/1.1 200 OK\r\nContent-Type: video/mp4\r\n"
                   "Connection: close\r\nTransfer-Encoding: chunked\r\n"
                   "transferMode.dlna.org: Streaming\r\n\r\n" },
        { .lines = "User-Agent: redsonic\r\nAccept-Language: x",
          .version = "1.0", .quirks = RED,
          .whole = "HTTP/1.0 200 OK\r\nContent-Type: video/mp4\r\n"
                   "Content-Length: 1000\r\nContent-Language: ja\r\n"
                   "Accept-Range: 0 bytes\r\nUser-Agent: redsonic\r\n\r\n" },
    };
    for (const Exchange &exchange : cases)
        check(exchange);
}
// clang-format on

TEST(SendHeaderAlone, FillsUpAHeadThatDoesNotFit)
{
    SocketPair pair;
    auto       request = std::make_unique<HttpRequest>();

    request->socket = pair.own;
    request->http_version = 11;
    request->mime_type = "a/b";
    HTTP_add_header(request.get(), std::string(9000, 'x').c_str());
    EXPECT_EQ(strlen(request->response_headers), 8191u);
    EXPECT_EQ(HTTP_send_header(request.get(), 200), 0);

    std::string sent = SocketPair::waiting(pair.peer);
    EXPECT_EQ(sent.find('\0'), 8191u);
    EXPECT_EQ(sent.find_first_not_of('\0', 8191), std::string::npos);
    // Behind the x come EXT, Server and the empty line.
    EXPECT_EQ(sent.size(), sent.find('x') + 8191 + 89);
}

TEST(SendHeaderAlone, FailsWithoutMemoryAndWithoutAPeer)
{
    SocketPair pair;
    auto       request = std::make_unique<HttpRequest>();
    int32_t    result = 1;

    request->socket = pair.own;
    strcpy(request->header, "\nAccept-Language: de\r\n");
    for_each_failing_allocation([&] {
        EXPECT_NE(result, 0) << "sent although memory was out";
        result = HTTP_send_header(request.get(), 206);
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(HTTP_send_header(nullptr, 200), 1);
    shutdown(pair.own, SHUT_WR);
    EXPECT_EQ(HTTP_send_header(request.get(), 200), 1);
}

TEST(AddHeader, AddsTheUsualLines)
{
    auto request = std::make_unique<HttpRequest>();

    HTTP_add_header(nullptr, "X: 1\r\n");
    HTTP_add_header(request.get(), nullptr);
    HTTP_set_server_info(request.get());
    HTTP_set_no_cache(request.get());
    EXPECT_STREQ(request->response_headers,
                 "EXT:\r\n"
                 "SERVER: Linux/2.x.x, UPnP/1.0, qrConnect UPnP SDK/1.0, "
                 "QuorelMedia UPnP SDK/1.1\r\n"
                 "Expires: 0\r\n"
                 "Pragma: no-cache\r\n"
                 "Cache-Control: no-cache\r\n");
}

TEST(Language, HasATagForEachName)
{
    static const struct {
        const char *name, *tag;
    } cases[] = { { "en", "en" }, { "chs", "zh" }, { "cht", "zh" },
                  { "jp", "ja" }, { "ja", "ja" },  { "nl", "nl" },
                  { "DE", "*" },  { "", "*" },     { nullptr, "*" } };

    for (const auto &c : cases) {
        char *tag = upnp_http_build_language_header_1(c.name);
        char *line = upnp_http_build_accept_language_header(c.name);
        EXPECT_STREQ(tag, c.tag);
        EXPECT_EQ(line, "Accept-Language: " + std::string(c.tag) + "\r\n");
        upnp_free_impl(tag);
        upnp_free_impl(line);
    }
}
