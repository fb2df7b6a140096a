// upnp_log_file.h - where finished log lines go.
//
// Lines go to the log file, or to standard output while none is open. A log
// whose name holds "-log.txt" rotates: when its size passes 1 MiB the file is
// renamed, as in "dir/player-2009-03-14-15-09-26-log.txt", and a new one takes
// its place. The newest five of the "...-log.txt" files beside the log are
// kept; beside a log whose path has no "/" all are.
//
// No failure here ends the program; what cannot be written to the log goes to
// standard output.
//
// Threads: upnp_log_init and upnp_log_get_filename at start-up; the rest any.
#ifndef RUNTIME_UPNP_LOG_FILE_H
#define RUNTIME_UPNP_LOG_FILE_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Opens the log at path, creating its directory, and goes on behind what it
// holds. A null path sends lines to standard output. At most 1023 bytes of the
// path are used to open it again. The log of an earlier call is forgotten, but
// its descriptor stays open. Returns 1, or 0 with a text on standard output.
UPNP_API int32_t upnp_log_init(const char *path);

// Closes the log. Later lines go to standard output. The name stays known, and
// upnp_log_clear opens the file again.
UPNP_API void upnp_log_exit(void);

// Writes one finished line, and rotates the log when it is due. A part of the
// same second is not replaced: the rotation then waits for the next second.
// The caller holds g_log_Section.
UPNP_API void upnp_log_puts(const char *text);

// Brings what was written to the disk, or flushes standard output.
UPNP_API void upnp_log_flush(void);

// Empties the log: a new file takes the place of the old one. Its size keeps
// counting for the next rotation. Lines go to standard output if the new file
// cannot be made. Does nothing without a name.
UPNP_API void upnp_log_clear(void);

// The path of the log, or null if it has none. Borrowed: valid until the next
// upnp_log_init.
UPNP_API char *upnp_log_get_filename(void);

// The thread function that deletes the oldest parts, until five are left. The
// argument is not looked at. Ends the calling thread.
UPNP_API void *upnp_log_remove_old_parts_thread(void *ignored);

UPNP_C_END
#endif
