// upnp_file_buffered.h - reads a file byte by byte through a buffer.
//
// For parsers of binary formats. Numbers and bits are read with the calls of
// upnp_file_bits.h.
//
// Threads: a BufferedFile belongs to one thread at a time.
#ifndef FILES_UPNP_FILE_BUFFERED_H
#define FILES_UPNP_FILE_BUFFERED_H

#include "files/upnp_file.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

typedef struct BufferedFile {
    UpnpFile *file;        // owned; stands behind the buffered bytes
    uint8_t  *buffer;      // owned
    uint32_t  bufferSize;  // bytes
    uint32_t  offset;      // of the next byte within buffer
    uint32_t  available;   // bytes in buffer from offset on
    uint32_t  bitBuffer;   // the bit reader's word
    int32_t   bitCount;    // bits left in bitBuffer
} BufferedFile;

// Opens a file and reads the first bufferSize bytes. Null for null, out of
// memory or a refusal. Caller closes with upnp_file_close_b.
UPNP_API BufferedFile *upnp_file_open_read_b(const char *path,
                                             uint32_t    bufferSize);

// Closes the file and frees the record. May be null.
UPNP_API void upnp_file_close_b(BufferedFile *file);

// The offset of the next byte; -1 for null.
UPNP_API int64_t upnp_file_tell_b(BufferedFile *file);

// 1 at or beyond the size that the file had when it was opened, at an offset
// below 0, and for null.
UPNP_API int32_t upnp_file_eof_b(BufferedFile *file);

// Moves to an offset in bytes (SEEK_SET, SEEK_CUR, SEEK_END) and returns it;
// what is in the buffer is not read again. -1 on failure or for null; 0 for
// any other whence, and nothing moves. The bit reader keeps its word.
UPNP_API int64_t upnp_file_seek_b(BufferedFile *file, int64_t offset,
                                  int32_t whence);

// The next byte; 0 at the end, on a read error and for null, which a zero byte
// cannot be told from.
UPNP_API uint8_t upnp_file_read_byte(BufferedFile *file);

// Copies the next length bytes. Gives their number, which is less than length
// only at the end or on a read error; -1 for a null file.
UPNP_API int32_t upnp_file_read_b(BufferedFile *file, void *target,
                                  uint32_t length);

// Reads the next line that is not empty, without its line end (CR, LF or both),
// and returns its length. A line of size bytes or more comes in pieces. 0 at
// the end, for null and for a size below 2; target may then be untouched.
UPNP_API int32_t upnp_file_read_line_b(BufferedFile *file, char *target,
                                       int32_t size);

UPNP_C_END
#endif
