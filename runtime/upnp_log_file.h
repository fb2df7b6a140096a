// upnp_log_file.h - where finished log lines go.
#ifndef RUNTIME_UPNP_LOG_FILE_H
#define RUNTIME_UPNP_LOG_FILE_H

#include "runtime/upnp_api.h"

UPNP_C_BEGIN

// Writes one finished line to the log file, or to standard output when no log
// file is open. The caller holds g_log_Section.
UPNP_API void upnp_log_puts(const char *text);

UPNP_C_END
#endif
