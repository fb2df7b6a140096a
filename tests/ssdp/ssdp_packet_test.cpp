// ssdp_packet_test.cpp - packets to the byte, the sets of each role, the queue.

#include "config/upnp_ini_file.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_udn.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_packet.h"
#include "ssdp/ssdp_queue.h"
#include "ssdp/ssdp_recorder.h"
#include "ssdp/upnp_ssdp.h"

#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <thread>

using Rows = std::vector<std::string>;

static constexpr char group[] = "239.255.255.250";

TEST(Packet, StandsToTheByte)
{
    SSDP_notify_packet(group, 1900, 3, "10.0.0.5", 9000, "upnp:rootdevice",
                       "uuid:1", "/a.xml");
    SSDP_notify_packet(group, 1900, 3, "10.0.0.5", 9000, nullptr, "uuid:1",
                       "/a.xml");
    SSDP_byebye_packet("10.0.0.9", 4000, 3, "urn:x:1", "uuid:1");
    SSDP_http_packet("10.0.0.9", 4000, 3, "10.0.0.5", 9000, "urn:x:1", "uuid:1",
                     "/a.xml");

    std::vector<SentPacket> packets = take_sent();
    ASSERT_EQ(packets.size(), 4u);
    EXPECT_EQ(packets[0].text,
              "NOTIFY * HTTP/1.1\r\n"
              "HOST: 239.255.255.250:1900\r\n"
              "CACHE-CONTROL: max-age=1810\r\n"
              "LOCATION: http://10.0.0.5:9000/a.xml\r\n"
              "NT: upnp:rootdevice\r\n"
              "NTS: ssdp:alive\r\n"
              "SERVER: Linux/2.x.x, UPnP/1.0, qrConnect UPnP SDK/1.0, "
              "QuorelMedia UPnP SDK/1.1\r\n"
              "USN: uuid:1::upnp:rootdevice\r\n"
              "\r\n");
    EXPECT_EQ(packets[0].ip, group);
    EXPECT_EQ(packets[0].port, 1900);
    EXPECT_EQ(line_of(packets[1], "NT"), "uuid:1");
    EXPECT_EQ(line_of(packets[1], "USN"), "uuid:1");
    EXPECT_EQ(packets[2].text, "NOTIFY * HTTP/1.1\r\n"
                               "HOST: 239.255.255.250:1900\r\n"
                               "NT: urn:x:1\r\n"
                               "NTS: ssdp:byebye\r\n"
                               "USN: uuid:1::urn:x:1\r\n"
                               "\r\n");
    EXPECT_EQ(packets[2].ip, "10.0.0.9");

    // clang-format off
    std::string date = line_of(packets[3], "DATE");
    EXPECT_EQ(packets[3].text,
              "HTTP/1.1 200 OK\r\n"
              "CACHE-CONTROL: max-age=1810\r\n"
              "DATE: " + date + "\r\n"
              "EXT:\r\n"
              "LOCATION: http://10.0.0.5:9000/a.xml\r\n"
              "SERVER: Linux/2.x.x, UPnP/1.0, qrConnect UPnP SDK/1.0, "
              "QuorelMedia UPnP SDK/1.1\r\n"
              "ST: urn:x:1\r\n"
              "USN: uuid:1::urn:x:1\r\n"
              "Content-Length: 0\r\n"
              "\r\n");
    // clang-format on
    EXPECT_EQ(date.size(), strlen("Sun, 22 Nov 2026 20:00:00 GMT"));

    SSDP_byebye_packet(group, 1900, 3, std::string(600, 't').c_str(), "uuid:1");
    std::string cut = take_sent()[0].text;
    EXPECT_EQ(cut.size(), 511u);
    EXPECT_TRUE(cut.ends_with("ttt"));
}

