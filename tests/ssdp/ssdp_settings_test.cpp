// ssdp_settings_test.cpp - roles, intervals and the table of handlers.

#include "ssdp/upnp_ssdp.h"
#include "support/log_lines.h"

#include <climits>
#include <gtest/gtest.h>

TEST(Settings, HoldFlagsAsTheyAre)
{
    EXPECT_EQ(upnp_ssdp_search_dms_is_enabled(), 1);
    EXPECT_EQ(upnp_ssdp_search_dmr_is_enabled(), 1);
    EXPECT_EQ(upnp_ssdp_search_remoteui_server_is_enabled(), 0);
    for (int32_t flag : { 0, 7, 0 }) {
        upnp_ssdp_hasRemoteUIClient(flag);
        EXPECT_EQ(upnp_ssdp_getRemoteUIClient(), flag);
        EXPECT_EQ(upnp_ssdp_getRemoteUI(), flag != 0);
        upnp_ssdp_set_enable_quick_msearches(flag);
        EXPECT_EQ(upnp_ssdp_get_quick_msearches_enabled(), flag != 0);
    }
}

TEST(Settings, KeepIntervalsInMillisecondsThatWrap)
{
    static const struct {
        int32_t seconds, expected;
    } cases[] = {
        { 5, 5 }, { -3, -3 }, { 2147483, 2147483 }, { INT_MAX, -1 }, { 0, 0 },
    };
    for (const auto &c : cases) {
        upnp_ssdp_set_msearch_interval(c.seconds);
        upnp_ssdp_set_msearch_initial_interval(c.seconds);
        EXPECT_EQ(upnp_ssdp_get_msearch_interval(), c.expected);
        EXPECT_EQ(upnp_ssdp_get_msearch_initial_interval(), c.expected);
    }
}

TEST(Settings, TakeABeatTimeOfAMinuteAndMore)
{
    static const uint32_t cases[][2] = {
        { 59, 1810 }, { 60, 60 }, { 0, 60 }, { UINT_MAX, UINT_MAX }
    };
    for (auto [seconds, expected] : cases) {
        SSDP_set_upnp_beattime(seconds);
        EXPECT_EQ(g_UPNP_SSDP_BEAT_TIME, expected);
    }
}

static int32_t handler(const char *, HttpServerEntry *, const char *, int32_t)
{
    return 0;
}

TEST(Handlers, AreNineteenAtMost)
{
    std::string lines = "[Error] - LOG_SSDP: upnp_ssdp_register_handler : "
                        "missing handler function for\n";
    for (int i = 0; i < 19; ++i)
        lines += "[Info] - LOG_SSDP: upnp_ssdp_register_handler : "
                 "registered handler " +
                 std::string(i ? "" : "first") + "\n";
    for (int i = 0; i < 2; ++i)
        lines += "[Error] - LOG_SSDP: upnp_ssdp_register_handler : "
                 "Too many callback handlers registered\n";

    EXPECT_EQ(upnp_ssdp_handler_is_registered(handler), 0);
    EXPECT_EQ(log_lines([] {
                  upnp_ssdp_register_handler(nullptr, "none");
                  for (int i = 0; i < 20; ++i)
                      upnp_ssdp_register_handler(handler,
                                                 i ? nullptr : "first");
                  upnp_ssdp_register_handler(nullptr, "full first");
              }),
              lines);
    EXPECT_EQ(upnp_ssdp_handler_is_registered(handler), 1);
}
