// upnp_thread.h - starting and ending threads, sleeping, the interval clock.
#ifndef RUNTIME_UPNP_THREAD_H
#define RUNTIME_UPNP_THREAD_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// A thread's start routine, as pthread_create takes it.
typedef void *(*UpnpThreadFunction)(void *arg);

// Sleeps for ms milliseconds. A signal cuts the sleep short.
UPNP_API void Sleep(int32_t ms);

// Starts a thread that runs fn(arg) and returns its id, a pthread_t, or 0 if
// none could be started. The stack has the size of the property "stack_size",
// 196,608 bytes at least; a property of 0 leaves the platform's default.
// priority (3 to 7; anything else counts as 5) picks the scheduling priority
// asked for, which Linux ignores under SCHED_OTHER.
//
// When resources are short the start is tried again, and a second try that
// succeeds is followed by a third: fn may then run twice with the same arg.
// A function whose argument must be used once claims it, so that the second
// comer ends at once.
UPNP_API uintptr_t upnp_start_joinable_thread(UpnpThreadFunction fn, void *arg,
                                              int32_t priority);

// The same, detached: nobody joins the thread.
UPNP_API uintptr_t upnp_start_detached_thread(UpnpThreadFunction fn, void *arg,
                                              int32_t priority);

// upnp_start_detached_thread under the name that all callers use.
UPNP_API uintptr_t upnp_start_thread(UpnpThreadFunction fn, void *arg,
                                     int32_t priority);

// Called first by every thread function with its own short name; a hook that
// does nothing on Linux.
UPNP_API void upnp_init_thread(const char *name);

// Ends the calling thread with a null result. Does not return.
UPNP_API void upnp_end_thread(void);

// Cancels the thread with this id; 0 does nothing. The thread is not joined.
UPNP_API void upnp_kill_joinable_thread(uintptr_t id);

// A tracked block that holds value, to hand an integer to a thread; null when
// out of memory. The thread frees it with upnp_free_impl.
UPNP_API int32_t *upnp_int_thread_param(int32_t value);

// Milliseconds since the first call in this process, which returns 0. Follows
// the wall clock: a clock step moves it.
UPNP_API uint64_t getSystemTime(void);

// Writes the local time of day, as in "12:07:09:042 ", with its blank, cut to
// size bytes including the NUL. A null buffer or a size of 0 does nothing.
UPNP_API void upnp_get_logging_timestamp(char *buffer, uint32_t size);

UPNP_C_END
#endif
