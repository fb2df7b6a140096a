// upnp_log_lock.h - taking the lock of the log, inside the library.
//
// upnp_log.h exports the other half, unlock_log.
#ifndef RUNTIME_UPNP_LOG_LOCK_H
#define RUNTIME_UPNP_LOG_LOCK_H

#include <stdint.h>

namespace log_lock {

// Brings g_log_Section into use. Any thread.
void log_init_critical_section();

// Takes g_log_Section out of use; the next line brings it back. Any thread.
void log_exit_critical_section();

// Takes g_log_Section, bringing it into use first. Returns 1 when it is held;
// 0, with a complaint on standard output, when it is not in use.
int32_t lock_log();

// Runs job, which may log and take other locks: at once, or, if the calling
// thread holds g_log_Section, when unlock_log has given it back.
void run_unlocked(void (*job)());

}

#endif
