// upnp_server_test.cpp - servers that come up, answer, and go down again.

#include "server/upnp_server.h"

#include "http/http_auth.h"
#include "runtime/upnp_encode.h"
#include "runtime/upnp_mem.h"
#include "server/fake_machine.h"
#include "ssdp/upnp_ssdp.h"
#include "support/await.h"

#include <atomic>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Server : FakeMachine {
    void SetUp() override
    {
        FakeMachine::SetUp();
        addresses = { "127.0.0.1" };
        threads_before = count_threads();
        upnp_http_register_handler(hello, HTTP_METHOD_GET, "/", 0, 1);
    }
    void TearDown() override
    {
        shared::store(g_server_running, 0);
        server_set_remote_port(0);
        upnp_server_stop(nullptr);
        EXPECT_TRUE(await([&] { return count_threads() == threads_before; }));
        http_unregister_all_handlers();
        FakeMachine::TearDown();
    }

    static int32_t hello(HttpRequest *request)
    {
        request->mime_type = "text/plain";
        request->content_length = 5;
        return HTTP_send(request, "hello");
    }

    static int connect_to(const char *ip, int32_t port)
    {
        int fd = upnp_socket_create_tcp();

        EXPECT_EQ(upnp_socket_connect(fd, ip, static_cast<uint16_t>(port)), 0);
        return fd;
    }

    static std::string remote_status()
    {
        char start[13] = {};
        int  fd = connect_to("127.0.0.1", 19443);

        upnp_send(fd, "GET /x HTTP/1.0\r\n\r\n", 19);
        upnp_recv(fd, start, 12, MSG_WAITALL);
        close(fd);
        return start;
    }

    static std::string get(int fd)
    {
        static constexpr char head[] = "GET /x HTTP/1.1\r\nHost: x\r\n\r\n";
        std::string           answer;
        char                  c;

        upnp_send(fd, head, sizeof(head) - 1);
        while (!answer.ends_with("hello") && recv(fd, &c, 1, 0) == 1)
            answer += c;
        return answer;
    }

    int threads_before = 0;
};

}

TEST_F(Server, ServesEachAddressButOneOfASubnet)
{
    uint32_t state = 0;

    addresses = { "127.0.0.1", "127.0.1.1", "127.0.1.2", "127.0.2.1" };
    upnp_server_start(&state);
    EXPECT_EQ(state, 1u);
    EXPECT_EQ(g_nInterfaceCount, 4);
    for (uint32_t i = 0; i < 4; ++i) {
        HttpServerEntry *row = getHTTPServerData(i);
        bool             is_skipped = i == 2;

        EXPECT_STREQ(row->ip, is_skipped ? "" : addresses[i].c_str());
        if (is_skipped)
            continue;
        int fd = connect_to(row->ip, row->httpPort);
        EXPECT_TRUE(get(fd).starts_with("HTTP/1.1 200 OK\r\n"));
        close(fd);
    }
    EXPECT_EQ(getHTTPServerData(4), nullptr);
    EXPECT_EQ(getHTTPServerData(UINT32_MAX), nullptr);
    // The loopback address is a mere one beside others.
    EXPECT_EQ(g_localPort, getHTTPServerData(3)->httpPort);
    EXPECT_EQ(getHttpServer(),
              "127.0.0.1:" + std::to_string(getHTTPServerData(0)->httpPort));

    uint32_t generation = getHTTPServerData(0)->generation;
    upnp_server_stop(&state);
    EXPECT_EQ(state, 0u);
    EXPECT_EQ(getHTTPServerData(0)->generation, generation + 1);
    EXPECT_EQ(getHTTPServerData(0)->httpSocket, -1);
    EXPECT_STREQ(getHTTPServerData(0)->ip, "");
}

TEST_F(Server, FallsBackToLoopbackWithoutAnAddress)
{
    addresses.clear();
    upnp_server_start(nullptr);
    EXPECT_EQ(g_nInterfaceCount, 1);
    EXPECT_STREQ(g_IPaddress[0], "127.0.0.1");
    EXPECT_EQ(g_localPort, getHTTPServerData(0)->httpPort);
}

