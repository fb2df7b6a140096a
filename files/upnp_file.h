// upnp_file.h - files with 64-bit offsets and a position known without a call.
//
// A path uses "/"; the path parsers accept "\\" and a drive such as "C:" too.
// Failures come back as -1 or null with errno as the system left it.
// Threads: a UpnpFile belongs to one thread at a time.
#ifndef FILES_UPNP_FILE_H
#define FILES_UPNP_FILE_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

struct UpnpFileSegment;

typedef struct UpnpFile {
    int32_t fd;        // owned; -1 for none
    int32_t complete;  // 1: the file has its final size (segmented files)
    int64_t size;      // bytes when opened; 0 for a file opened for writing
    int64_t position;  // read position, in step with the descriptor
    struct UpnpFileSegment *segments;        // owned chain of parts, or null
    struct UpnpFileSegment *currentSegment;  // the part being read; borrowed
} UpnpFile;

typedef struct UpnpFileStat {
    uint32_t firstTime;   // modification time, in seconds
    uint32_t modifyTime;  // modification time again
    uint32_t accessTime;  // access time, in seconds
    int64_t  size;        // bytes
    uint32_t mode;        // st_mode
} UpnpFileStat;

// --- Opening: null for a null path, out of memory, or a refusal -------------
// Caller closes with upnp_file_close. New files get mode 0644.

// Reads; size is filled, and a failed stat fails the call.
UPNP_API UpnpFile *upnp_file_open_read(const char *path);

// Write and create. Existing contents are not cut off: a caller that wants a
// new file deletes the old one first. size stays 0.
UPNP_API UpnpFile *upnp_file_open_write(const char *path);
UPNP_API UpnpFile *upnp_file_open_readwrite(const char *path);
UPNP_API UpnpFile *upnp_open_shared_write(const char *path);

// Reads and writes at the end, creating; size is filled.
UPNP_API UpnpFile *upnp_file_open_append(const char *path);

// Plain descriptors with the same flags; -1 on failure or for a null path.
UPNP_API int32_t open_read(const char *path);
UPNP_API int32_t open_write(const char *path);
UPNP_API int32_t open_readwrite(const char *path);
UPNP_API int32_t open_append(const char *path);
UPNP_API int32_t close_file(int32_t fd);

// Closes the descriptor and frees the record with its segments. May be null.
UPNP_API void upnp_file_close(UpnpFile *file);

// Frees the record with its segments and leaves the descriptor open, which
// the caller has taken out first. May be null.
UPNP_API void upnp_file_keep_open(UpnpFile *file);

// --- Using ------------------------------------------------------------------

// One read; a result above 0 moves the position. -1 on failure or for null.
UPNP_API int32_t upnp_file_read(UpnpFile *file, void *buffer, uint32_t length);

// One write; neither position nor size changes. -1 on failure or for null.
UPNP_API int32_t upnp_file_write(UpnpFile *file, const void *data,
                                 uint32_t length);

// Moves to an offset in bytes (SEEK_SET, SEEK_CUR, SEEK_END) and returns the
// new one; -1 on failure or for null, the position then unchanged.
UPNP_API int64_t upnp_file_seek(UpnpFile *file, int64_t offset,
                                int32_t whence);

// The offset from the system, which the position then equals.
UPNP_API int64_t upnp_file_tell(UpnpFile *file);

// 1 at or beyond size, and for null. Always 1 for a file opened to write.
UPNP_API int32_t upnp_file_eof(UpnpFile *file);

// fsync. May be null.
UPNP_API void upnp_file_flush(UpnpFile *file);

// Reads one line with its line feed into size bytes and returns buffer. The
// buffer is cleared first, so the end of the file gives the empty text. A line
// of size bytes or more fills the buffer WITHOUT a NUL. Null for a null buffer
// or file.
UPNP_API char *upnp_file_gets(char *buffer, int32_t size, UpnpFile *file);

// Copies a file over another. A longer target keeps its tail, and nothing
// reports a failure.
UPNP_API void upnp_file_copy(const char *source, const char *target);

// --- Asking and changing ----------------------------------------------------

// Fills stat: 0, or -1 on failure or for null.
UPNP_API int32_t upnp_file_stat(const char *path, UpnpFileStat *stat);

// 1 if there is a file of any kind.
UPNP_API int32_t upnp_file_exists(const char *path);

// 1 for a regular file, and for a socket, which shares the bit 0x8000.
UPNP_API int32_t upnp_is_file(const char *path);

// rename, unlink, rmdir, and mkdir with mode 0777: 0, or -1.
UPNP_API int32_t upnp_file_rename(const char *old_path, const char *new_path);
UPNP_API int32_t upnp_file_unlink(const char *path);
UPNP_API int32_t upnp_dir_unlink(const char *path);
UPNP_API int32_t upnp_file_mkdir(const char *path);

// Sets access and modification time, in seconds; 0 is now. 0, or -1.
UPNP_API int32_t upnp_file_touch(const char *path, int64_t time);

// Hooks of other systems: they do nothing on Linux.
UPNP_API void upnp_file_io_init(void);
UPNP_API void upnp_file_io_deinit(void);

// --- Paths: results are tracked texts, caller frees with upnp_free_impl -----

// directory and name with one "/" between them. Null if either is null or
// empty. One separator at the joint of each is dropped.
UPNP_API char *upnp_file_build_path(const char *directory, const char *name);

// A copy with every "\\" turned into "/"; null for null.
UPNP_API char *upnp_file_fullpath(const char *path);

// Splits at the last separator behind the first character. An output may be
// null; each result is a block of its own, null where that part is missing.
// A name alone is handed out as directory and as name: "b.txt" gives "b.txt"
// twice. "/file" is all directory, "a/" is "a" without a name, "C:/x" is
// "C:/" and "x".
UPNP_API void upnp_file_split_path(const char *path, char **directory_out,
                                   char **name_out);

// Creates all directories of a path. 0, or -1 with a log line; a plain file in
// the way of the last one counts as made.
UPNP_API int32_t upnp_file_create_path(const char *path);

// 0 if the path exists, else the result of upnp_file_create_path.
UPNP_API int32_t upnp_file_ensure_path_exists(const char *path);

UPNP_C_END
#endif
