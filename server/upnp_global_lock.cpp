// upnp_global_lock.cpp - the lock that exists between start and stop.
//
// A stop takes the lock away while threads may wait for it. They are counted
// while they touch the record, so that it is given back only behind the last.

#include "server/server_rows.h"

#include "runtime/upnp_lock.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_thread.h"

static constexpr int32_t LEAVING_MS = 20;

static std::atomic<CriticalSection *> global_lock;
static std::atomic<int32_t>           users;  // threads inside these calls

void server::create_global_lock()
{
    CriticalSection *lock;

    if (global_lock)
        return;
    lock = static_cast<CriticalSection *>(
        upnp_calloc_impl(1, sizeof(CriticalSection)));
    if (!lock)
        return;
    InitializeCriticalSection(lock);
    global_lock = lock;
}

void server::remove_global_lock()
{
    CriticalSection *lock = global_lock;

    if (!lock)
        return;
    EnterCriticalSection(lock);
    global_lock = nullptr;
    LeaveCriticalSection(lock);

    // A thread that was waiting finds the lock gone, and leaves it.
    do
        Sleep(LEAVING_MS);
    while (users != 0);

    DeleteCriticalSection(lock);
    upnp_free_impl(lock);
}

int32_t upnp_global_lock(void)
{
    CriticalSection *lock;
    int32_t          taken = 0;

    ++users;
    lock = global_lock;
    if (lock) {
        EnterCriticalSection(lock);
        taken = lock == global_lock;
        if (!taken)
            LeaveCriticalSection(lock);
    }
    --users;
    return taken;
}

void upnp_global_unlock(void)
{
    CriticalSection *lock;

    ++users;
    lock = global_lock;
    if (lock)
        LeaveCriticalSection(lock);
    --users;
}
