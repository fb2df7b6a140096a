// socket_pair.h - two connected sockets: the one under test, and its peer's.
#ifndef TESTS_SUPPORT_SOCKET_PAIR_H
#define TESTS_SUPPORT_SOCKET_PAIR_H

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

struct SocketPair {
    // A peer that has sent this much already.
    explicit SocketPair(std::string_view sent = "")
    {
        int fd[2];

        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0);
        own = fd[0];
        peer = fd[1];
        EXPECT_EQ(write(peer, sent.data(), sent.size()),
                  static_cast<ssize_t>(sent.size()));
    }
    ~SocketPair()
    {
        close(own);
        close(peer);
    }
    SocketPair(const SocketPair &) = delete;
    SocketPair &operator=(const SocketPair &) = delete;

    // What waits to be read on one of the two.
    static std::string waiting(int fd)
    {
        std::string text(1 << 16, '\0');
        ssize_t     got = recv(fd, text.data(), text.size(), MSG_DONTWAIT);

        text.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
        return text;
    }

    int own, peer;
};

#endif
