// ssdp_threads_test.cpp - heartbeats, listeners and searches, on loopback.

#include "config/upnp_ini_file.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_recorder.h"
#include "ssdp/upnp_ssdp.h"

#include <arpa/inet.h>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using Rows = std::vector<std::string>;

namespace {

struct Heard {
    std::string      packet, ip;
    HttpServerEntry *entry;
};

std::mutex              heard_lock;
std::condition_variable heard_more;
std::vector<Heard>      heard;

int32_t hear(const char *packet, HttpServerEntry *entry, const char *ip,
             int32_t)
{
    std::lock_guard guard(heard_lock);
    heard.push_back({ packet, ip, entry });
    heard_more.notify_all();
    return 0;
}

Heard await_heard()
{
    std::unique_lock guard(heard_lock);
    heard_more.wait_for(guard, std::chrono::seconds(10),
                        [] { return !heard.empty(); });
    if (heard.empty())
        return {};
    Heard first = heard.front();
    heard.erase(heard.begin());
    return first;
}

template <typename Condition> bool await(Condition condition)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

int count_threads()
{
    return static_cast<int>(std::distance(
        std::filesystem::directory_iterator("/proc/self/task"), {}));
}

class Threads : public testing::Test {
protected:
    void SetUp() override
    {
        upnp_ini_file_init();
        upnp_ini_file_setPropertyByKey(INI_NMCMODE, "0");
        upnp_ssdp_isMediaServer();
        upnp_ssdp_isRenderer();
        // A sanitizer starts a thread of its own beside the first one.
        std::thread([] {}).join();
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

    static Rows repeat(const Rows &rows, int times)
    {
        Rows all;
        while (times-- > 0)
            all.insert(all.end(), rows.begin(), rows.end());
        return all;
    }

    static bool has_only(const std::vector<SentPacket> &packets,
                         const char                    *kind)
    {
        for (const std::string &row : summary(packets)) {
            if (!row.starts_with(kind))
                return false;
        }
        return true;
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
    EXPECT_TRUE(has_only(await_sent(2 * BYEBYE), "byebye"));
    std::vector<SentPacket> first = await_sent(2 * ALIVE);
    EXPECT_EQ(first.size(), 2 * ALIVE);
    EXPECT_TRUE(has_only(first, "alive"));
    EXPECT_EQ(upnp_ssdp_heartbeat_active(), 1);

    SSDP_trigger_byebye();
    EXPECT_EQ(await_sent(BYEBYE).size(), BYEBYE);
    upnp_ssdp_send_alive();  // without effect in the silence
    EXPECT_TRUE(take_sent().empty());
    SSDP_trigger_wakeup();
    EXPECT_EQ(await_sent(ALIVE).size(), ALIVE);
    upnp_ssdp_send_alive();
    EXPECT_GE(await_sent(ALIVE).size(), ALIVE);

    shared::store(g_server_running, 0);
    std::vector<SentPacket> farewell = await_sent(2 * BYEBYE);
    EXPECT_EQ(farewell.size(), 2 * BYEBYE);
    EXPECT_TRUE(has_only(farewell, "byebye"));
    EXPECT_TRUE(await([] { return upnp_ssdp_heartbeat_active() == 0; }));
    EXPECT_EQ(shared::load(entry.heartbeatSocket), -1);
}

TEST_F(Threads, AHeartbeatSaysFarewellWhenAStopHasClosedItsSocket)
{
    upnp_start_thread(SSDP_heartbeat, &entry, 3);
    await_sent(2 * ALIVE);
    upnp_close_socket(&entry.heartbeatSocket);
    EXPECT_TRUE(has_only(await_sent(2 * BYEBYE), "byebye"));
}

TEST_F(Threads, AShutdownRequestEndsTheHeartbeat)
{
    upnp_start_thread(SSDP_heartbeat, &entry, 3);
    await_sent(2 * ALIVE);
    SSDP_trigger_shutdown();
    EXPECT_EQ(await_sent(2 * BYEBYE).size(), 2 * BYEBYE);
}

static void send_datagram(const std::string &text, const char *ip,
                          uint16_t port)
{
    sockaddr_in to = {};
    in_addr     loopback = { htonl(INADDR_LOOPBACK) };
    int         fd = socket(AF_INET, SOCK_DGRAM, 0);

    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = inet_addr(ip);
    setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof(loopback));
    EXPECT_EQ(sendto(fd, text.data(), text.size(), 0,
                     reinterpret_cast<sockaddr *>(&to), sizeof(to)),
              static_cast<ssize_t>(text.size()));
    close(fd);
}

TEST_F(Threads, AListenerHandsPacketsOnAndOutlivesAnEmptyOne)
{
    upnp_start_thread(SSDP_listen, &entry, 5);
    ASSERT_TRUE(await([&] { return shared::load(entry.listenSocket) != -1; }));
    send_datagram(std::string(1500, 'x'), "239.255.255.250", 1900);
    Heard packet = await_heard();
    EXPECT_EQ(packet.packet, std::string(1024, 'x'));
    EXPECT_EQ(packet.ip, "127.0.0.1");
    EXPECT_EQ(packet.entry, &entry);

    // An empty datagram counts as an error: the thread starts anew.
    send_datagram("", "239.255.255.250", 1900);
    ASSERT_TRUE(await([&] {
        send_datagram("again", "239.255.255.250", 1900);
        std::lock_guard guard(heard_lock);
        return !heard.empty();
    }));
    EXPECT_EQ(await_heard().packet, "again");
}

TEST_F(Threads, ASearchSendsItsBurstAndALaterOneAnother)
{
    Rows burst = repeat({ "search urn:schemas-upnp-org:device:MediaRenderer:1",
                          "search urn:schemas-upnp-org:device:MediaServer:1" },
                        2);

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
    send_datagram("answer", "127.0.0.1", ntohs(local.sin_port));
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
    SSDP_m_search(&entry);
    if (await_sent(4, std::chrono::seconds(1)).size() < 4) {
        SSDP_m_search(&entry);
        EXPECT_EQ(await_sent(4).size(), 4u);
    }

    upnp_ssdp_set_msearch_interval(0);
    upnp_ssdp_set_msearch_initial_interval(0);
    upnp_ssdp_set_enable_quick_msearches(0);
    upnp_ssdp_enable_search_dmr(1);
}