// A server and a renderer in one process, on in all tests that follow.
TEST(Roles, AnswerATargetExactly)
{
    upnp_ini_file_init();
    upnp_ssdp_isMediaServer();
    upnp_ssdp_isRenderer();
    std::string udn = upnp_get_server_udn();
    std::string service = "urn:schemas-upnp-org:service:ConnectionManager:1";

    const struct {
        const char *why;
        std::string target;
        Rows        expected;
    } cases[] = {
        { "one packet of each role",
          "upnp:rootdevice",
          { "answer upnp:rootdevice", "answer upnp:rootdevice" } },
        { "the bare UDN", udn, { "answer " + udn } },
        { "one service of both",
          service,
          { "answer " + service, "answer " + service } },
        { "another case", "UPNP:ROOTDEVICE", {} },
        { "unknown", "urn:x:1", {} },
        { "empty", "", {} },
    };
    for (const auto &c : cases) {
        SSDP_send_notify(3, "10.0.0.5", 9000, "10.0.0.9", 4000,
                         c.target.c_str(), 0);
        EXPECT_EQ(summary(take_sent()), c.expected) << c.why;
    }
    SSDP_send_notify(3, "10.0.0.5", 9000, group, 1900, nullptr, 1);
    EXPECT_TRUE(take_sent().empty());
    upnp_ini_file_release();
}

// Everything that the five roles announce and take back, in order.
TEST(Roles, AnnounceAndTakeBackDifferentSets)
{
    const struct {
        char *(*udn)(void);
        // Behind the UDN and the root device; "urn:schemas-upnp-org:" goes
        // in front where there is no other "urn:".
        Rows alive, byebye;
    } roles[] = {
        { upnp_get_server_udn,
          { "device:MediaServer:1", "service:ContentDirectory:1",
            "service:ConnectionManager:1",
            "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1" },
          { "device:MediaServer:1", "service:ContentDirectory:1",
            "service:ConnectionManager:1" } },
        { upnp_get_renderer_udn,
          { "device:MediaRenderer:1", "service:ConnectionManager:1",
            "service:AVTransport:1", "service:RenderingControl:1" },
          { "device:MediaRenderer:1", "service:RenderingControl:1",
            "service:ConnectionManager:1", "service:AVTransport:1" } },
        { upnp_get_ruis_udn,
          { "device:RemoteUIServer:1", "service:RemoteUIServer:1" },
          { "device:RemoteUIServer:1" } },
        { upnp_get_ruic_udn,
          { "device:RemoteUIClient:1", "service:RemoteUIClient:1" },
          { "device:RemoteUIClient:1" } },
        { upnp_get_mtp_udn,
          { "urn:microsoft-com:device:mtp:1",
            "urn:microsoft-com:service:MtpNullService:1" },
          {} },
    };
    auto turn_others = [](int32_t flag) {
        upnp_ssdp_hasRemoteUIServer(flag);
        upnp_ssdp_hasRemoteUIClient(flag);
        upnp_ssdp_hasMediaTransferProtocol(flag);
    };
    const std::string urn = "urn:schemas-upnp-org:";
    Rows              alive, byebye, ruis;
    auto add = [&](Rows &to, const std::string &kind, const char *udn,
                   const Rows &types) {
        to.insert(to.end(), { kind + udn, kind + "upnp:rootdevice" });
        for (const std::string &type : types)
            to.push_back(kind + (type.starts_with("urn:") ? "" : urn) + type);
    };
    for (const auto &role : roles) {
        add(alive, "alive ", role.udn(), role.alive);
        add(byebye, "byebye ", role.udn(), role.byebye);
    }
    Rows mtp(alive.end() - 4, alive.end());

    SSDP_MediaTransferProtocol(3, "10.0.0.5", 9000, group, 1900, "ssdp:all", 1);
    EXPECT_EQ(summary(take_sent()), mtp) << "whether in force or not";
    turn_others(1);
    SSDP_send_notify(3, "10.0.0.5", 9000, group, 1900, "ssdp:all", 1);
    EXPECT_EQ(summary(take_sent()), alive);
    SSDP_send_byebye(3, group, 1900);
    EXPECT_EQ(summary(take_sent()), byebye);
    turn_others(0);

    // The remote UI server alone, twice, where there is a heartbeat's socket.
    shared::store(g_nInterfaceCount, 2);
    getHTTPServerData(0)->heartbeatSocket = -1;
    getHTTPServerData(1)->heartbeatSocket = upnp_socket_create_udp();
    for (const char *kind : { "alive ", "alive ", "byebye ", "byebye " })
        add(ruis, kind, roles[2].udn(),
            *kind == 'a' ? roles[2].alive : roles[2].byebye);
    SSDP_ruis_send_announcement();
    SSDP_ruis_send_byebye();
    EXPECT_EQ(summary(take_sent()), ruis);
    upnp_close_socket(&getHTTPServerData(1)->heartbeatSocket);
    shared::store(g_nInterfaceCount, 0);
}

