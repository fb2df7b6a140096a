// ssdp_threads_test.cpp - heartbeats, listeners and searches, on loopback.

#include "config/upnp_ini_file.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_recorder.h"
#include "ssdp/upnp_ssdp.h"
#include "support/await.h"
#include "support/log_lines.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/socket.h>

using Rows = std::vector<std::string>;

namespace {

struct Heard {
    std::string      packet, ip;
    HttpServerEntry *entry;
};

std::mutex         heard_lock;
std::vector<Heard> heard;

int32_t hear(const char *packet, HttpServerEntry *entry, const char *ip,
             int32_t)
{
    std::lock_guard guard(heard_lock);
    heard.push_back({ packet, ip, entry });
    return 0;
}

Heard await_heard()
{
    Heard first = {};
    await([&] {
        std::lock_guard guard(heard_lock);
        if (heard.empty())
            return false;
        first = heard.front();
        heard.clear();
        return true;
    });
    return first;
}

struct Threads : testing::Test {
    void SetUp() override
    {
        upnp_ini_file_init();
        upnp_ini_file_setPropertyByKey(INI_NMCMODE, "0");
        upnp_ssdp_isMediaServer();
        upnp_ssdp_isRenderer();
        threads_before = count_threads();
        strcpy(entry.ip, "127.0.0.1");
        entry.httpPort = 9000;
        entry.listenSocket = entry.msearchSocket = entry.heartbeatSocket = -1;
        shared::store(g_server_running, 1);
        take_sent();
        if (!upnp_ssdp_handler_is_registered(hear))
            upnp_ssdp_register_handler(hear, "hear");
    }

    // Ends the row's threads as a stop of the server does.
    void TearDown() override
    {
        shared::store(g_server_running, 0);
        for (int32_t *sock : { &entry.heartbeatSocket, &entry.listenSocket,
                               &entry.msearchSocket })
            upnp_close_socket(sock);
        shared::store(entry.generation, entry.generation + 1);
        EXPECT_TRUE(await([&] { return count_threads() == threads_before; }));
        upnp_ini_file_release();
        std::lock_guard guard(heard_lock);
        heard.clear();
    }

    // Whether the next packets are this many, all of one kind.
    static bool await_only(const char *kind, size_t count)
    {
        Rows rows = summary(await_sent(count));
        return rows.size() == count &&
               std::all_of(rows.begin(), rows.end(), [&](const auto &row) {
                   return row.starts_with(kind);
               });
    }

    static constexpr size_t ALIVE = 12, BYEBYE = 11;  // server and renderer

    // Rows live as long as the process, as the server's do.
    static inline HttpServerEntry rows[16];
    static inline int             rows_used = 0;

    HttpServerEntry &entry = rows[rows_used++];
    int              threads_before = 0;
};

}

TEST_F(Threads, AHeartbeatAnnouncesObeysAndSaysFarewell)
{
    entry.byebyeFirst = 1;
    upnp_start_thread(SSDP_heartbeat, &entry, 3);
    EXPECT_TRUE(await_only("byebye", 2 * BYEBYE));
    EXPECT_TRUE(await_only("alive", 2 * ALIVE));
    EXPECT_EQ(upnp_ssdp_heartbeat_active(), 1);

    SSDP_trigger_byebye();
    EXPECT_TRUE(await_only("byebye", BYEBYE));
    upnp_ssdp_send_alive();  // without effect in the silence
    EXPECT_TRUE(take_sent().empty());
    SSDP_trigger_wakeup();
    EXPECT_TRUE(await_only("alive", ALIVE));
    upnp_ssdp_send_alive();
    EXPECT_GE(await_sent(ALIVE).size(), ALIVE);

    shared::store(g_server_running, 0);
    EXPECT_TRUE(await_only("byebye", 2 * BYEBYE));
    EXPECT_TRUE(await([] { return upnp_ssdp_heartbeat_active() == 0; }));
    EXPECT_EQ(shared::load(entry.heartbeatSocket), -1);
}

TEST_F(Threads, AHeartbeatSaysFarewellHoweverItEnds)
{
    static void (*const ends[])(HttpServerEntry &) = {
        [](HttpServerEntry &row) { upnp_close_socket(&row.heartbeatSocket); },
        [](HttpServerEntry &) { SSDP_trigger_shutdown(); },
    };
    for (auto end : ends) {
        upnp_start_thread(SSDP_heartbeat, &entry, 3);
        EXPECT_TRUE(await_only("alive", 2 * ALIVE));
        end(entry);
        EXPECT_TRUE(await_only("byebye", 2 * BYEBYE));
        EXPECT_TRUE(await([] { return upnp_ssdp_heartbeat_active() == 0; }));
    }
}

TEST_F(Threads, AListenerHandsPacketsOnAndOutlivesAnEmptyOne)
{
    upnp_start_thread(SSDP_listen, &entry, 5);
    ASSERT_TRUE(await([&] { return shared::load(entry.listenSocket) != -1; }));
    really_send(std::string(1500, 'x'), "239.255.255.250", 1900);
    Heard packet = await_heard();
    EXPECT_EQ(packet.packet, std::string(1024, 'x'));
    EXPECT_EQ(packet.ip, "127.0.0.1");
    EXPECT_EQ(packet.entry, &entry);

    // An empty datagram counts as an error: the thread starts anew.
    really_send("", "239.255.255.250", 1900);
    ASSERT_TRUE(await([&] {
        really_send("again", "239.255.255.250", 1900);
        std::lock_guard guard(heard_lock);
        return !heard.empty();
    }));
    EXPECT_EQ(await_heard().packet, "again");
}

