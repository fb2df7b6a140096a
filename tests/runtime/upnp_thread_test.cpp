// upnp_thread_test.cpp - the ladder of thread starts, and starts that run once.
//
// The linker sends the library's pthread_create here (--wrap), so that starts
// fail as each test wants and the end of every thread can be awaited.

#include "runtime/upnp_thread.h"

#include "config/upnp_ini_file.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_thread_once.h"
#include "support/log_lines.h"

#include <atomic>
#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <regex>
#include <thread>
#include <vector>

typedef void *StartRoutine(void *);
extern "C" {
int __real_pthread_create(pthread_t *, const pthread_attr_t *, StartRoutine *,
                          void *);
int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, StartRoutine *,
                          void *);
}

static constexpr int OK = 0;

// What the next starts of this thread give; then they succeed.
static thread_local std::vector<int> results;
static thread_local size_t           stack_asked_for;

static std::atomic<int>  begun, ended, runs;
static std::atomic<bool> gate_closed;

namespace {
struct Launch {
    StartRoutine *fn;
    void         *arg;
};
}

static void *launch(void *param)
{
    Launch todo = *static_cast<Launch *>(param);

    delete static_cast<Launch *>(param);
    gate_closed.wait(true);
    todo.fn(todo.arg);
    ++ended;
    return nullptr;
}

int __wrap_pthread_create(pthread_t *id, const pthread_attr_t *attributes,
                          StartRoutine *fn, void *arg)
{
    int result = results.empty() ? OK : results.front();

    if (!results.empty())
        results.erase(results.begin());
    if (attributes)
        pthread_attr_getstacksize(attributes, &stack_asked_for);
    *id = 1;  // what a failing start may leave
    if (result != OK)
        return result;
    ++begun;
    return __real_pthread_create(id, attributes, launch, new Launch{ fn, arg });
}

static void *count_run(void *)
{
    ++runs;
    return nullptr;
}

// How often count_run ran since the last call, once all threads have ended.
static int count_runs()
{
    while (ended != begun)
        std::this_thread::yield();
    return runs.exchange(0);
}

#define WHO " - LOG_SYSTEM: upnp_start_joinable_thread : "
static constexpr char retry[] =
    "[Warning]" WHO "Not enough resources to start thread - retrying\n";
static constexpr char second_failed[] =
    "[Error]" WHO "Second try to start thread failed - giving up\n";
static constexpr char use_default[] =
    "[Warning]" WHO "Failed to start thread with requested priority and "
    "scheduler - trying default\n";
static constexpr char give_up[] =
    "[Error]" WHO "Failed to start thread with defaults - giving up\n";

TEST(ThreadStart, ClimbsTheLadder)
{
    static const struct {
        std::vector<int>          results;
        int                       runs;
        std::vector<const char *> log;
    } cases[] = {
        { { OK }, 1, {} },
        { { EAGAIN, EAGAIN }, 0, { retry, second_failed } },
        { { EAGAIN, OK, OK }, 2, { retry, use_default } },
        { { EAGAIN, OK, EPERM }, 1, { retry, use_default, give_up } },
        { { EAGAIN, EPERM, OK }, 1, { retry, use_default } },
        { { EPERM, OK }, 1, { use_default } },
        { { EPERM, EAGAIN }, 0, { use_default, give_up } },
    };
    for (const auto &c : cases) {
        uintptr_t   id = 0;
        std::string log;
        for (const char *line : c.log)
            log += line;

        results = c.results;
        EXPECT_EQ(
            log_lines([&] { id = upnp_start_thread(count_run, nullptr, 5); }),
            log);
        EXPECT_EQ(id != 0, c.runs != 0) << log;
        EXPECT_EQ(count_runs(), c.runs) << log;

        results = c.results;
        EXPECT_EQ(thread_once::start(count_run, nullptr, 5), c.runs != 0);
        EXPECT_EQ(count_runs(), c.runs != 0) << log;
    }
}

TEST(ThreadStart, TakesTheSizeOfTheStackFromTheProperty)
{
    pthread_attr_t attributes;
    size_t         platform;

    pthread_getattr_default_np(&attributes);
    pthread_attr_getstacksize(&attributes, &platform);

    const struct {
        const char *property;
        size_t      expected;
    } cases[] = {
        { "0", platform },
        { "1", 196608 },
        { "300000", 300000 },
        { "-1", 4294967295 },
    };
    upnp_ini_file_init();
    for (const auto &c : cases) {
        upnp_ini_file_setPropertyByKey(INI_STACK_SIZE, c.property);
        results = { EPERM, EPERM };
        EXPECT_EQ(upnp_start_joinable_thread(count_run, nullptr, 5), 0u);
        EXPECT_EQ(stack_asked_for, c.expected) << c.property;
    }
    upnp_ini_file_release();
}

// Both threads of a double start race for the argument, which one run frees.
TEST(ThreadOnce, UsesItsArgumentOnceUnderDoubleStarts)
{
    static constexpr int     STARTERS = 8, STARTS = 10;
    std::vector<std::thread> starters;
    StartRoutine            *free_arg = [](void *arg) {
        upnp_free_impl(arg);
        return count_run(nullptr);
    };

    for (int i = 0; i < STARTERS; ++i)
        starters.emplace_back([&] {
            for (int start = 0; start < STARTS; ++start) {
                results = { EAGAIN, OK, OK };
                thread_once::start(free_arg, upnp_int_thread_param(start), 5);
            }
        });
    for (std::thread &starter : starters)
        starter.join();
    EXPECT_EQ(count_runs(), STARTERS * STARTS);
}

TEST(ThreadOnce, WaitsWhileTooManyStartsAreUnderWay)
{
    static constexpr int AT_A_TIME = 256, STARTS = AT_A_TIME + 20;
    int                  begun_before = begun;

    // Starts that fail leave nothing under way.
    for (int i = 0; i < STARTS; ++i) {
        results = { EPERM, EPERM };
        EXPECT_FALSE(thread_once::start(count_run, nullptr, 5));
    }

    gate_closed = true;
    std::thread starter([] {
        for (int i = 0; i < STARTS; ++i)
            EXPECT_TRUE(thread_once::start(count_run, nullptr, 5));
    });
    while (begun != begun_before + AT_A_TIME)
        std::this_thread::yield();
    gate_closed = false;
    gate_closed.notify_all();
    starter.join();
    EXPECT_EQ(count_runs(), STARTS);
}

TEST(Time, CountsFromItsFirstUse)
{
    static uint64_t first = getSystemTime();

    EXPECT_EQ(first, 0u);
    Sleep(30);
    EXPECT_GE(getSystemTime(), 29u);
}

TEST(Time, StampIsCutToItsBuffer)
{
    char stamp[32] = "untouched";

    upnp_get_logging_timestamp(stamp, 0);
    EXPECT_STREQ(stamp, "untouched");
    upnp_get_logging_timestamp(stamp, 6);
    EXPECT_TRUE(std::regex_match(stamp, std::regex("\\d\\d:\\d\\d"))) << stamp;
    upnp_get_logging_timestamp(stamp, sizeof(stamp));
    EXPECT_TRUE(std::regex_match(stamp, std::regex("(\\d\\d:){3}\\d{3} ")))
        << stamp;
}
