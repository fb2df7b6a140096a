// upnp_socket_test.cpp - transfers, names and options over the loopback.

#include "runtime/upnp_socket.h"

#include "support/log_lines.h"

#include <arpa/inet.h>
#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

static uint16_t port_of(int fd)
{
    sockaddr_in address = {};
    socklen_t   size = sizeof(address);

    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

namespace {
// Two ends of one connection.
class Tcp : public testing::Test {
    void SetUp() override
    {
        int listener = upnp_socket_create_tcp();

        client = upnp_socket_create_tcp();
        ASSERT_EQ(setSockOptReuseAddr(listener), 0);
        ASSERT_EQ(upnp_socket_bind(listener, "127.0.0.1", 0), 0);
        ASSERT_EQ(upnp_socket_listen(listener), 0);
        port = port_of(listener);
        ASSERT_EQ(upnp_socket_connect(client, "127.0.0.1", port), 0);
        server = upnp_socket_accept(listener);
        ASSERT_NE(server, -1);
        upnp_close_socket(&listener);
    }
    void TearDown() override
    {
        upnp_close_socket(&client);
        upnp_close_socket(&server);
    }

protected:
    int32_t  client = -1, server = -1;
    uint16_t port = 0;
};
}

TEST_F(Tcp, SendsEverythingThroughAFullSocket)
{
    std::vector<char> sent(16 << 20), received(sent.size());
    for (size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<char>(i * 7);

    fcntl(client, F_SETFL, O_NONBLOCK);
    std::thread sender([&] {
        EXPECT_GT(
            upnp_send(client, sent.data(), static_cast<int64_t>(sent.size())),
            0);
    });
    // The sender meets a full socket before anything is read.
    for (pollfd full = { client, POLLOUT, 0 }; poll(&full, 1, 0) != 0;)
        std::this_thread::yield();
    EXPECT_EQ(upnp_recv(server, received.data(),
                        static_cast<uint32_t>(received.size()), MSG_WAITALL),
              static_cast<int32_t>(sent.size()));
    sender.join();
    EXPECT_TRUE(sent == received);
}

TEST_F(Tcp, FailsWithoutASignalOnceThePeerIsGone)
{
    EXPECT_EQ(upnp_send(client, "", 0), 0);
    EXPECT_EQ(upnp_send(client, "", -1), 0);
    upnp_close_socket(&server);
    while (upnp_send(client, "x", 1) != -1)
        std::this_thread::yield();
    EXPECT_TRUE(errno == EPIPE || errno == ECONNRESET) << getLastSocketError();
}

static std::atomic<int> signals;

TEST_F(Tcp, ReceivesThroughSignalsButReportsATimeout)
{
    struct sigaction count = {}, before;
    count.sa_handler = [](int) { ++signals; };
    sigaction(SIGUSR1, &count, &before);

    char        byte = 0;
    std::thread receiver([&] { EXPECT_EQ(upnp_recv(server, &byte, 1, 0), 1); });
    while (signals < 3) {
        pthread_kill(receiver.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    EXPECT_EQ(upnp_send(client, "x", 1), 1);
    receiver.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(byte, 'x');

    EXPECT_EQ(setSockOptReceiveTimeout(server, 1), 0);
    EXPECT_EQ(upnp_recv(server, &byte, 1, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(Tcp, PeerNameHasItsPortInNetworkOrder)
{
    char    ip[UPNP_IP_SIZE] = "unset";
    int32_t peer_port = -1;

    upnp_util_get_peername(0, ip, &peer_port);
    upnp_util_get_peername(client, nullptr, &peer_port);
    upnp_util_get_peername(client, ip, nullptr);
    EXPECT_STREQ(ip, "unset");
    EXPECT_EQ(peer_port, -1);

    upnp_util_get_peername(client, ip, &peer_port);
    EXPECT_STREQ(ip, "127.0.0.1");
    EXPECT_EQ(peer_port, htons(port));
}

TEST(Socket, CloseForgetsAndLeavesDescriptorZeroOpen)
{
    int32_t none = -1, zero = 0, fd = upnp_socket_create_udp(), was = fd;

    upnp_close_socket(nullptr);
    upnp_close_socket(&none);
    upnp_close_socket(&zero);
    upnp_close_socket(&fd);
    EXPECT_EQ(zero, -1);
    EXPECT_EQ(fd, -1);
    EXPECT_NE(fcntl(0, F_GETFD), -1);
    EXPECT_EQ(fcntl(was, F_GETFD), -1);
}

TEST(Udp, TellsTheSenderOfEachDatagram)
{
    int32_t to = upnp_socket_create_udp(), from = upnp_socket_create_udp();
    ASSERT_EQ(upnp_socket_bind(to, "127.0.0.1", 0), 0);
    ASSERT_EQ(upnp_socket_bind(from, "127.0.0.2", 0), 0);
    setSockOptReceiveTimeout(to, 1);

    const struct {
        const char *why, *data;  // no data: nothing is sent
        int32_t     received;
        const char *ip;
        int32_t     port;
    } cases[] = {
        { "a datagram", "abc", 3, "127.0.0.2", port_of(from) },
        { "an empty one", "", 0, "", 0 },
        { "a timeout", nullptr, -1, "0.0.0.0", 0 },
    };
    for (const auto &c : cases) {
        for (bool wanted : { true, false }) {
            char    buffer[8], ip[UPNP_IP_SIZE] = "unset";
            int32_t port = -1;
            if (c.data)
                upnp_sendto(from, c.data, static_cast<uint32_t>(c.received),
                            "127.0.0.1", port_of(to));
            EXPECT_EQ(upnp_recvfrom(to, buffer, sizeof(buffer),
                                    wanted ? ip : nullptr,
                                    wanted ? &port : nullptr),
                      c.received)
                << c.why;
            EXPECT_STREQ(ip, wanted ? c.ip : "unset") << c.why;
            EXPECT_EQ(port, wanted ? c.port : -1) << c.why;
        }
    }
    upnp_close_socket(&to);
    upnp_close_socket(&from);
}

TEST(Names, UnknownHostsAreThisOne)
{
    const std::string too_long(300, 'a');
    const std::string warning =
        "[Warning] - LOG_SYSTEM: upnp_gethostbyname : cannot get IP of ";
    const struct {
        const char *name, *ip;
        std::string log;
    } cases[] = {
        { "127.0.0.2", "127.0.0.2", "" },
        { nullptr, "127.0.0.1", warning + ", return local IP \n" },
        { too_long.c_str(), "127.0.0.1",
          warning + too_long + ", return local IP \n" },
    };
    for (const auto &c : cases) {
        char ip[UPNP_IP_SIZE];
        EXPECT_EQ(log_lines([&] { upnp_gethostbyname(c.name, ip); }), c.log);
        EXPECT_STREQ(ip, c.ip);
        EXPECT_EQ(log_lines([&] { upnp_gethostbyname(c.name, nullptr); }), "");
    }

    char text[UPNP_IP_SIZE];
    EXPECT_EQ(upnp_inet_ntoa(htonl(0x01020304), text, sizeof(text)), text);
    EXPECT_STREQ(text, "1.2.3.4");
    EXPECT_EQ(upnp_inet_ntoa(0, text, 7), nullptr);
}

template <typename Value> static Value option(int fd, int level, int name)
{
    Value     value = {};
    socklen_t size = sizeof(value);

    EXPECT_EQ(getsockopt(fd, level, name, &value, &size), 0) << name;
    return value;
}

TEST(Options, ReachTheSocket)
{
    int32_t fd = upnp_socket_create_udp();

    EXPECT_EQ(setSockOptReceiveTimeout(fd, 2500), 0);
    EXPECT_EQ(option<timeval>(fd, SOL_SOCKET, SO_RCVTIMEO).tv_usec, 500000);
    EXPECT_EQ(setSockOptSendTimeout(fd, 3000), 0);
    EXPECT_EQ(option<timeval>(fd, SOL_SOCKET, SO_SNDTIMEO).tv_sec, 3);
    EXPECT_EQ(upnp_setSockOptReuseAddr(fd), 0);
    EXPECT_EQ(option<int>(fd, SOL_SOCKET, SO_REUSEADDR), 1);
    EXPECT_EQ(setSockOptTTL(fd, 9), 0);
    EXPECT_EQ(option<int>(fd, IPPROTO_IP, IP_TTL), 9);
    EXPECT_EQ(setSockOptTTL(fd, 1000), 0) << "only the reading counts";
    EXPECT_EQ(setSockOptMulticast(fd, 4, nullptr), 0) << "only the TTL counts";
    EXPECT_EQ(option<uint8_t>(fd, IPPROTO_IP, IP_MULTICAST_TTL), 4);
    upnp_close_socket(&fd);
}

TEST(ListenSocket, HearsTheGroupOnItsInterface)
{
    int32_t listener = upnp_create_listen_socket("127.0.0.1");
    int32_t sender = upnp_socket_create_udp();
    char    buffer[8];

    ASSERT_NE(listener, -1) << getLastSocketError();
    EXPECT_EQ(port_of(listener), 1900);
    setSockOptReceiveTimeout(listener, 5000);
    EXPECT_EQ(setSockOptMulticast(sender, 1, "127.0.0.1"), 0);
    EXPECT_EQ(upnp_sendto(sender, "abc", 3, "239.255.255.250", 1900), 3);
    EXPECT_EQ(upnp_recvfrom(listener, buffer, sizeof(buffer), nullptr, nullptr),
              3);
    upnp_close_socket(&sender);
    upnp_close_socket(&listener);
}

TEST(ListenSocket, StaysOpenWhenItCannotJoin)
{
    int32_t next = dup(0);
    close(next);

    EXPECT_EQ(
        log_lines([] { EXPECT_EQ(upnp_create_listen_socket(nullptr), -1); }),
        "[Info] - LOG_SYSTEM: upnp_socket_setSockOptAddMembership : ### "
        "joining SSDP multicast group 239.255.255.250 on if <null> \n"
        "[Error] - LOG_SYSTEM: upnp_create_listen_socket : ### "
        "setSockOptAddMembership failed\n");
    EXPECT_EQ(upnp_socket_setSockOptAddMembership(next, nullptr, nullptr), -1);
    EXPECT_EQ(port_of(next), 1900);
    upnp_close_socket(&next);
}
