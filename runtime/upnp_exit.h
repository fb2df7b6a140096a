// upnp_exit.h - how the library ends the process.
#ifndef RUNTIME_UPNP_EXIT_H
#define RUNTIME_UPNP_EXIT_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

typedef int32_t (*UpnpExitFunction)(int32_t code);

// Stores the function that upnp_exit calls in the place of exit, replacing an
// earlier one; null restores exit. Called at start-up, before any thread.
UPNP_API void register_upnp_exit_function(UpnpExitFunction fn);

// Ends the process with code, or calls the stored function and returns what
// that returns. A critical log message ends here.
UPNP_API int32_t upnp_exit(int32_t code);

UPNP_C_END
#endif
