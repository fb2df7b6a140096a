// upnp_mem_test.cpp - the memory account, its complaints, and group blocks.

#include "runtime/upnp_mem.h"

#include "support/failing_heap.h"

#include <cstring>
#include <gtest/gtest.h>

TEST(Heap, CountsWhatWasAskedForAndItsPeak)
{
    int64_t used = upnp_mem_used();
    void   *up_to_peak =
        upnp_malloc_impl(static_cast<uint32_t>(upnp_max_mem_used() - used));
    int64_t peak = upnp_mem_used();

    void *ptr = upnp_calloc_impl(10, 10);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(ptr) % 8, 0u);
    ptr = upnp_realloc_impl(ptr, 50);
    EXPECT_EQ(upnp_mem_used(), peak + 50);
    upnp_free_impl(ptr);
    upnp_free_impl(up_to_peak);
    EXPECT_EQ(upnp_max_mem_used(), peak + 100);
}

// Whatever is refused leaves the account as it was.
TEST(Heap, RefusesWhatDoesNotFit)
{
    EXPECT_EQ(upnp_malloc_impl(UINT32_MAX - 7), nullptr);
    EXPECT_EQ(upnp_realloc_impl(nullptr, UINT32_MAX - 7), nullptr);
    EXPECT_EQ(upnp_calloc_impl(0x10001, 0xFFFF), nullptr);
    EXPECT_EQ(upnp_calloc_impl(0x10000, 0x10000), nullptr);
    fail_allocation_after(0);
    EXPECT_EQ(upnp_strdup_impl("text"), nullptr);
}

static void *block_after_exit(uint32_t size)
{
    void *ptr = upnp_malloc_impl(size);

    upnp_mem_exit();
    return ptr;
}

// Each step runs in a process of its own, whose account may be spoiled.
TEST(HeapDeathTest, TellsOfFaultsOnStandardErrorAndGoesOn)
{
    static const struct {
        const char *complaint;
        void (*step)();
    } cases[] = {
        { "upnp_free: NULL pointer\n", [] { upnp_free_impl(nullptr); } },
        { "upnp_malloc: MemCriticalSection not initialized when upnp_malloc "
          "called\n",
          [] { upnp_free_impl((upnp_mem_exit(), upnp_malloc_impl(1))); } },
        { "upnp_realloc: MemCriticalSection not initialized when "
          "upnp_realloc called\n",
          [] { upnp_free_impl(upnp_realloc_impl(block_after_exit(1), 2)); } },
        { "(upnp_free: MemCriticalSection not initialized when upnp_free "
          "called\n){2}",
          [] {
              void *other = upnp_malloc_impl(1);
              upnp_free_impl(block_after_exit(1));
              upnp_free_impl(other);
          } },
        // A failed realloc has taken the old size off, the next one and the
        // free do so again.
        { "upnp_realloc: g_memUsed < 0 \\(-7\\)\n"
          "upnp_free: g_memUsed < 0 \\(-7\\)\n",
          [] {
              void *ptr = upnp_malloc_impl(7);
              upnp_realloc_impl(ptr, UINT32_MAX - 9);
              upnp_free_impl(upnp_realloc_impl(ptr, 8));
          } },
    };
    ASSERT_EQ(upnp_mem_used(), 0);
    for (const auto &c : cases)
        EXPECT_EXIT(
            {
                c.step();
                _exit(upnp_mem_used() == 0 ? 0 : 1);
            },
            testing::ExitedWithCode(0), "^" + std::string(c.complaint) + "$");
}

TEST(Group, HandsOutItsMembersAndKeepsThemInItsTable)
{
    for_each_failing_allocation([] {
        char  *a, *b;
        void **table =
            upnp_group_malloc(2, &a, uint64_t{ 10 }, &b, uint64_t{ 20 });

        if (!table)
            return;
        EXPECT_EQ(table[0], reinterpret_cast<void *>(2));
        EXPECT_EQ(table[1], memset(a, 'a', 10));
        EXPECT_EQ(table[2], memset(b, 'b', 20));
        upnp_group_free(table);
    });
}

TEST(Group, RefusesEmptyPairsAndCounts)
{
    void          *a, *b;
    void         **none = nullptr;
    const uint64_t ten = 10, zero = 0, huge = uint64_t{ 1 } << 32;

    EXPECT_EQ(upnp_group_malloc(0), nullptr);
    EXPECT_EQ(upnp_group_malloc(2, &a, ten, none, ten), nullptr);
    EXPECT_EQ(upnp_group_malloc(2, &a, ten, &b, zero), nullptr);
    EXPECT_EQ(upnp_group_malloc(1, &a, huge), nullptr);
    EXPECT_EQ(upnp_group_malloc(INT32_MAX), nullptr);
    for (int32_t n : { -1, INT32_MIN })
        upnp_group_free(upnp_group_malloc(n));
    upnp_group_free(nullptr);
    EXPECT_EQ(upnp_group_malloc_get_num(9, &a, ten, none, ten), 1);
    EXPECT_EQ(upnp_group_malloc_get_num(0, &a, ten, &b, ten, &a, zero), 2);
}
