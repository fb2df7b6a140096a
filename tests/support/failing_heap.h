// failing_heap.h - makes the library's allocations fail at a chosen place.
#ifndef TESTS_SUPPORT_FAILING_HEAP_H
#define TESTS_SUPPORT_FAILING_HEAP_H

// Lets the next `count` allocations of this thread succeed and fails the one
// behind them, once. A negative count switches failing off.
void fail_allocation_after(int count);

// Whether the chosen allocation has been reached and has failed.
bool allocation_has_failed();

// Calls attempt with the first allocation failing, then with the second, and
// so on until a call runs through without reaching the failing one.
template <typename Attempt> void for_each_failing_allocation(Attempt attempt)
{
    for (int count = 0;; ++count) {
        fail_allocation_after(count);
        attempt();
        bool failed = allocation_has_failed();
        fail_allocation_after(-1);
        if (!failed)
            return;
    }
}

#endif
