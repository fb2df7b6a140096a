// upnp_resource.h - the data files of the product, found by name.
//
// Resources lie in the directory "resources" beside the executable, or in a
// store of the program, which may answer all look-ups itself. Small files of
// a few kinds stay in memory after their first use, as they were then.
//
// Threads: upnp_resource_get and upnp_resource_exists may be called from any
// thread, also before init and after exit, then without the lock.
#ifndef DOCUMENTS_UPNP_RESOURCE_H
#define DOCUMENTS_UPNP_RESOURCE_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

enum { UPNP_RESOURCE_EXTENSIONS = 5 };

// Extensions of the files that may stay in memory, in lower case.
UPNP_API extern const char *const strAllowedExt[UPNP_RESOURCE_EXTENSIONS];

// Same arguments and result as upnp_resource_get.
typedef int32_t (*UpnpResourceGetFunction)(char *name, uint32_t *size_out,
                                           void **data_out);

// Makes the cache usable and empty. What it held is forgotten, NOT freed:
// another thread may be copying it.
UPNP_API void upnp_resource_init(void);

// Frees the cache. No thread may be inside upnp_resource_get.
UPNP_API void upnp_resource_exit(void);

// Hands all look-ups of upnp_resource_get to function; null takes them back.
// Called at the start, before any thread.
UPNP_API void
register_upnp_resource_get_function(UpnpResourceGetFunction function);

// 1 if the resource directory has such a file, of any kind. Asks neither the
// registered function nor the cache. Null: 0.
UPNP_API int32_t upnp_resource_exists(const char *name);

// Reads a resource: 1, or 0 if there is none or no memory for it; *data_out is
// then null. name is cut at its last "?", in place. It is not checked for "..":
// a name from the network must be, before.
// *data_out is a tracked block of *size_out bytes and two zero bytes behind
// them, so that it can be read as text of 8 or 16 bits; caller frees with
// upnp_free_impl. With null for any argument the others are set to 0.
UPNP_API int32_t upnp_resource_get(char *name, uint32_t *size_out,
                                   void **data_out);

UPNP_C_END
#endif
