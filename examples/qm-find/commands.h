// commands.h - what qm-find does: one function for each of its commands.
#ifndef QM_FIND_COMMANDS_H
#define QM_FIND_COMMANDS_H

#include <span>

namespace find {

inline constexpr int BAD_USAGE = 2;

// What stands behind the name of a command, as many as it takes.
using Arguments = std::span<char *const>;

// Each prints its result, and on standard error why there is none. Returns the
// exit status: EXIT_SUCCESS, EXIT_FAILURE, or BAD_USAGE for what it cannot read
// of its arguments.

// [-t SECONDS] [--watch]: the devices on all networks, as they appear.
int search(Arguments arguments);

// URL: a device by its description, with all that its services can do.
int describe(Arguments arguments);

// [--depth N] URL [OBJECT-ID]: what a media server holds, as a tree.
int browse(Arguments arguments);

// URL FILE: downloads into a file, "-" being standard output. FILE.part is what
// an earlier run has left, and is gone on with.
int get(Arguments arguments);

// URL FILE [TYPE]: posts a file, "-" being standard input.
int post(Arguments arguments);

// URL ACTION [NAME=VALUE]...: calls an action of the device with that
// description.
int soap(Arguments arguments);

}

#endif
