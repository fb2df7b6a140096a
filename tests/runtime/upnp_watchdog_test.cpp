// upnp_watchdog_test.cpp - sockets that are closed in time, and others.

#include "runtime/upnp_watchdog.h"

#include "runtime/upnp_shared.h"
#include "runtime/upnp_socket.h"
#include "runtime/upnp_watchdog_owner.h"
#include "server/server_rows.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using std::chrono::steady_clock;
using std::literals::operator""ms;

namespace {

constexpr uint32_t LONG_MS = 600000;

struct Pair {
    Pair()
    {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0);
    }
    ~Pair()
    {
        close(fd[1]);
    }
    // Whether the other end has closed. Without flags it waits for that.
    bool has_ended(int flags = 0) const
    {
        char c;
        return recv(fd[1], &c, 1, flags) == 0;
    }
    int fd[2];
};

// Each test ends the watchdog's thread, so that the next one starts its own. A
// watch has to be left for that: without one, no other thread would start.
struct Watchdog : testing::Test {
    void SetUp() override
    {
        // A sanitizer starts a thread of its own beside the first one.
        std::thread([] {}).join();
        threads_before = threads();
        server::create_global_lock();
        shared::store(g_server_running, 1);
    }
    void TearDown() override
    {
        upnp_enforce_socket_timeout(LONG_MS, 99);
        shared::store(g_server_running, 0);
        server::remove_global_lock();
        while (threads() != threads_before)
            std::this_thread::yield();
    }
    static std::ptrdiff_t threads()
    {
        return std::distance(
            std::filesystem::directory_iterator("/proc/self/task"), {});
    }
    std::ptrdiff_t threads_before;
};

}

TEST_F(Watchdog, ClosesInTheOrderOfTheDeadlines)
{
    Pair  late, early, never;
    auto  start = steady_clock::now();
    auto *watches = upnp_enforce_socket_timeout(LONG_MS, never.fd[0]);
    auto *late_watch = upnp_enforce_socket_timeout(700, late.fd[0]);
    auto *early_watch = upnp_enforce_socket_timeout(40, early.fd[0]);

    EXPECT_TRUE(early.has_ended());
    EXPECT_FALSE(late.has_ended(MSG_DONTWAIT));
    EXPECT_TRUE(late.has_ended());
    EXPECT_GE(steady_clock::now() - start, 699ms);
    EXPECT_LT(steady_clock::now() - start, 1000ms);
    // Fired watches are gone: nothing is touched, and the failure is told.
    EXPECT_EQ(upnp_release_socket_timeout(early_watch, 0), 1);
    EXPECT_EQ(upnp_release_socket_timeout(late_watch, 1), 1);
    EXPECT_FALSE(never.has_ended(MSG_DONTWAIT));
    EXPECT_EQ(upnp_release_socket_timeout(watches, 0), 0);
    close(never.fd[0]);
}

// A listener whose queue is full answers no connect.
TEST_F(Watchdog, WakesAConnectThatHangs)
{
    int         listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    socklen_t   size = sizeof(address);
    std::vector fds = { listener };

    EXPECT_EQ(listen(listener, 0), 0);
    getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size);
    for (int expected : { 0, -1 }) {
        int   fd = socket(AF_INET, SOCK_STREAM, 0);
        int   watched = dup(fd);
        auto *watch = upnp_enforce_socket_timeout(60, watched);
        auto  result =
            upnp_socket_connect(fd, "127.0.0.1", ntohs(address.sin_port));
        EXPECT_EQ(result, expected);
        EXPECT_EQ(upnp_release_socket_timeout(watch, 0), result ? 1 : 0);
        fds.push_back(fd);
        if (result == 0)
            fds.push_back(watched);
    }
    for (int fd : fds)
        close(fd);
}

TEST_F(Watchdog, ReleaseClosesWhatHasFailed)
{
    Pair  kept, failed;
    bool  closed = false;
    auto *watch = watchdog::enforce(LONG_MS, failed.fd[0], &closed);

    EXPECT_EQ(upnp_release_socket_timeout(
                  upnp_enforce_socket_timeout(LONG_MS, kept.fd[0]), 0),
              0);
    EXPECT_FALSE(kept.has_ended(MSG_DONTWAIT));
    EXPECT_EQ(watchdog::release(watch, 1, &closed), 1);
    EXPECT_TRUE(closed);
    EXPECT_TRUE(failed.has_ended());
    EXPECT_EQ(upnp_release_socket_timeout(nullptr, 1), 0);
    close(kept.fd[0]);
}

TEST_F(Watchdog, RefusesWithAnErrorInTheLog)
{
    static const std::string error =
        "[Error] - LOG_SYSTEM: createSocketTimeout : ";
    auto refuse = [] {
        EXPECT_EQ(upnp_enforce_socket_timeout(0, 99), nullptr);
        EXPECT_EQ(upnp_enforce_socket_timeout(LONG_MS, -1), nullptr);
        fail_allocation_after(0);
        EXPECT_EQ(upnp_enforce_socket_timeout(LONG_MS, 99), nullptr);
        fail_allocation_after(-1);
    };
    EXPECT_EQ(log_lines(refuse), error + "Invalid parameters\n" + error +
                                     "Invalid parameters\n" + error +
                                     "Failed to allocate 16 bytes\n");
}

TEST_F(Watchdog, EndOfTheServerFreesAllAndClosesNone)
{
    Pair  pair;
    bool  closed = false;
    auto *watch = watchdog::enforce(LONG_MS, pair.fd[0], &closed);

    server::remove_global_lock();
    EXPECT_EQ(upnp_enforce_socket_timeout(LONG_MS, pair.fd[0]), nullptr);
    EXPECT_EQ(watchdog::release(watch, 1, &closed), 1);
    EXPECT_FALSE(closed);
    EXPECT_FALSE(pair.has_ended(MSG_DONTWAIT));
    close(pair.fd[0]);
    server::create_global_lock();
}

TEST_F(Watchdog, ThreadsThatWatchAndReleaseWhileServersComeAndGo)
{
    std::atomic<bool>        done = false;
    std::vector<std::thread> threads;

    for (uint32_t i = 0; i < 4; ++i)
        threads.emplace_back([i, &done] {
            while (!done) {
                Pair  pair;
                bool  closed = false;
                auto *watch = watchdog::enforce(1 + i * 7, pair.fd[0], &closed);
                std::this_thread::yield();
                if (watch)
                    watchdog::release(watch, i & 1, &closed);
                if (!closed)
                    close(pair.fd[0]);
                EXPECT_TRUE(pair.has_ended());
            }
        });
    for (int turn = 0; turn < 10; ++turn) {
        shared::store(g_server_running, 0);
        server::remove_global_lock();
        server::create_global_lock();
        shared::store(g_server_running, 1);
    }
    done = true;
    for (std::thread &thread : threads)
        thread.join();
}
