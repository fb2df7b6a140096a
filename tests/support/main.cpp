// main.cpp - runs a test program and holds every test to the tracked memory it
// began with.

#include "runtime/upnp_mem.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

namespace {

// Detached threads of the library may still be giving back their last block
// when a test ends, so the account is awaited, for a bounded time.
class LeakListener : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override
    {
        used_at_start = upnp_mem_used();
    }

    void OnTestEnd(const testing::TestInfo &) override
    {
        auto deadline =
            std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (upnp_mem_used() != used_at_start &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        EXPECT_EQ(upnp_mem_used(), used_at_start) << "tracked memory leaked";
    }

    int64_t used_at_start = 0;
};

}

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    upnp_mem_init();
    testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
    return RUN_ALL_TESTS();
}
