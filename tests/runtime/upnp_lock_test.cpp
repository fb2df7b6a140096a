// upnp_lock_test.cpp - exclusion, entering again, and leaves by the wrong one.

#include "runtime/upnp_lock.h"

#include "support/log_lines.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {
class Lock : public testing::Test {
    void SetUp() override
    {
        InitializeCriticalSection(&cs);
    }
    void TearDown() override
    {
        DeleteCriticalSection(&cs);
    }

protected:
    bool is_free()
    {
        if (pthread_mutex_trylock(&cs.mutex) != 0)
            return false;
        pthread_mutex_unlock(&cs.mutex);
        return true;
    }

    CriticalSection cs;
};
}

TEST_F(Lock, LetsOneThreadInAtATime)
{
    static constexpr int     ROUNDS = 2000;
    int                      count = 0;
    std::vector<std::thread> threads;

    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < ROUNDS; ++round) {
                EnterCriticalSection(&cs);
                EnterCriticalSection(&cs);
                ++count;
                LeaveCriticalSection(&cs);
                ++count;
                LeaveCriticalSection(&cs);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(count, 4 * 2 * ROUNDS);
}

TEST_F(Lock, WarnsOfEachFurtherEntryAndTakesAsManyLeaves)
{
    EXPECT_EQ(log_lines([&] {
                  for (int i = 0; i < 3; ++i)
                      EnterCriticalSection(&cs);
              }),
              "[Warning] - LOG_SYSTEM: EnterCriticalSection : Thread entered "
              "critical section for the 2. time\n"
              "[Warning] - LOG_SYSTEM: EnterCriticalSection : Thread entered "
              "critical section for the 3. time\n");
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(is_free()) << i;
        LeaveCriticalSection(&cs);
    }
    EXPECT_TRUE(is_free());
}

TEST_F(Lock, WarnsOfALeaveByAnotherAndStillUnlocks)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer objects to an unlock by another thread";
#endif
    static constexpr char warning[] =
        "[Warning] - LOG_SYSTEM: LeaveCriticalSection : Thread leaves critical "
        "section not owning\n";

    std::thread([&] { EnterCriticalSection(&cs); }).join();
    EXPECT_FALSE(is_free());
    EXPECT_EQ(log_lines([&] { LeaveCriticalSection(&cs); }), warning);
    EXPECT_TRUE(is_free());

    // Nobody holds it now: a second unlock would break the mutex.
    EXPECT_EQ(log_lines([&] { LeaveCriticalSection(&cs); }), warning);
    EnterCriticalSection(&cs);
    EXPECT_FALSE(is_free());
    LeaveCriticalSection(&cs);
}

TEST(LockCalls, DoNothingForNull)
{
    InitializeCriticalSection(nullptr);
    EnterCriticalSection(nullptr);
    LeaveCriticalSection(nullptr);
    DeleteCriticalSection(nullptr);
}
