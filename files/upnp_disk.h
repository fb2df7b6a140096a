// upnp_disk.h - the space of the volume that holds a path.
#ifndef FILES_UPNP_DISK_H
#define FILES_UPNP_DISK_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

enum {
    UPNP_DISK_OK = 0,
    UPNP_DISK_BAD_PARAMETER = 2,  // an argument is null
    UPNP_DISK_FAILED = 14         // the system does not know the path
};

// Stores the bytes of the volume, and those of them that a program without
// privileges may still fill. Outputs change only with UPNP_DISK_OK. Any thread.
UPNP_API int32_t upnp_get_disk_info(const char *path, uint64_t *total,
                                    uint64_t *available);

UPNP_C_END
#endif
