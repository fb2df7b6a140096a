// upnp_log_lock.h - taking the lock of the log, inside the library.
//
// upnp_log.h exports the other half, unlock_log.
#ifndef RUNTIME_UPNP_LOG_LOCK_H
#define RUNTIME_UPNP_LOG_LOCK_H

#include <stdint.h>

namespace log_lock {

// Creates g_log_Section unless it exists. Any thread.
void log_init_critical_section();

// Takes g_log_Section, creating it first where it is missing. Returns 1 when
// it is held; 0, with a complaint on standard output, when it does not exist.
int32_t lock_log();

}

#endif
