// upnp_thread_test.cpp - the ladder of thread starts, starts that run once,
// and the ends of threads.
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

extern "C" {
int __real_pthread_create(pthread_t *id, const pthread_attr_t *attributes,
                          void *(*fn)(void *), void           *arg);
int __wrap_pthread_create(pthread_t *id, const pthread_attr_t *attributes,
                          void *(*fn)(void *), void           *arg);
}

namespace {
struct Launch {
    void *(*fn)(void *);
    void *arg;
};

// Counts a thread as ended however it ends.
struct EndMark {
    ~EndMark();
};
}

static constexpr int OK = 0;

// What the next starts of this thread give; then they succeed.
static thread_local std::vector<int> results;
static thread_local size_t           stack_asked_for;

static std::atomic<int>  begun, ended, runs;
static std::atomic<bool> gate_closed;

EndMark::~EndMark()
{
    ++ended;
}

static void *launch(void *param)
{
    EndMark mark;
    Launch  todo = *static_cast<Launch *>(param);

    delete static_cast<Launch *>(param);
    gate_closed.wait(true);
    return todo.fn(todo.arg);
}

int __wrap_pthread_create(pthread_t *id, const pthread_attr_t *attributes,
                          void *(*fn)(void *), void           *arg)
{
    int result = OK;

    if (attributes)
        pthread_attr_getstacksize(attributes, &stack_asked_for);
    if (!results.empty()) {
        result = results.front();
        results.erase(results.begin());
    }
    if (result != OK) {
        *id = 1;  // what a failing start may leave
        return result;
    }
    ++begun;
    return __real_pthread_create(id, attributes, launch, new Launch{ fn, arg });
}

// How often the function of a test has run since the last call, once all
// threads have ended.
static int count_runs()
{
    while (ended != begun)
        std::this_thread::yield();
    return runs.exchange(0);
}

static void *count_run(void *arg)
{
    ++runs;
    return arg;
}

#define WARNING "[Warning] - LOG_SYSTEM: upnp_start_joinable_thread : "
#define ERROR   "[Error] - LOG_SYSTEM: upnp_start_joinable_thread : "
#define RETRY   WARNING "Not enough resources to start thread - retrying\n"
#define SECOND  ERROR "Second try to start thread failed - giving up\n"
#define DEFAULT                                                                \
    WARNING "Failed to start thread with requested priority and scheduler - "  \
            "trying default\n"
#define GIVE_UP ERROR "Failed to start thread with defaults - giving up\n"

static const struct {
    std::vector<int> results;
    int              runs;
    const char      *log;
} ladder[] = {
    { { OK }, 1, "" },
    { { EAGAIN, EAGAIN }, 0, RETRY SECOND },
    { { EAGAIN, OK, OK }, 2, RETRY DEFAULT },
    { { EAGAIN, OK, EPERM }, 1, RETRY DEFAULT GIVE_UP },
    { { EAGAIN, EPERM, OK }, 1, RETRY DEFAULT },
    { { EPERM, OK }, 1, DEFAULT },
    { { EPERM, EAGAIN }, 0, DEFAULT GIVE_UP },
};

TEST(ThreadStart, ClimbsTheLadder)
{
    for (const auto &c : ladder) {
        uintptr_t id = 0;

        EXPECT_EQ(log_lines([&] {
                      results = c.results;
                      id = upnp_start_thread(count_run, nullptr, 5);
                  }),
                  c.log);
        EXPECT_EQ(id != 0, c.runs != 0) << c.log;
        EXPECT_EQ(count_runs(), c.runs) << c.log;
    }
}

TEST(ThreadOnce, RunsOnceWhateverTheLadderDoes)
{
    for (const auto &c : ladder) {
        results = c.results;
        EXPECT_EQ(thread_once::start(count_run, nullptr, 5), c.runs != 0);
        EXPECT_EQ(count_runs(), c.runs != 0) << c.log;
    }
}

// Both threads of a double start race for the argument, which one run frees.
TEST(ThreadOnce, UsesItsArgumentOnceUnderDoubleStarts)
{
    static constexpr int     STARTERS = 8, STARTS = 10;
    std::vector<std::thread> starters;

    for (int i = 0; i < STARTERS; ++i)
        starters.emplace_back([] {
            for (int start = 0; start < STARTS; ++start) {
                results = { EAGAIN, OK, OK };
                EXPECT_TRUE(thread_once::start(
                    [](void *arg) {
                        upnp_free_impl(arg);
                        return count_run(nullptr);
                    },
                    upnp_int_thread_param(start), 5));
            }
        });
    for (std::thread &starter : starters)
        starter.join();
    EXPECT_EQ(count_runs(), STARTERS * STARTS);
}

