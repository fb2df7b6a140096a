// upnp_file_segment.h - one part of a file that is made of a chain of parts.
//
// A program attaches a chain to UpnpFile.segments, and the media file calls
// then read its parts as one file. Closing the file frees the chain.
// Threads: a chain belongs to its file.
#ifndef FILES_UPNP_FILE_SEGMENT_H
#define FILES_UPNP_FILE_SEGMENT_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// A tracked block, from upnp_malloc_impl or upnp_calloc_impl.
typedef struct UpnpFileSegment {
    char   *path;  // tracked text, owned by the record; may be null
    int64_t size;  // of this part, in bytes
    struct UpnpFileSegment *next;  // the following part, owned; null ends
} UpnpFileSegment;

UPNP_C_END
#endif
