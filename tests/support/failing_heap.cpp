// failing_heap.cpp - makes the library's allocations fail at a chosen place.
//
// The linker sends the C heap's malloc and realloc here (--wrap), from the
// library's objects and the tests' alike.

#include "support/failing_heap.h"

#include <cstddef>

extern "C" {
void *__real_malloc(size_t size);
void *__real_realloc(void *ptr, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_realloc(void *ptr, size_t size);
}

static thread_local int  allocations_left = -1;
static thread_local bool has_failed;

static bool is_to_fail()
{
    if (allocations_left < 0 || allocations_left-- > 0)
        return false;
    has_failed = true;
    return true;
}

void *__wrap_malloc(size_t size)
{
    return is_to_fail() ? nullptr : __real_malloc(size);
}

void *__wrap_realloc(void *ptr, size_t size)
{
    return is_to_fail() ? nullptr : __real_realloc(ptr, size);
}

void fail_allocation_after(int count)
{
    allocations_left = count;
    has_failed = false;
}

bool allocation_has_failed()
{
    return has_failed;
}
