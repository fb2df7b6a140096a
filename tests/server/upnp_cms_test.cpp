// upnp_cms_test.cpp - the ConnectionManager answers and the faults.

#include "server/upnp_cms.h"

#include "server/fake_machine.h"
#include "server/upnp_error.h"
#include "support/failing_heap.h"
#include "support/socket_pair.h"

#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>

using std::string_literals::operator""s;

static const std::string envelope =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope "
    "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">";

// The text with each @ replaced by the next value.
static std::string filled(std::string                        text,
                          std::initializer_list<std::string> values)
{
    for (const std::string &value : values)
        text.replace(text.find('@'), 1, value);
    return envelope + text;
}

static std::string fault(int32_t code, const std::string &message)
{
    return filled(
        "\n <s:Body>\n  <s:Fault>\n   <faultcode>s:Client</faultcode>\n"
        "   <faultstring>UPnPError</faultstring>\n   <detail>\n"
        "    <UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">\n"
        "     <errorCode>@</errorCode>\n"
        "     <errorDescription>@</errorDescription>\n"
        "    </UPnPError>\n   </detail>\n  </s:Fault>\n </s:Body>\n"
        "</s:Envelope>\n",
        { std::to_string(code), message });
}

static std::string info(const std::string &id, const std::string &protocol)
{
    return filled(
        "  <s:Body>    <u:GetCurrentConnectionInfoResponse xmlns:u="
        "\"urn:schemas-upnp-org:service:ConnectionManager:1\">"
        "      <RcsID>@</RcsID>      <AVTransportID>@</AVTransportID>"
        "      <ProtocolInfo>@</ProtocolInfo>"
        "      <PeerConnectionManager></PeerConnectionManager>"
        "      <PeerConnectionID>-1</PeerConnectionID>"
        "      <Direction>Output</Direction>      <Status>Unknown</Status>"
        "    </u:GetCurrentConnectionInfoResponse>  </s:Body></s:Envelope>",
        { id, id, protocol });
}

namespace {
struct Answer {
    int32_t     result;
    std::string head, body;
};
}

// Calls with a request on one end of a socket pair, and takes the answer.
template <typename Call> static Answer answer(Call call)
{
    auto       request = std::make_unique<HttpRequest>();
    SocketPair sockets;

    request->socket = sockets.own;
    request->method = HTTP_METHOD_POST;
    request->http_version = 11;
    request->range_start = request->range_end = HTTP_RANGE_NONE;
    strcpy(request->header, "POST /cm HTTP/1.1\r\n\r\n");
    int32_t     result = call(request.get());
    std::string text = SocketPair::waiting(sockets.peer);
    size_t      end = text.find("\r\n\r\n");
    if (end == text.npos)
        return { result, text, "" };
    return { result, text.substr(0, end + 2), text.substr(end + 4) };
}

static Answer ask_info(std::string body, const char *protocol)
{
    return answer([&](HttpRequest *request) {
        request->body = body.data();
        return upnp_cms_get_current_connection_info(request, protocol);
    });
}

static void expect_type(const Answer &a)
{
    for (const std::string &line :
         { "Type:  text/xml; charset=\"utf-8\""s,
           "Length: " + std::to_string(a.body.size()) })
        EXPECT_NE(a.head.find(line + "\r\n"), a.head.npos) << a.head;
}

TEST(UpnpError, EveryCodeHasItsFaultAndStatus)
{
    static const struct {
        int32_t     code, row;
        const char *message, *status;
    } cases[] = {
        { 400, 400, "Bad request", "HTTP/1.1 400 " },
        { 402, 402, "Invalid Args", "HTTP/1.1 500 " },
        { 412, 412, "Precondition failed", "HTTP/1.1 412 " },
        { 501, 501, "Action Failed", "HTTP/1.1 501 " },
        { 706, 706, "Invalid connection reference.", "HTTP/1.1 500 " },
        { 801, 801, "Access denied", "HTTP/1.1 500 " },
        { 0, 0, "Success", "HTTP/1.1 500 " },
        { 14, 14, "Failed", "HTTP/1.1 500 " },
        { 999, 400, "Bad request", "HTTP/1.1 500 " },
        { -1, 400, "Bad request", "HTTP/1.1 500 " },
    };
    for (const auto &c : cases) {
        Answer a =
            answer([&](HttpRequest *r) { return upnp_send_error(r, c.code); });
        EXPECT_EQ(a.result, 0) << c.code;
        EXPECT_EQ(a.head.find(c.status), 0u) << a.head;
        EXPECT_EQ(a.body, fault(c.row, c.message));
        EXPECT_STREQ(upnp_get_errmsg(c.code), c.message);
        expect_type(a);
    }
    EXPECT_EQ(upnp_send_error(nullptr, 402), 1);
    for_each_failing_allocation(
        [] { answer([](HttpRequest *r) { return upnp_send_error(r, 402); }); });
}

