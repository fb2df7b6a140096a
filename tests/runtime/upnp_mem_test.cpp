// upnp_mem_test.cpp - the memory account, its complaints, and group blocks.

#include "runtime/upnp_mem.h"

#include "support/failing_heap.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

TEST(Heap, CountsWhatWasAskedForAndItsPeak)
{
    int64_t used = upnp_mem_used();
    void   *up_to_peak =
        upnp_malloc_impl(static_cast<uint32_t>(upnp_max_mem_used() - used));
    int64_t peak = upnp_mem_used();

    void *ptr = upnp_malloc_impl(100);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(ptr) % 8, 0u);
    EXPECT_EQ(upnp_mem_used(), peak + 100);
    ptr = upnp_realloc_impl(ptr, 50);
    EXPECT_EQ(upnp_mem_used(), peak + 50);
    upnp_free_impl(ptr);
    upnp_free_impl(up_to_peak);
    EXPECT_EQ(upnp_mem_used(), used);
    EXPECT_EQ(upnp_max_mem_used(), peak + 100);
}

TEST(Heap, ReallocKeepsTheBytesAndStartsFromNull)
{
    char *text = static_cast<char *>(upnp_realloc_impl(nullptr, 4));

    memcpy(text, "abc", 4);
    text = static_cast<char *>(upnp_realloc_impl(text, 100000));
    EXPECT_STREQ(text, "abc");
    upnp_free_impl(text);
}

TEST(Heap, RefusesSizesThatDoNotFit)
{
    EXPECT_EQ(upnp_malloc_impl(UINT32_MAX - 7), nullptr);
    EXPECT_EQ(upnp_calloc_impl(0x10000, 0x10000), nullptr);
    EXPECT_EQ(upnp_calloc_impl(0x10001, 0xFFFF), nullptr);
    EXPECT_EQ(upnp_strdup_impl(nullptr), nullptr);
}

// An allocation that fails leaves the account as it was.
TEST(Heap, SurvivesTheLossOfAnyAllocation)
{
    for_each_failing_allocation([] {
        char *text = upnp_strdup_impl("text");
        void *zeros = upnp_calloc_impl(3, 3);

        if (text)
            upnp_free_impl(text);
        if (!zeros)
            return;
        EXPECT_EQ(memcmp(zeros, "\0\0\0\0\0\0\0\0", 9), 0);
        upnp_free_impl(zeros);
    });
}

// Each step runs in a process of its own, whose account may be spoiled.
TEST(HeapDeathTest, TellsOfFaultsOnStandardErrorAndGoesOn)
{
    static const struct {
        const char *why, *complaint;
        void (*step)();
    } cases[] = {
        { "free of null", "^upnp_free: NULL pointer\n$",
          [] { upnp_free_impl(nullptr); } },
        { "malloc without the lock, which it repairs",
          "^upnp_malloc: MemCriticalSection not initialized when upnp_malloc "
          "called\n$",
          [] {
              upnp_mem_exit();
              upnp_free_impl(upnp_malloc_impl(1));
          } },
        { "realloc without the lock",
          "^upnp_realloc: MemCriticalSection not initialized when "
          "upnp_realloc called\n$",
          [] {
              void *ptr = upnp_malloc_impl(1);
              upnp_mem_exit();
              upnp_free_impl(upnp_realloc_impl(ptr, 2));
          } },
        { "free without the lock, which stays missing",
          "^(upnp_free: MemCriticalSection not initialized when upnp_free "
          "called\n){2}$",
          [] {
              void *one = upnp_malloc_impl(1), *two = upnp_malloc_impl(1);
              upnp_mem_exit();
              upnp_free_impl(one);
              upnp_free_impl(two);
          } },
        { "free of a block that a failed realloc has taken off",
          "^upnp_free: g_memUsed < 0 \\(-1000\\)\n$",
          [] {
              void *ptr = upnp_malloc_impl(1000);
              upnp_realloc_impl(ptr, UINT32_MAX - 9);
              upnp_free_impl(ptr);
          } },
        { "realloc of such a block", "^upnp_realloc: g_memUsed < 0 \\(-7\\)\n$",
          [] {
              void *ptr = upnp_malloc_impl(7);
              fail_allocation_after(0);
              upnp_realloc_impl(ptr, 8);
              upnp_free_impl(upnp_realloc_impl(ptr, 8));
          } },
    };
    ASSERT_EQ(upnp_mem_used(), 0);
    for (const auto &c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EXIT(
            {
                c.step();
                _exit(upnp_mem_used() == 0 ? 0 : 1);
            },
            testing::ExitedWithCode(0), c.complaint);
    }
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
        EXPECT_EQ(table[1], a);
        EXPECT_EQ(table[2], b);
        memset(a, 'a', 10);
        memset(b, 'b', 20);
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
    for (int32_t n : { -1, -2, INT32_MIN }) {
        void **table = upnp_group_malloc(n);
        ASSERT_NE(table, nullptr) << n;
        EXPECT_EQ(reinterpret_cast<intptr_t>(table[0]), n);
        upnp_group_free(table);
    }
    upnp_group_free(nullptr);

    EXPECT_EQ(upnp_group_malloc_get_num(9, &a, ten, none, ten), 1);
    EXPECT_EQ(upnp_group_malloc_get_num(0, &a, ten, &b, ten, &a, zero), 2);
}
