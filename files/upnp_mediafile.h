// upnp_mediafile.h - files for streaming: still growing, or made of parts.
//
// A program that serves a chain of parts as one file attaches the chain to
// UpnpFile.segments, sets currentSegment to the part that is open, and size to
// the size of the whole.
//
// Threads: a UpnpFile belongs to one thread at a time.
#ifndef FILES_UPNP_MEDIAFILE_H
#define FILES_UPNP_MEDIAFILE_H

#include "files/upnp_file.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Opens a file to be read. With growing not 0 another program still writes it:
// complete and size stay 0. Otherwise complete is 1 and size is filled, unless
// the file's status cannot be had. Null for null, out of memory or a refusal.
// Caller closes with upnp_file_close.
UPNP_API UpnpFile *upnp_mediafile_open_read(const char *path, int32_t growing);

// upnp_file_stat, with the size that upnp_mediafile_open_read would give. 0, or
// -1 on failure or for null.
UPNP_API int32_t upnp_mediafile_stat(const char *path, UpnpFileStat *stat);

// Reads up to length bytes and returns their number. At the end of a file that
// is not complete it waits 50 ms, once, for more; the caller repeats the call.
// A part that ends inside a read gives a short count, and the next call reads
// on in the next part. A part that ended with the read before gives 0, once
// and for all: seek over it. -1 on failure or for null.
UPNP_API int32_t upnp_mediafile_read(UpnpFile *file, void *buffer,
                                     uint32_t length);

// upnp_file_seek over the whole chain: an offset where two parts meet belongs
// to the earlier one. Gives the new offset; -1 on failure, behind the last
// part and for null. With a chain any whence but SEEK_SET, SEEK_CUR and
// SEEK_END goes to 0.
UPNP_API int64_t upnp_mediafile_seek(UpnpFile *file, int64_t offset,
                                     int32_t whence);

UPNP_C_END
#endif