TEST(ThreadOnce, GivesBackWhatItCouldNotStart)
{
    // More starts than can be under way at a time: none may stay behind.
    for (int i = 0; i < 600; ++i) {
        results = { EPERM, EPERM };
        ASSERT_FALSE(thread_once::start(count_run, nullptr, 5));
    }
    EXPECT_EQ(count_runs(), 0);
}

TEST(ThreadOnce, WaitsWhileTooManyStartsAreUnderWay)
{
    static constexpr int AT_A_TIME = 256, STARTS = AT_A_TIME + 20;
    int                  begun_before = begun;

    gate_closed = true;
    std::thread starter([] {
        for (int i = 0; i < STARTS; ++i)
            EXPECT_TRUE(thread_once::start(count_run, nullptr, 5));
    });
    while (begun != begun_before + AT_A_TIME)
        std::this_thread::yield();
    EXPECT_EQ(runs, 0);
    gate_closed = false;
    gate_closed.notify_all();
    starter.join();
    EXPECT_EQ(count_runs(), STARTS);
}

TEST(ThreadStart, TakesTheSizeOfTheStackFromTheProperty)
{
    pthread_attr_t attributes;
    size_t         platform;

    pthread_attr_init(&attributes);
    pthread_attr_getstacksize(&attributes, &platform);
    pthread_attr_destroy(&attributes);

    const struct {
        const char *property;
        size_t      expected;
    } cases[] = {
        { nullptr, 196608 },  { "0", platform },    { "1", 196608 },
        { "196607", 196608 }, { "300000", 300000 }, { "-1", 4294967295 },
    };
    upnp_ini_file_init();
    for (const auto &c : cases) {
        if (c.property)
            upnp_ini_file_setPropertyByKey(INI_STACK_SIZE, c.property);
        results = { EPERM, EPERM };
        EXPECT_EQ(upnp_start_joinable_thread(count_run, nullptr, 5), 0u);
        EXPECT_EQ(stack_asked_for, c.expected) << c.property;
    }
    upnp_ini_file_release();
}

TEST(ThreadEnd, GivesTheResultOfEachWayToEnd)
{
    static int value;
    static const struct {
        const char *why;
        void *(*fn)(void *);
        bool  kill;
        void *expected;
    } cases[] = {
        { "returns", count_run, false, &value },
        { "ends itself",
          [](void *arg) {
              upnp_end_thread();
              return arg;
          },
          false, nullptr },
        { "is killed",
          [](void *arg) {
              for (;;)
                  Sleep(1000);
              return arg;
          },
          true, PTHREAD_CANCELED },
    };
    for (const auto &c : cases) {
        void     *result = &result;
        uintptr_t id = upnp_start_joinable_thread(c.fn, &value, 5);

        ASSERT_NE(id, 0u) << c.why;
        if (c.kill)
            upnp_kill_joinable_thread(id);
        EXPECT_EQ(pthread_join(id, &result), 0) << c.why;
        EXPECT_EQ(result, c.expected) << c.why;
    }
    upnp_kill_joinable_thread(0);
    count_runs();
}

TEST(Time, CountsFromItsFirstUse)
{
    EXPECT_EQ(getSystemTime(), 0u);
    Sleep(30);
    EXPECT_GE(getSystemTime(), 29u);
    Sleep(-1);
}

TEST(Time, StampIsCutToItsBuffer)
{
    static const struct {
        uint32_t    size;
        const char *shape;
    } cases[] = {
        { 32, "\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d " },
        { 14, "\\d\\d:\\d\\d:\\d\\d:\\d\\d\\d " },
        { 6, "\\d\\d:\\d\\d" },
        { 1, "" },
        { 0, "untouched" },
    };
    for (const auto &c : cases) {
        char stamp[32] = "untouched";
        upnp_get_logging_timestamp(stamp, c.size);
        EXPECT_TRUE(std::regex_match(stamp, std::regex(c.shape))) << stamp;
    }
    upnp_get_logging_timestamp(nullptr, 32);
}