static SsdpQueuedNotify *new_record(HttpServerEntry *server, int32_t delay)
{
    auto *record = static_cast<SsdpQueuedNotify *>(
        upnp_calloc_impl(1, sizeof(SsdpQueuedNotify)));

    record->delay = delay;
    strcpy(record->searchTarget, "urn:schemas-upnp-org:device:MediaServer:1");
    strcpy(record->destIp, "10.0.0.9");
    record->destPort = 4000;
    record->server = server;
    return record;
}

TEST(Queue, SendsWhatIsStillValidThreeTimesAndKeepsTheRest)
{
    HttpServerEntry server = {};
    Rows three(3, "answer urn:schemas-upnp-org:device:MediaServer:1");

    strcpy(server.ip, "10.0.0.5");
    server.httpPort = 9000;
    shared::store(g_server_running, 1);
    SSDP_init();

    SSDP_queue_notify_packet(nullptr);
    SSDP_queue_notify_packet(new_record(&server, 3));
    SSDP_queue_notify_packet(new_record(&server, -1));
    SsdpQueuedNotify *brim = new_record(&server, 3);
    memset(brim->searchTarget, 'x', sizeof(brim->searchTarget));
    memset(brim->destIp, '1', sizeof(brim->destIp));
    SSDP_queue_notify_packet(brim);
    SSDP_process_queued_notify_packets();
    EXPECT_EQ(summary(take_sent()), three);

    // An overdue answer is never sent, and stays until the queue is cleared.
    int64_t used = upnp_mem_used();
    SSDP_process_queued_notify_packets();
    EXPECT_TRUE(take_sent().empty());
    EXPECT_EQ(upnp_mem_used(), used);
    SSDP_queue_clear();
    EXPECT_LT(upnp_mem_used(), used);

    // A stopped interface answers nothing, and a stopped server keeps all.
    shared::copy_text_in(server.ip, "", sizeof(server.ip));
    SSDP_queue_notify_packet(new_record(&server, 3));
    shared::store(g_server_running, 0);
    SSDP_process_queued_notify_packets();
    shared::store(g_server_running, 1);
    SSDP_process_queued_notify_packets();
    EXPECT_TRUE(take_sent().empty());

    SSDP_queue_notify_packet(new_record(&server, 3));
    SSDP_exit();
    shared::store(g_server_running, 0);
}

TEST(Queue, TheWaitForTheLockIsNoPartOfTheDelay)
{
    HttpServerEntry server = {};

    strcpy(server.ip, "10.0.0.5");
    shared::store(g_server_running, 1);
    SSDP_init();
    // More than a second of pauses, and all that time the lock is held.
    for (int i = 0; i < 200; ++i)
        SSDP_queue_notify_packet(new_record(&server, 60));
    std::thread sender(SSDP_process_queued_notify_packets);
    await_sent(1);

    SsdpQueuedNotify *late = new_record(&server, 0);
    int64_t           asked = time(nullptr);
    SSDP_queue_notify_packet(late);
    EXPECT_GT(late->dueTime, asked);

    sender.join();
    SSDP_exit();
    shared::store(g_server_running, 0);
    take_sent();
}
