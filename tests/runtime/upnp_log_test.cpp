// upnp_log_test.cpp - which messages pass, how their lines read, and how a
// critical one ends.

#include "runtime/upnp_log.h"

#include "runtime/upnp_exit.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>

static std::string steps;

static int32_t record_exit(int32_t code)
{
    steps += "exit " + std::to_string(code) + ";";
    return 0;
}

static void record_handler()
{
    steps += "handler;";
}

namespace {
// What the log has at load, put back after each test.
class Log : public testing::Test {
    void TearDown() override
    {
        upnp_log_set_level(0);
        upnp_log_set_sources(0);
        upnp_log_enable(1);
        register_upnp_exit_function(nullptr);
    }
};
}

// What the call prints, with the time of day before each line as "TIME".
template <typename Call> static std::string printed(Call call)
{
    testing::internal::CaptureStdout();
    call();
    std::istringstream lines(testing::internal::GetCapturedStdout());
    std::string        read, line;
    while (std::getline(lines, line)) {
        std::string shape = line.substr(0, 13);
        for (char &c : shape)
            c = isdigit(c) ? '9' : c;
        if (shape == "99:99:99:999 ")
            line.replace(0, 13, "TIME");
        read += line + "\n";
    }
    return read;
}

TEST_F(Log, FilterKnowsSourcesAndLevels)
{
    static const struct {
        uint32_t mask, minimum, level, source;
        int      expected;
    } cases[] = {
        { 0, 0, 4, LOG_HTTP, 0 },        { 0, 6, 5, LOG_HTTP, 1 },
        { LOG_HTTP, 2, 1, LOG_HTTP, 0 }, { LOG_HTTP, 2, 2, LOG_HTTP, 1 },
        { LOG_HTTP, 6, 5, LOG_HTTP, 0 }, { LOG_HTTP, 0, 4, LOG_SSDP, 0 },
        { LOG_HTTP, 0, 6, LOG_SSDP, 0 },
    };
    for (const auto &c : cases) {
        upnp_log_set_sources(c.mask);
        upnp_log_set_level(c.minimum);
        EXPECT_EQ(upnp_log_to_appender(c.level, c.source), c.expected)
            << c.mask << " " << c.minimum << " " << c.level;
    }
    EXPECT_EQ(upnp_log_get_sources(), uint32_t{ LOG_HTTP });
    EXPECT_EQ(upnp_log_enabled(LOG_HTTP | LOG_XML), 1);
    EXPECT_EQ(upnp_log_enabled(LOG_XML), 0);
}

TEST_F(Log, LineReads)
{
    static const char *const null_format = nullptr;
    upnp_log_set_sources(LOG_SYSTEM);
    upnp_log_set_level(2);

    EXPECT_EQ(printed([] {
                  upnp_log_impl(2, LOG_SYSTEM, "run", "up %d", 3);
                  upnp_log_impl(1, LOG_SYSTEM, "run", "filtered");
                  upnp_log_impl(3, LOG_SYSTEM, nullptr, "bare");
                  upnp_log_impl(4, LOG_SYSTEM, "run", null_format);
              }),
              "TIME [Info] - LOG_SYSTEM: run : up 3\n"
              "TIME [Warning] - LOG_SYSTEM: bare\n"
              "TIME [Error] - LOG_SYSTEM: run : strMessage = NULL!\n");
    upnp_log_enable(0);
    EXPECT_EQ(printed([] {
                  upnp_log_impl(2, LOG_SYSTEM, "run", "up");
                  upnp_print_message_to_console(2, LOG_SYSTEM, "up");
              }),
              "");
}

TEST_F(Log, WordsNameLevelAndSource)
{
    // clang-format off
    static const char *const levels[] = {
        "[Debug]", "[Trace]", "[Info]", "[Warning]", "[Error]", "[Critical]",
        "?",
    };
    static const char *const sources[] = {
        "LOG_SYSTEM", "LOG_SSDP", "LOG_DB", "LOG_HTTP", "LOG_CLIENT_DB",
        "LOG_EVENTING", "LOG_XML", "LOG_PLUGIN", "LOG_SCAN", "LOG_RMEDIA",
        "LOG_MEDIAFUSION", "LOG_CGI", "LOG_LINKPROT", "?",
    };
    // clang-format on
    auto line = [](uint32_t level, uint32_t source) {
        return printed([&] { upnp_log_message(level, source, "x"); });
    };

    for (uint32_t i = 0; i < std::size(levels); ++i)
        EXPECT_EQ(line(i, 3), "TIME " + std::string(levels[i]) + " - ?: x\n");
    for (uint32_t i = 0; i < std::size(sources); ++i)
        EXPECT_EQ(line(9, 1u << i),
                  "TIME ? - " + std::string(sources[i]) + ": x\n");
    EXPECT_EQ(line(0, 0), "TIME [Debug] - ?: x\n");
}

TEST_F(Log, ACriticalMessageIsWrittenTwiceAndEndsTheProcess)
{
    static const struct {
        uint32_t    mask, minimum;
        int         enabled;
        const char *expected;
    } cases[] = {
        { 0, 0, 1,
          "TIME [Critical] - LOG_HTTP: f : bad\n"
          "TIME [Critical] - LOG_HTTP:f : bad\n" },
        { LOG_HTTP, 6, 1, "TIME [Critical] - LOG_HTTP:f : bad\n" },
        { LOG_HTTP, 0, 0, "" },
    };
    auto critical = [] { upnp_log_impl(5, LOG_HTTP, "f", "%s", "bad"); };

    EXPECT_EQ(upnp_log_register_critical_error_handler(record_handler),
              record_handler);
    EXPECT_EQ(upnp_log_register_critical_error_handler(abort), record_handler);
    register_upnp_exit_function(record_exit);
    for (const auto &c : cases) {
        upnp_log_set_sources(c.mask);
        upnp_log_set_level(c.minimum);
        upnp_log_enable(c.enabled);
        steps.clear();
        EXPECT_EQ(printed(critical), c.expected);
        EXPECT_EQ(steps, "handler;exit 0;");
    }

    testing::internal::CaptureStderr();
    for_each_failing_allocation([&] {
        steps.clear();
        critical();
        EXPECT_EQ(steps, "handler;exit 0;");
    });
    std::string told = testing::internal::GetCapturedStderr();
    for (const char *text : { "upnp_log_impl - out of memory\nf: %s",
                              "upnp_log_impl - out of memory2\nf: %s" })
        EXPECT_NE(told.find(text), told.npos) << told;
}
