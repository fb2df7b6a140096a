// upnp_lock_test.cpp - exclusion, entering again, and leaves by the wrong one.

#include "runtime/upnp_lock.h"

#include "support/log_lines.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

static bool is_free(CriticalSection *cs)
{
    if (pthread_mutex_trylock(&cs->mutex) != 0)
        return false;
    pthread_mutex_unlock(&cs->mutex);
    return true;
}

TEST(Lock, LetsOneThreadInAtATime)
{
    static constexpr int     ROUNDS = 2000;
    int                      count = 0;
    CriticalSection          cs;
    std::vector<std::thread> threads;

    InitializeCriticalSection(&cs);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < ROUNDS; ++round) {
                EnterCriticalSection(&cs);
                ++count;
                LeaveCriticalSection(&cs);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(count, 4 * ROUNDS);
    DeleteCriticalSection(&cs);
}

TEST(Lock, WarnsOfEachFurtherEntryAndTakesAsManyLeaves)
{
    CriticalSection cs;

    InitializeCriticalSection(&cs);
    EXPECT_EQ(log_lines([&] {
                  for (int i = 0; i < 3; ++i)
                      EnterCriticalSection(&cs);
              }),
              "[Warning] - LOG_SYSTEM: EnterCriticalSection : Thread entered "
              "critical section for the 2. time\n"
              "[Warning] - LOG_SYSTEM: EnterCriticalSection : Thread entered "
              "critical section for the 3. time\n");
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(is_free(&cs)) << i;
        LeaveCriticalSection(&cs);
    }
    EXPECT_TRUE(is_free(&cs));
    DeleteCriticalSection(&cs);
}

#ifndef __SANITIZE_THREAD__  // which objects to an unlock by another thread
TEST(Lock, WarnsOfALeaveByAnotherAndStillUnlocks)
{
    CriticalSection cs;

    InitializeCriticalSection(&cs);
    std::thread([&] { EnterCriticalSection(&cs); }).join();
    // The second leave finds nobody inside: it must not unlock once more.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(log_lines([&] { LeaveCriticalSection(&cs); }),
                  "[Warning] - LOG_SYSTEM: LeaveCriticalSection : Thread "
                  "leaves critical section not owning\n");
        EXPECT_TRUE(is_free(&cs)) << i;
    }
    EnterCriticalSection(&cs);
    EXPECT_FALSE(is_free(&cs));
    LeaveCriticalSection(&cs);
    DeleteCriticalSection(&cs);
}
#endif
