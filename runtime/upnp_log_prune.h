// upnp_log_prune.h - what the log file and the pruning of its parts share.
#ifndef RUNTIME_UPNP_LOG_PRUNE_H
#define RUNTIME_UPNP_LOG_PRUNE_H

#include <stddef.h>

namespace log_prune {

// The name of a log, with its NUL.
inline constexpr size_t NAME_BYTES = 1024;

// Marks a log that rotates, and its parts.
inline constexpr char SUFFIX[] = "-log.txt";

// Copies the name of the log, and the paths of the parts that could not be
// removed: null for none, else caller frees with upnp_free_impl. False when
// out of memory. Any thread.
bool copy_state(char (&name)[NAME_BYTES], char **undeletable);

// Notes a part that could not be removed. Any thread.
void add_undeletable(const char *path);

}

#endif
