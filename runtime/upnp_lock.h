// upnp_lock.h - the library's lock: a mutex that its owner may enter again.
//
// Entering again is allowed but counted as a fault worth a warning: code that
// does so has lost track of what it holds.
#ifndef RUNTIME_UPNP_LOCK_H
#define RUNTIME_UPNP_LOCK_H

#include "runtime/upnp_api.h"
#include <pthread.h>
#include <stdint.h>

UPNP_C_BEGIN

typedef struct CriticalSection {
    pthread_mutex_t mutex;      // default attributes, so not recursive itself
    uintptr_t       owner;      // pthread_self() of the holder; 0 for none
    uint32_t        recursion;  // entries of the holder beyond the first
} CriticalSection;

// Every call does nothing for a null pointer. Any thread.

// Makes the lock usable, held by nobody. A failure is told on standard error.
UPNP_API void InitializeCriticalSection(CriticalSection *cs);

// Destroys the mutex. No thread may hold the lock or wait for it.
UPNP_API void DeleteCriticalSection(CriticalSection *cs);

// Takes the lock, waiting as long as another thread holds it. The holder
// enters again at once, with a warning, and then leaves as often as it entered.
UPNP_API void EnterCriticalSection(CriticalSection *cs);

// Gives the lock back. A thread that does not hold it is warned of; the lock
// is then released all the same, unless nobody holds it.
UPNP_API void LeaveCriticalSection(CriticalSection *cs);

UPNP_C_END
#endif
