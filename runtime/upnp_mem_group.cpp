// upnp_mem_group.cpp - several blocks taken and given back in one step.

#include "runtime/upnp_mem.h"

#include <stdarg.h>

// The count and the blocks, and one spare word behind them.
static constexpr uint32_t SPARE_WORDS = 2;

static void *allocate_member(uint64_t size)
{
    if (size > UINT32_MAX)
        return nullptr;
    return upnp_malloc_impl(static_cast<uint32_t>(size));
}

// Allocates the members from the pairs; whether all of them were.
static bool fill_table(void **table, int32_t n, va_list pairs)
{
    for (int32_t i = 1; i <= n; ++i) {
        void   **out = va_arg(pairs, void **);
        uint64_t size = va_arg(pairs, uint64_t);

        if (!out || !size)
            return false;
        *out = allocate_member(size);
        if (!*out)
            return false;
        table[i] = *out;
    }
    return true;
}

void **upnp_group_malloc(int32_t n, ...)
{
    if (n == 0)
        return nullptr;

    uint32_t words = n < 0 ? 1 : static_cast<uint32_t>(n) + SPARE_WORDS;
    void   **table =
        static_cast<void **>(upnp_calloc_impl(words, sizeof(void *)));
    if (!table)
        return nullptr;
    table[0] = reinterpret_cast<void *>(static_cast<intptr_t>(n));

    va_list pairs;
    va_start(pairs, n);
    bool filled = fill_table(table, n, pairs);
    va_end(pairs);

    if (!filled) {
        upnp_group_free(table);
        return nullptr;
    }
    return table;
}

void upnp_group_free(void **table)
{
    if (!table)
        return;

    intptr_t n = reinterpret_cast<intptr_t>(table[0]);
    for (intptr_t i = 1; i <= n; ++i) {
        if (!table[i])
            continue;
        upnp_free_impl(table[i]);
        table[i] = nullptr;
    }
    upnp_free_impl(table);
}

int32_t upnp_group_malloc_get_num(int32_t ignored, ...)
{
    int32_t count = 0;
    va_list pairs;

    va_start(pairs, ignored);
    for (;; ++count) {
        void   **out = va_arg(pairs, void **);
        uint64_t size = va_arg(pairs, uint64_t);

        if (!out || !size)
            break;
    }
    va_end(pairs);
    return count;
}
