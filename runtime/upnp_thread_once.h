// upnp_thread_once.h - thread starts whose argument is used exactly once.
#ifndef RUNTIME_UPNP_THREAD_ONCE_H
#define RUNTIME_UPNP_THREAD_ONCE_H

#include "runtime/upnp_thread.h"

namespace thread_once {

// Starts a detached thread that runs fn(arg) exactly once, although
// upnp_start_thread may start its function twice: the second comer ends
// without touching arg. Returns whether fn(arg) has run or will run; on false
// no thread will ever use arg, and it stays the caller's.
bool start(UpnpThreadFunction fn, void *arg, int32_t priority);

}

#endif
