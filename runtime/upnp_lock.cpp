// upnp_lock.cpp - a mutex that its owner may enter again.
//
// The owner word is read without the mutex. That is safe, since only a thread
// itself stores its own id there: whatever else it reads is not its own id.
// The mutex orders all that the lock guards, so relaxed reads are enough.

#include "runtime/upnp_lock.h"

#include "runtime/upnp_log.h"

#include <atomic>
#include <stdio.h>

static constexpr auto relaxed = std::memory_order_relaxed;

static uintptr_t self()
{
    return static_cast<uintptr_t>(pthread_self());
}

static std::atomic_ref<uintptr_t> owner_of(CriticalSection *cs)
{
    return std::atomic_ref<uintptr_t>(cs->owner);
}

// Touched by the owner alone, until a foreign leave lets in a second one.
static std::atomic_ref<uint32_t> recursion_of(CriticalSection *cs)
{
    return std::atomic_ref<uint32_t>(cs->recursion);
}

void InitializeCriticalSection(CriticalSection *cs)
{
    if (!cs)
        return;
    if (pthread_mutex_init(&cs->mutex, nullptr) != 0)
        fputs("can't init mutex\n", stderr);
    cs->owner = 0;
    cs->recursion = 0;
}

void DeleteCriticalSection(CriticalSection *cs)
{
    if (cs)
        pthread_mutex_destroy(&cs->mutex);
}

void EnterCriticalSection(CriticalSection *cs)
{
    if (!cs)
        return;

    if (owner_of(cs).load(relaxed) != self()) {
        pthread_mutex_lock(&cs->mutex);
        owner_of(cs).store(self(), relaxed);
        return;
    }

    uint32_t count = recursion_of(cs).load(relaxed) + 1;
    recursion_of(cs).store(count, relaxed);
    upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "EnterCriticalSection",
                  "Thread entered critical section for the %d. time",
                  static_cast<int>(count + 1));
}

void LeaveCriticalSection(CriticalSection *cs)
{
    if (!cs)
        return;

    if (owner_of(cs).load(relaxed) == self()) {
        uint32_t count = recursion_of(cs).load(relaxed);
        if (count != 0) {
            recursion_of(cs).store(count - 1, relaxed);
            return;
        }
    } else {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "LeaveCriticalSection",
                      "Thread leaves critical section not owning");
    }

    // Whoever takes the owner away unlocks, so that of two leaves only one
    // does; a lock that nobody holds stays as it is.
    if (owner_of(cs).exchange(0, relaxed) != 0)
        pthread_mutex_unlock(&cs->mutex);
}