TEST_F(Server, LeavesAStoppedOrStoppingStateAlone)
{
    upnp_server_start(nullptr);
    for (uint32_t state : { 0u, UPNP_SERVER_STOPPING }) {
        uint32_t same = state;
        upnp_server_stop(&same);
        EXPECT_EQ(same, state);
        EXPECT_NE(getHTTPServerData(0)->httpSocket, -1);
    }
}

TEST_F(Server, ASecondStartBringsOnlyARenderersHeartbeats)
{
    uint32_t state = 0;

    upnp_server_start(&state);
    HttpServerEntry &row = *getHTTPServerData(0);
    int32_t          socket = row.httpSocket;
    upnp_server_start(&state);
    EXPECT_FALSE(fs::exists("qdbyebye"));
    is_renderer = 1;
    upnp_server_start(&state);
    EXPECT_TRUE(fs::exists("qdbyebye"));
    EXPECT_TRUE(await([&] { return shared::load(row.heartbeatSocket) > 0; }));
    EXPECT_EQ(row.httpSocket, socket);
}

TEST_F(Server, OpensARemoteTwinOnItsPort)
{
    server_set_remote_port(19443);
    upnp_ini_file_setPropertyByKey(INI_ENABLETLS, "0");
    upnp_server_start(nullptr);

    // Without credentials everyone may come in, with them nobody else.
    EXPECT_EQ(remote_status(), "HTTP/1.1 200");
    char scrambled[64];
    upnp_string_encrypt("secret", scrambled, sizeof(scrambled));
    HTTP_set_username_and_pwd("user", scrambled, 0);
    EXPECT_EQ(remote_status(), "HTTP/1.1 401");
    HTTP_set_username_and_pwd("", "", 0);
}

TEST_F(Server, KeepsAFileWhileItRuns)
{
    fs::path file = dir + "/qsbyebye";

    upnp_ssdp_isMediaServer();
    upnp_server_start(nullptr);
    EXPECT_TRUE(fs::exists(file));
    EXPECT_EQ(getHTTPServerData(0)->byebyeFirst, 0u);
    upnp_server_stop(nullptr);
    EXPECT_FALSE(fs::exists(file));

    put(file, "");  // as an unclean end leaves it
    upnp_server_start(nullptr);
    EXPECT_EQ(getHTTPServerData(0)->byebyeFirst, 1u);
}

TEST_F(Server, TheGlobalLockEndsWithTheServerUnderItsWaiters)
{
    std::atomic<bool> done = false;

    EXPECT_EQ(upnp_global_lock(), 0);
    upnp_server_start(nullptr);
    std::thread user([&] {
        while (!done) {
            if (upnp_global_lock())
                upnp_global_unlock();
        }
    });
    upnp_server_stop(nullptr);
    EXPECT_EQ(upnp_global_lock(), 0);
    done = true;
    user.join();
    upnp_global_unlock();
}

TEST_F(Server, LeavesNothingBehindAfterManyStartsAndStops)
{
    int     descriptors = count_in("/proc/self/fd");
    int64_t used = upnp_mem_used();
    int     rounds = 200;

    for (int round = 0; round < rounds; ++round) {
        uint32_t state = 0;

        shared::store(g_server_running, 1);
        upnp_server_start(&state);
        int32_t port = getHTTPServerData(0)->httpPort;
        int     idle = connect_to("127.0.0.1", port);
        int     busy = connect_to("127.0.0.1", port);
        EXPECT_TRUE(get(busy).ends_with("hello"));

        // One connection is open through the stop, one ends in its middle.
        std::thread peer([&] { shutdown(busy, SHUT_RDWR); });
        shared::store(g_server_running, 0);
        upnp_server_stop(&state);
        peer.join();
        close(busy);
        close(idle);
    }
    EXPECT_TRUE(await([&] {
        return count_in("/proc/self/fd") == descriptors &&
               upnp_mem_used() == used;
    }));
}
