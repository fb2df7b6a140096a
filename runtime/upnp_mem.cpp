// upnp_mem.cpp - the tracked heap and its account.
//
// The lock of the account is made at load and never destroyed: a detached
// thread, which nobody joins, may be about to take it while a program calls
// upnp_mem_exit. Init and exit only move the flag that the calls look at.

#include "runtime/upnp_mem.h"

#include "runtime/upnp_lock.h"
#include "runtime/upnp_mem_lost.h"

#include <atomic>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {
struct Prefix {
    uint32_t size;    // bytes asked for
    uint32_t unused;  // keeps what follows 8-aligned
};
}
static_assert(sizeof(Prefix) == 8);

// A resized block is taken with two bytes more than a new one.
static constexpr uint32_t RESIZE_EXTRA = sizeof(Prefix) + 2;

static CriticalSection MemCriticalSection = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };
static std::atomic<int32_t> mem_initialized;

// Written under MemCriticalSection, but for the calls that find it gone; read
// without it.
static std::atomic<int64_t> g_memUsed;
static std::atomic<int64_t> g_memMaxUsed;

static Prefix *prefix_of(void *ptr)
{
    return static_cast<Prefix *>(ptr) - 1;
}

static bool fits(uint32_t size, uint32_t extra)
{
    return uint64_t{ size } + extra <= UINT32_MAX;
}

static void complain_uninitialized(const char *who)
{
    fprintf(stderr, "%s: MemCriticalSection not initialized when %s called\n",
            who, who);
}

// Repairs a missing upnp_mem_init, and says so.
static void enter_account(const char *who)
{
    if (!mem_initialized) {
        complain_uninitialized(who);
        upnp_mem_init();
    }
    EnterCriticalSection(&MemCriticalSection);
}

static void add_locked(uint32_t size)
{
    int64_t used = g_memUsed.fetch_add(size) + size;

    if (used > g_memMaxUsed.load(std::memory_order_relaxed))
        g_memMaxUsed.store(used, std::memory_order_relaxed);
}

static void subtract(const char *who, uint32_t size)
{
    int64_t used = g_memUsed.fetch_sub(size) - size;

    if (used < 0)
        fprintf(stderr, "%s: g_memUsed < 0 (%lld)\n", who,
                static_cast<long long>(used));
}

// The block could not grow. It stays the caller's, but leaves the account:
// callers take the failure for the loss of the block.
static void *fail_resize(uint32_t old_size)
{
    bool locked = mem_initialized;

    if (locked)
        EnterCriticalSection(&MemCriticalSection);
    g_memUsed.fetch_sub(old_size);
    if (locked)
        LeaveCriticalSection(&MemCriticalSection);
    return nullptr;
}

static int64_t shown(const std::atomic<int64_t> &counter)
{
    int64_t bytes = counter.load(std::memory_order_relaxed);

    return bytes < 0 ? 0 : bytes;
}

void upnp_mem_init(void)
{
    mem_initialized = 1;
}

void upnp_mem_exit(void)
{
    mem_initialized = 0;
}

void *upnp_malloc_impl(uint32_t size)
{
    if (!fits(size, sizeof(Prefix)))
        return nullptr;

    auto *block = static_cast<Prefix *>(malloc(sizeof(Prefix) + size));
    if (!block)
        return nullptr;
    block->size = size;

    enter_account("upnp_malloc");
    add_locked(size);
    LeaveCriticalSection(&MemCriticalSection);
    return block + 1;
}

void *upnp_calloc_impl(uint32_t count, uint32_t size)
{
    uint64_t total = uint64_t{ count } * size;
    if (total > UINT32_MAX)
        return nullptr;

    void *ptr = upnp_malloc_impl(static_cast<uint32_t>(total));
    if (ptr)
        memset(ptr, 0, total);
    return ptr;
}

void *upnp_realloc_impl(void *ptr, uint32_t size)
{
    if (!ptr)
        return upnp_malloc_impl(size);

    uint32_t old_size = prefix_of(ptr)->size;
    if (!fits(size, RESIZE_EXTRA))
        return fail_resize(old_size);

    auto *block = static_cast<Prefix *>(
        realloc(prefix_of(ptr), size_t{ size } + RESIZE_EXTRA));
    if (!block)
        return fail_resize(old_size);
    block->size = size;

    enter_account("upnp_realloc");
    subtract("upnp_realloc", old_size);
    add_locked(size);
    LeaveCriticalSection(&MemCriticalSection);
    return block + 1;
}

char *upnp_strdup_impl(const char *text)
{
    if (!text)
        return nullptr;

    size_t size = strlen(text) + 1;
    if (size > UINT32_MAX)
        return nullptr;

    void *copy = upnp_malloc_impl(static_cast<uint32_t>(size));
    if (copy)
        memcpy(copy, text, size);
    return static_cast<char *>(copy);
}

void upnp_free_impl(void *ptr)
{
    if (!ptr) {
        fputs("upnp_free: NULL pointer\n", stderr);
        return;
    }

    // Unlike an allocation, a free does not repair a missing upnp_mem_init:
    // blocks are also given back after upnp_mem_exit.
    bool locked = mem_initialized;
    if (locked)
        EnterCriticalSection(&MemCriticalSection);
    else
        complain_uninitialized("upnp_free");

    subtract("upnp_free", prefix_of(ptr)->size);

    if (locked)
        LeaveCriticalSection(&MemCriticalSection);
    free(prefix_of(ptr));
}

void mem::release_lost(void *ptr)
{
    free(prefix_of(ptr));
}

void mem::keep_lost(void *ptr)
{
    enter_account("upnp_realloc");
    add_locked(prefix_of(ptr)->size);
    LeaveCriticalSection(&MemCriticalSection);
}

int64_t upnp_mem_used(void)
{
    return shown(g_memUsed);
}

int64_t upnp_max_mem_used(void)
{
    return shown(g_memMaxUsed);
}
