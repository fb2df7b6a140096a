// upnp_socket_test.cpp - transfers, names and options over the loopback.

#include "runtime/upnp_socket.h"

#include "support/log_lines.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <string.h>
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

static uint16_t port_of(int fd)
{
    sockaddr_in address = {};
    socklen_t   size = sizeof(address);

    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

namespace {
// Two ends of one connection.
struct Tcp : testing::Test {
    Tcp()
    {
        int listener = upnp_socket_create_tcp();

        upnp_socket_bind(listener, "127.0.0.1", 0);
        upnp_socket_listen(listener);
        port = port_of(listener);
        upnp_socket_connect(client, "127.0.0.1", port);
        server = upnp_socket_accept(listener);
        upnp_close_socket(&listener);
    }
    ~Tcp() override
    {
        upnp_close_socket(&client);
        upnp_close_socket(&server);
    }

    int32_t  client = upnp_socket_create_tcp(), server;
    uint16_t port;
};
}

TEST_F(Tcp, SendsEverythingThroughAFullSocket)
{
    std::string sent(16 << 20, 'a'), received(sent.size(), 0);

    fcntl(client, F_SETFL, O_NONBLOCK);
    std::thread sender(
        [&] { EXPECT_GT(upnp_send(client, sent.data(), ssize(sent)), 0); });
    // The sender meets a full socket before anything is read.
    for (pollfd full = { client, POLLOUT, 0 }; poll(&full, 1, 0) != 0;)
        std::this_thread::yield();
    EXPECT_EQ(upnp_recv(server, received.data(),
                        static_cast<uint32_t>(received.size()), MSG_WAITALL),
              ssize(sent));
    sender.join();
    EXPECT_TRUE(sent == received);
}

TEST_F(Tcp, ReportsATimeoutAndAPeerThatIsGone)
{
    char byte;

    EXPECT_EQ(upnp_send(client, "", 0), 0);
    setSockOptReceiveTimeout(client, 1);
    EXPECT_EQ(upnp_recv(client, &byte, 1, 0), -1);
    EXPECT_EQ(errno, EAGAIN);

    // Without a SIGPIPE, which would end the test.
    upnp_close_socket(&server);
    while (upnp_send(client, "x", 1) != -1)
        std::this_thread::yield();
    EXPECT_TRUE(errno == EPIPE || errno == ECONNRESET) << getLastSocketError();
}

TEST_F(Tcp, PeerNameHasItsPortInNetworkOrder)
{
    char    ip[UPNP_IP_SIZE] = "unset";
    int32_t peer_port = -1;

    upnp_util_get_peername(0, ip, &peer_port);
    upnp_util_get_peername(client, nullptr, &peer_port);
    EXPECT_EQ(peer_port, -1);
    upnp_util_get_peername(client, ip, &peer_port);
    EXPECT_STREQ(ip, "127.0.0.1");
    EXPECT_EQ(peer_port, htons(port));
}

TEST(Socket, CloseForgetsButLeavesDescriptorZeroOpen)
{
    for (int32_t fd : { -1, 0, upnp_socket_create_udp() }) {
        int32_t was = fd;
        upnp_close_socket(&fd);
        EXPECT_EQ(fd, -1);
        EXPECT_EQ(fcntl(was, F_GETFD) != -1, was == 0) << was;
    }
    upnp_close_socket(nullptr);
}

TEST(Udp, TellsTheSenderOfEachDatagram)
{
    int32_t to = upnp_socket_create_udp(), from = upnp_socket_create_udp();
    upnp_socket_bind(to, "127.0.0.1", 0);
    upnp_socket_bind(from, "127.0.0.2", 0);
    setSockOptReceiveTimeout(to, 1);

    const struct {
        const char *data;  // null: nothing is sent, so that time runs out
        int32_t     received;
        const char *ip;
        int32_t     port;
    } cases[] = {
        { "abc", 3, "127.0.0.2", port_of(from) },
        { "", 0, "", 0 },
        { nullptr, -1, "0.0.0.0", 0 },
    };
    for (const auto &c : cases) {
        char    buffer[8], ip[UPNP_IP_SIZE];
        int32_t port;
        auto    size = static_cast<uint32_t>(c.received);

        for (int i = 0; c.data && i < 2; ++i)
            upnp_sendto(from, c.data, size, "127.0.0.1", port_of(to));
        EXPECT_EQ(upnp_recvfrom(to, buffer, 8, nullptr, nullptr), c.received);
        EXPECT_EQ(upnp_recvfrom(to, buffer, 8, ip, &port), c.received);
        EXPECT_STREQ(ip, c.ip);
        EXPECT_EQ(port, c.port);
    }
    upnp_close_socket(&to);
    upnp_close_socket(&from);
}

TEST(Names, UnknownHostsAreThisOne)
{
    char              ip[UPNP_IP_SIZE];
    const std::string too_long(300, 'a');
    const std::string log = "[Warning] - LOG_SYSTEM: upnp_gethostbyname : "
                            "cannot get IP of ",
                      end = ", return local IP \n";

    upnp_gethostbyname("127.0.0.2", ip);
    EXPECT_STREQ(ip, "127.0.0.2");
    EXPECT_EQ(log_lines([&] {
                  upnp_gethostbyname(nullptr, ip);
                  upnp_gethostbyname(too_long.c_str(), ip);
                  upnp_gethostbyname(too_long.c_str(), nullptr);
              }),
              log + end + log + too_long + end);
    EXPECT_STREQ(ip, "127.0.0.1");
}

// True when the thread could get a hosts file of its own.
static bool look_up_in_own_hosts(char *ip)
{
    static constexpr char lines[] = "10.9.9.9 twice\n127.0.0.5 twice\n";
    char                  path[] = "/tmp/qm-hosts-XXXXXX";
    int                   file = mkstemp(path);
    bool                  done =
        write(file, lines, strlen(lines)) != -1 && unshare(CLONE_NEWNS) == 0 &&
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        mount(path, "/etc/hosts", nullptr, MS_BIND, nullptr) == 0;

    if (done)
        upnp_gethostbyname("twice", ip);
    close(file);
    unlink(path);
    return done;
}

TEST(Names, OfSeveralAddressesTheFirstListedCounts)
{
    char ip[UPNP_IP_SIZE];
    bool is_checked = false;

    std::thread([&] { is_checked = look_up_in_own_hosts(ip); }).join();
    if (!is_checked)
        GTEST_SKIP() << "may not mount a hosts file of its own";
    EXPECT_STREQ(ip, "10.9.9.9") << "not the nearest one";
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

    setSockOptReceiveTimeout(fd, 2500);
    EXPECT_EQ(option<timeval>(fd, SOL_SOCKET, SO_RCVTIMEO).tv_usec, 500000);
    setSockOptSendTimeout(fd, 3000);
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
    setSockOptReceiveTimeout(listener, 5000);
    setSockOptMulticast(sender, 1, "127.0.0.1");
    upnp_sendto(sender, "abc", 3, "239.255.255.250", 1900);
    EXPECT_EQ(upnp_recvfrom(listener, buffer, 8, nullptr, nullptr), 3);
    upnp_close_socket(&sender);
    upnp_close_socket(&listener);
}

TEST(ListenSocket, StaysOpenWhenItCannotJoin)
{
    int32_t opened = -1;

    EXPECT_EQ(log_lines([&] {
                  close(opened = dup(0));  // the next number to be given
                  EXPECT_EQ(upnp_create_listen_socket(nullptr), -1);
              }),
              "[Info] - LOG_SYSTEM: upnp_socket_setSockOptAddMembership : ### "
              "joining SSDP multicast group 239.255.255.250 on if <null> \n"
              "[Error] - LOG_SYSTEM: upnp_create_listen_socket : ### "
              "setSockOptAddMembership failed\n");
    EXPECT_EQ(port_of(opened), 1900);
    upnp_close_socket(&opened);
}
