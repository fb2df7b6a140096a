// upnp_process.h - starts other programs, in the background or waiting.
//
// Programs are started directly, without a shell. parameters is split at
// blanks; a word that begins with a double quote runs to the next one, or to
// the end. A word behind which two blanks end the text is followed by an empty
// word. At most 29 words reach a program in the background, and 28 one that is
// waited for; the rest is dropped. A program that cannot be started tells why
// on standard error and looks like one that ended at once.
//
// Threads: the calls that wait may be made from any thread. All others share
// the table of background programs, which has no lock: one thread.
#ifndef RUNTIME_UPNP_PROCESS_H
#define RUNTIME_UPNP_PROCESS_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

enum {
    SYSTEM_CALL_STARTED = 0,  // or no process could be made
    SYSTEM_CALL_RUNNING = 1,  // this program runs already
    SYSTEM_CALL_FULL = 2      // 50 programs run already
};

// Asked once a second; a result other than 0 ends the program.
typedef int32_t (*UpnpCancelCheck)(int32_t arg);

// Starts a program in the background, unless it runs there already. Splitting
// writes into parameters, which may be null. program must not be null.
UPNP_API int32_t system_call_no_wait(const char *program, char *parameters);

// Runs a program at a lowered priority and waits for its end. The third
// argument is not looked at. Without cancel_check the result is 0, however the
// program ended; with it -1 if a signal ended the program or it cannot be
// waited for, what cancel_check gave if that ended it, and 0 otherwise.
// parameters may be null. 0 without a start if no process could be made or
// memory is out.
UPNP_API int32_t system_call_waiting_prio(const char     *program,
                                          const char     *parameters,
                                          int32_t         ignored,
                                          UpnpCancelCheck cancel_check,
                                          int32_t         cancel_arg);

// system_call_waiting_prio without a cancel_check.
UPNP_API int32_t system_call_waiting(const char *program,
                                     const char *parameters);

// Takes the programs that ended out of the table. 1 if program still runs in
// the background, else 0. program must not be null.
UPNP_API int32_t check_active_processes(const char *program);

// Ends all programs in the background and waits for their ends. Gives 0.
UPNP_API int32_t terminate_active_processes(void);

// Gives 0: on Linux nothing asks it.
UPNP_API int32_t is_process_running(void);

UPNP_C_END
#endif
