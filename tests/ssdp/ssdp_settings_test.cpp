// ssdp_settings_test.cpp - roles, intervals and the table of handlers.

#include "runtime/upnp_log.h"
#include "ssdp/upnp_ssdp.h"

#include <climits>
#include <gtest/gtest.h>

TEST(Settings, StoreFlagsAsTheyAreAndMediaRolesForGood)
{
    EXPECT_EQ(upnp_ssdp_search_dms_is_enabled(), 1);
    EXPECT_EQ(upnp_ssdp_search_dmr_is_enabled(), 1);
    EXPECT_EQ(upnp_ssdp_search_remoteui_server_is_enabled(), 0);
    EXPECT_EQ(upnp_ssdp_getRemoteUI(), 0);

    upnp_ssdp_hasRemoteUIClient(7);
    EXPECT_EQ(upnp_ssdp_getRemoteUIClient(), 7);
    EXPECT_EQ(upnp_ssdp_getRemoteUI(), 1);
    upnp_ssdp_hasRemoteUIClient(0);
    EXPECT_EQ(upnp_ssdp_getRemoteUI(), 0);

    upnp_ssdp_set_enable_quick_msearches(5);
    EXPECT_EQ(upnp_ssdp_get_quick_msearches_enabled(), 1);
    upnp_ssdp_isRenderer();
    EXPECT_EQ(upnp_ssdp_getRenderer(), 1);
}

TEST(Settings, KeepIntervalsInMillisecondsThatWrap)
{
    static const struct {
        int32_t seconds, expected;
    } cases[] = {
        { 5, 5 }, { 0, 0 }, { -3, -3 }, { 2147483, 2147483 }, { INT_MAX, -1 },
    };
    for (const auto &c : cases) {
        upnp_ssdp_set_msearch_interval(c.seconds);
        upnp_ssdp_set_msearch_initial_interval(c.seconds);
        EXPECT_EQ(upnp_ssdp_get_msearch_interval(), c.expected);
        EXPECT_EQ(upnp_ssdp_get_msearch_initial_interval(), c.expected);
    }
    upnp_ssdp_set_msearch_interval(0);
    upnp_ssdp_set_msearch_initial_interval(0);
}

TEST(Settings, TakeABeatTimeOfAMinuteAndMore)
{
    static const struct {
        uint32_t seconds, expected;
    } cases[] = { { 59, 1810 }, { 60, 60 }, { 0, 60 }, { UINT_MAX, UINT_MAX } };

    EXPECT_EQ(g_UPNP_SSDP_BEAT_TIME, 1810u);
    for (const auto &c : cases) {
        SSDP_set_upnp_beattime(c.seconds);
        EXPECT_EQ(g_UPNP_SSDP_BEAT_TIME, c.expected);
    }
}

static int32_t handler(const char *, HttpServerEntry *, const char *, int32_t)
{
    return 0;
}

TEST(Handlers, AreNineteenAtMost)
{
    upnp_log_set_sources(LOG_SSDP);
    testing::internal::CaptureStdout();
    EXPECT_EQ(upnp_ssdp_handler_is_registered(handler), 0);
    upnp_ssdp_register_handler(nullptr, "none");
    for (int i = 0; i < 20; ++i)
        upnp_ssdp_register_handler(handler, i == 0 ? "first" : nullptr);
    EXPECT_EQ(upnp_ssdp_handler_is_registered(handler), 1);
    std::string log = testing::internal::GetCapturedStdout();
    upnp_log_set_sources(0);

    auto count = [&](const char *text) {
        int found = 0;
        for (size_t at = log.find(text); at != log.npos;
             at = log.find(text, at + 1))
            ++found;
        return found;
    };
    EXPECT_EQ(count("missing handler function for\n"), 1);
    EXPECT_EQ(count("registered handler first\n"), 1);
    EXPECT_EQ(count("registered handler "), 19);
    EXPECT_EQ(count("Too many callback handlers registered\n"), 1);
}
