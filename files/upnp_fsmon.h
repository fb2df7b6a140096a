// upnp_fsmon.h - hearing of changes in folders.
//
// The descriptor is an inotify descriptor: the program waits for it and reads
// struct inotify_event records from it itself. Threads: any.
#ifndef FILES_UPNP_FSMON_H
#define FILES_UPNP_FSMON_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Opens a monitor without watches: its descriptor, or a negative number.
// Children do not inherit it. Caller closes it with fsmon_release.
UPNP_API int32_t fsmon_init(void);

// Watches the folder at path for files that are created, moved in or out,
// deleted, or closed after writing, and for the end of the folder itself.
// Subfolders need watches of their own. Gives the watch descriptor, or a
// negative number on failure and for a null path.
UPNP_API int32_t fsmon_add_watch(int32_t fd, const char *path);

// Closes the monitor with its watches. Numbers below -1 do nothing.
UPNP_API void fsmon_release(int32_t fd);

UPNP_C_END
#endif