TEST(UpnpError, TheProgramsTableGoesFirst)
{
    static const UpnpErrorMessage table[] = {
        { 402, "100%s <own>" }, { 820, "New" },  { 400, nullptr },
        { 821, "Never" },       { -1, nullptr },
    };

    upnp_set_errmsgs(table);
    EXPECT_STREQ(upnp_get_errmsg(820), "New");
    EXPECT_STREQ(upnp_get_errmsg(821), "Bad request") << "behind the end";
    EXPECT_STREQ(upnp_get_errmsg(701), "No such object");
    UpnpString *text = upnp_error(402);
    EXPECT_EQ(text->buffer, fault(402, "100%s <own>"));
    upnp_string_free(text);
    upnp_set_errmsgs(nullptr);
    EXPECT_STREQ(upnp_get_errmsg(402), "Invalid Args");
}

TEST(UpnpCms, TellsTheOneConnection)
{
    Answer a = answer(upnp_cms_get_current_connectionIDs);

    EXPECT_EQ(a.result, 0);
    EXPECT_EQ(a.head.find("HTTP/1.1 200 OK\r\n"), 0u) << a.head;
    EXPECT_EQ(a.body,
              envelope +
                  "  <s:Body>    <u:GetCurrentConnectionIDsResponse xmlns:u="
                  "\"urn:schemas-upnp-org:service:ConnectionManager:1\">      "
                  "<ConnectionIDs>0</ConnectionIDs>    "
                  "</u:GetCurrentConnectionIDsResponse>  </s:Body>"
                  "</s:Envelope>");
    expect_type(a);
    EXPECT_EQ(upnp_cms_get_current_connectionIDs(nullptr), 1);
    EXPECT_EQ(upnp_cms_get_current_connection_info(nullptr, ""), 1);
}

TEST(UpnpCms, DescribesAConnection)
{
    static const struct {
        int32_t     renderer;
        const char *value, *id;  // null: fault 402
    } cases[] = {
        { 1, "0", "0" },      { 1, "7", "-1" },   { 0, "0", "-1" },
        { 1, "-", "0" },      { 1, "-0", "0" },   { 1, "4294967296", "-1" },
        { 1, "x", nullptr },  { 1, "", nullptr }, { 1, "-1", nullptr },
        { 1, " 0", nullptr },
    };
    for (const auto &c : cases) {
        FakeMachine::is_renderer = c.renderer;
        Answer a =
            ask_info("<s:Body><u:A><ConnectionID>" + std::string(c.value) +
                         "</ConnectionID></u:A></s:Body>",
                     "http-get:*:%s:*");
        EXPECT_EQ(a.result, 0);
        EXPECT_EQ(a.head.find(c.id ? "HTTP/1.1 200 " : "HTTP/1.1 500 "), 0u)
            << c.value;
        EXPECT_EQ(a.body, c.id ? info(c.id, "http-get:*:%s:*")
                               : fault(402, "Invalid Args"))
            << c.value;
        expect_type(a);
    }
    FakeMachine::is_renderer = 0;
    EXPECT_EQ(ask_info("<ConnectionID>0</ConnectionID>", nullptr).body,
              info("-1", ""));
    EXPECT_EQ(ask_info("no XML", "").body, fault(402, "Invalid Args"));
    for_each_failing_allocation(
        [] { ask_info("<ConnectionID>0</ConnectionID>", ""); });
}