TEST_F(Threads, AnAddressThatIsNotTheMachinesEndsThemAll)
{
    strcpy(entry.ip, "203.0.113.9");
    SSDP_listen_Impl(&entry);
    EXPECT_STREQ(strIFblacklist, "") << "only a filled list grows";
    strcpy(strIFblacklist, "10.0.0.1");
    SSDP_listen_Impl(&entry);
    EXPECT_STREQ(strIFblacklist, "10.0.0.1,203.0.113.9");
    strIFblacklist[0] = '\0';
    EXPECT_EQ(entry.listenSocket, -1);

    SSDP_heartbeat_Impl(&entry);
    EXPECT_TRUE(take_sent().empty());
    EXPECT_NE(entry.heartbeatSocket, -1) << "it stays open";

    std::string log = log_lines([&] {
        SSDP_m_search(&entry);
        await([&] {
            return shared::load(entry.msearchSocket) != -1 &&
                   count_threads() == threads_before;
        });
    });
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 971 + 1);
    EXPECT_NE(log.find("port for 203.0.113.9:2000, reason: "), log.npos);
    EXPECT_TRUE(log.ends_with("no free port found\n"));
}

TEST_F(Threads, ASearchSendsItsBurstAndALaterOneAnother)
{
    Rows burst;
    for (int pass = 0; pass < 2; ++pass)
        burst.insert(burst.end(),
                     { "search urn:schemas-upnp-org:device:MediaRenderer:1",
                       "search urn:schemas-upnp-org:device:MediaServer:1" });

    SSDP_m_search(&entry);
    std::vector<SentPacket> packets = await_sent(4);
    EXPECT_EQ(summary(packets), burst);
    EXPECT_EQ(packets[0].text,
              "M-SEARCH * HTTP/1.1\r\n"
              "MX: 10\r\n"
              "ST: urn:schemas-upnp-org:device:MediaRenderer:1\r\n"
              "HOST: 239.255.255.250:1900\r\n"
              "MAN: \"ssdp:discover\"\r\n"
              "\r\n");

    // The answer reaches the handlers with the address of the interface.
    sockaddr_in local = {};
    socklen_t   size = sizeof(local);
    getsockname(shared::load(entry.msearchSocket),
                reinterpret_cast<sockaddr *>(&local), &size);
    EXPECT_GE(ntohs(local.sin_port), 1030);
    really_send("answer", "127.0.0.1", ntohs(local.sin_port));
    EXPECT_EQ(await_heard().packet, "answer");

    EXPECT_TRUE(
        await([&] { return shared::load(entry.msearchSenderActive) == 0; }));
    int32_t sock = shared::load(entry.msearchSocket);
    SSDP_m_search(&entry);
    EXPECT_EQ(summary(await_sent(4)), burst);
    EXPECT_EQ(shared::load(entry.msearchSocket), sock);
}

TEST_F(Threads, WithIntervalsThreeBurstsFollowAndAWishComesAtOnce)
{
    upnp_ssdp_enable_search_dmr(0);
    upnp_ssdp_set_enable_quick_msearches(1);
    upnp_ssdp_set_msearch_initial_interval(1);
    upnp_ssdp_set_msearch_interval(100000);
    SSDP_m_search(&entry);
    EXPECT_EQ(await_sent(3 * 4).size(), 3u * 4);  // quick and slow, two passes

    // A wish that comes before the burst is over is met by it; once the sender
    // waits, a wish brings another one.
    auto expect_burst = [&] {
        SSDP_m_search(&entry);
        if (await_sent(4, std::chrono::seconds(1)).size() < 4) {
            SSDP_m_search(&entry);
            EXPECT_EQ(await_sent(4).size(), 4u);
        }
    };
    expect_burst();

    // An empty datagram ends the reader. The sender goes on with the socket of
    // the next one, or has made way for the next one's.
    for (int round = 0; round < 5; ++round) {
        sockaddr_in local = {};
        socklen_t   size = sizeof(local);
        getsockname(shared::load(entry.msearchSocket),
                    reinterpret_cast<sockaddr *>(&local), &size);
        take_sent();
        really_send("", "127.0.0.1", ntohs(local.sin_port));
        ASSERT_TRUE(
            await([&] { return shared::load(entry.msearchSocket) == -1; }));
        expect_burst();
    }
    EXPECT_TRUE(await([&] { return count_threads() == threads_before + 2; }));

    // Bursts follow each other at once where the interval is a negative one.
    upnp_ssdp_set_msearch_interval(-1);
    SSDP_m_search(&entry);
    EXPECT_GE(await_sent(3 * 4).size(), 3u * 4);

    // A stop ends the sender, and the row tells so.
    shared::store(entry.generation, shared::load(entry.generation) + 1);
    upnp_close_socket(&entry.msearchSocket);
    EXPECT_TRUE(
        await([&] { return shared::load(entry.msearchSenderActive) == 0; }));

    upnp_ssdp_set_msearch_interval(0);
    upnp_ssdp_set_msearch_initial_interval(0);
    upnp_ssdp_set_enable_quick_msearches(0);
    upnp_ssdp_enable_search_dmr(1);
}
