// upnp_nic_test.cpp - addresses that come and go, and whose they are.

#include "server/upnp_nic.h"

#include "server/fake_machine.h"
#include "server/server_rows.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/take.h"

#include <gtest/gtest.h>

static int32_t restarts, changes_told;

namespace {

struct Nic : FakeMachine {
    void SetUp() override
    {
        FakeMachine::SetUp();
        server_set_cp_callback([] { ++restarts; });
        server_set_dtcp_callbacks(
            nullptr, nullptr,
            [] { changes_told += upnp_server_is_in_restart(); }, nullptr,
            nullptr);
        addresses = { "127.0.0.1", "127.0.1.1", "127.0.1.2" };
        upnp_server_start(&state);
        looks = restarts = changes_told = 0;
    }
    void TearDown() override
    {
        shared::store(g_server_running, 0);
        upnp_server_stop(&state);
        server_set_cp_callback(nullptr);
        server_set_dtcp_callbacks(nullptr, nullptr, nullptr, nullptr, nullptr);
        shared::store(g_nInterfaceCount, 0);
        FakeMachine::TearDown();
    }
    // The clock goes on from test to test, as the last check does.
    static uint32_t later(uint32_t seconds)
    {
        return clock += seconds;
    }

    static inline uint32_t clock = 0xFFFFFF00u;
    uint32_t               state = 0;
};

}

TEST_F(Nic, LooksEveryThirtySecondsOrWhenAsked)
{
    static const struct {
        const char *nicrestart;
        bool        asked;
        uint32_t    seconds_later;
        int         looks;
    } cases[] = {
        { "1", true, 0, 1 },     { "1", false, 29, 0 }, { "1", false, 1, 1 },
        { "1", false, 300, 1 },  // the clock wraps
        { "0", false, 1000, 0 }, { "0", true, 0, 1 },   { "0", false, 0, 0 },
    };
    for (const auto &c : cases) {
        looks = 0;
        upnp_ini_file_setPropertyByKey(INI_NICRESTART, c.nicrestart);
        if (c.asked)
            Server_trigger_NICchange();
        check_NIC_change(later(c.seconds_later));
        EXPECT_EQ(looks, c.looks) << c.nicrestart << c.seconds_later;
    }
    EXPECT_EQ(restarts, 0);
}

TEST_F(Nic, RestartsForANewSetOfAddressesOnly)
{
    static const struct {
        const char              *why;
        std::vector<std::string> now;
        bool                     restart;
    } cases[] = {
        { "the same", { "127.0.0.1", "127.0.1.1", "127.0.1.2" }, false },
        { "another order", { "127.0.1.2", "127.0.0.1", "127.0.1.1" }, false },
        { "one for another", { "127.0.0.1", "127.0.1.1", "127.0.2.1" }, true },
        { "one less", { "127.0.0.1", "127.0.1.1" }, true },
        { "one more", { "127.0.0.1", "127.0.1.1", "127.0.3.1" }, true },
        { "none, so loopback", {}, true },
    };
    for (const auto &c : cases) {
        restarts = changes_told = 0;
        addresses = c.now;
        uint32_t generation = shared::load(server::plain_rows[0].generation);
        Server_trigger_NICchange();
        check_NIC_change(later(1));
        EXPECT_EQ(restarts, c.restart) << c.why;
        EXPECT_EQ(changes_told, c.restart) << c.why;
        EXPECT_EQ(upnp_server_is_in_restart(), 0);
        EXPECT_EQ(state, 1u);
        EXPECT_EQ(shared::load(server::plain_rows[0].generation),
                  generation + c.restart);
        for (const std::string &ip : c.now)
            EXPECT_EQ(is_local_ip(ip.c_str()), 1) << c.why << ip;
    }
    EXPECT_EQ(is_local_ip("127.0.0.1"), 1);
    EXPECT_EQ(is_local_ip("127.0.1.1"), 0);
}

TEST_F(Nic, LogsTheTableThatItCompares)
{
    addresses = { "127.0.1.2", "127.0.0.1", "127.0.2.2" };
    Server_trigger_NICchange();
    std::string log = log_lines([] { check_NIC_change(later(1)); });
    std::string seen;
    for (size_t at = 0; (at = log.find(": IP ", at)) != log.npos; ++at)
        seen += log.substr(at + 2, log.find('\n', at) - at - 1);
    EXPECT_EQ(seen.find("IP count: 3 / 3\nIP verify: 127.0.1.2\n"
                        "IP verify: 127.0.0.1\nIP init: "),
              0u)
        << seen;
}

TEST_F(Nic, MatchesPeersByAllButTheLastNumber)
{
    static const struct {
        const char *why, *peer;
        int32_t     result;
        const char *local;
    } cases[] = {
        { "the same subnet", "127.0.1.77", 0, "127.0.1.1" },
        { "the first row", "127.0.0.9", 0, "127.0.0.1" },
        { "a subnet that begins alike", "127.0.11.5", 14, "(null)" },
        { "another one", "192.168.1.5", 14, "(null)" },
        { "without a dot", "127", 14, "(null)" },
        { "a name", "host.local", 2, "(null)" },
        { "empty", "", 2, "(null)" },
        { "null", nullptr, 2, "(null)" },
    };
    for (const auto &c : cases) {
        char     dirt[] = "x", *local = dirt;
        uint32_t port = 1, reserved = 1;
        EXPECT_EQ(
            upnp_get_matching_local_server(c.peer, &local, &port, &reserved),
            c.result)
            << c.why;
        EXPECT_EQ(take(local), c.local) << c.why;
        EXPECT_EQ(port != 0, c.result == 0) << c.why;
        EXPECT_EQ(reserved, 0u);
        EXPECT_EQ(upnp_is_my_server(c.local, port), c.result == 0) << c.why;
        EXPECT_EQ(upnp_is_my_server(c.local, port + 1), 0);
        EXPECT_EQ(upnp_server_is_local_network(c.peer), c.result == 0);
        EXPECT_EQ(take(upnp_get_matching_local_ip(c.peer)), c.local);
    }
    char *local;
    fail_allocation_after(0);
    EXPECT_EQ(
        upnp_get_matching_local_server("127.0.0.2", &local, nullptr, nullptr),
        8);
    fail_allocation_after(-1);
}

TEST_F(Nic, FindsItsOwnAddressesInATextAndInTheTable)
{
    // 127.0.1.2 is not served, since its subnet already is.
    static const struct {
        const char *text, *found;
        int32_t     is_local;
    } cases[] = {
        { "127.0.0.1", "127.0.0.1", 1 },
        { "127.0.1.2", "(null)", 1 },
        { "http://127.0.1.1:80/", "127.0.1.1", 0 },
        { "127.0.1.1 127.0.0.1", "127.0.0.1", 0 },
        { "127.0.1.12, then 127.0.1.1", "(null)", 0 },
        { "", "(null)", 0 },
        { nullptr, "(null)", 0 },
    };
    for (int32_t count : { 3, 0 }) {
        shared::store(g_nInterfaceCount, count);
        for (const auto &c : cases) {
            EXPECT_EQ(take(upnp_get_used_local_ip(c.text)),
                      count ? c.found : "(null)");
            EXPECT_EQ(is_local_ip(c.text), count ? c.is_local : 0);
        }
    }
    EXPECT_EQ(upnp_server_is_local_network("127.0.0.1"), 0);
    EXPECT_EQ(upnp_is_my_server(nullptr, 80), 0);
    shared::store(g_nInterfaceCount, 3);
}
