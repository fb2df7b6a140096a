// upnp_log.h - the call by which everything logs, its filter and its output.
//
// A message has a level and a source. It passes when its source stands in the
// mask and its level is at least the minimum; with a source outside the mask
// only a critical message passes. A critical message always ends the process
// (or does what register_upnp_exit_function put in the place of that).
//
// Threads: any. Lines are written one at a time, under g_log_Section. Code
// that holds g_log_Section must not log.
#ifndef RUNTIME_UPNP_LOG_H
#define RUNTIME_UPNP_LOG_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_lock.h"
#include <stdint.h>

UPNP_C_BEGIN

enum {
    UPNP_LOG_DEBUG,
    UPNP_LOG_TRACE,
    UPNP_LOG_INFO,
    UPNP_LOG_WARNING,
    UPNP_LOG_ERROR,
    UPNP_LOG_CRITICAL
};

// Sources: single bits.
enum {
    LOG_SYSTEM      = 0x0001,
    LOG_SSDP        = 0x0002,
    LOG_DB          = 0x0004,
    LOG_HTTP        = 0x0008,
    LOG_CLIENT_DB   = 0x0010,
    LOG_EVENTING    = 0x0020,
    LOG_XML         = 0x0040,
    LOG_PLUGIN      = 0x0080,
    LOG_SCAN        = 0x0100,
    LOG_RMEDIA      = 0x0200,
    LOG_MEDIAFUSION = 0x0400,
    LOG_CGI         = 0x0800,
    LOG_LINKPROT    = 0x1000
};

typedef void (*UpnpCriticalErrorHandler)(void);

// Guards the writing of lines. Created by the first line.
UPNP_API extern CriticalSection g_log_Section;

// Logs one message. function is the caller's name and may be null; a null
// format is replaced. A message that does not pass the filter costs nothing
// more than the filter. Level 5 goes to standard output too, then runs the
// critical error handler and upnp_log_shutdown_on_critical_error, also when
// memory is out.
UPNP_API void upnp_log_impl(uint32_t level, uint32_t source,
                            const char *function, const char *format, ...)
    UPNP_PRINTF(4, 5);

// The filter: non-zero if such a message passes. Levels compare unsigned.
UPNP_API int32_t upnp_log_to_appender(uint32_t level, uint32_t source);

// Non-zero if any bit of source stands in the mask.
UPNP_API int32_t upnp_log_enabled(uint32_t source);

// Writes one line, "TIME  [Level] - SOURCE: text", to the log or to standard
// output. An unknown level or source reads "?".
UPNP_API void upnp_log_message(uint32_t level, uint32_t source,
                               const char *text);
UPNP_API void upnp_print_message_to_console(uint32_t level, uint32_t source,
                                            const char *text);

// Switches all lines on (at load) or off.
UPNP_API void upnp_log_enable(int32_t flag);

// The minimum level, 0 at load, and the source mask, 0 at load.
UPNP_API void     upnp_log_set_level(uint32_t level);
UPNP_API uint32_t upnp_log_get_level(void);
UPNP_API void     upnp_log_set_sources(uint32_t mask);
UPNP_API uint32_t upnp_log_get_sources(void);

// Stores the handler of critical messages. The first registration wins.
// Returns the handler in force.
UPNP_API UpnpCriticalErrorHandler
upnp_log_register_critical_error_handler(UpnpCriticalErrorHandler handler);

// Non-zero if g_log_Section exists.
UPNP_API int32_t upnp_log_initialized(void);

// Ends the process through upnp_exit(0).
UPNP_API void upnp_log_shutdown_on_critical_error(void);

// Releases g_log_Section, which every line takes. A complaint is printed when
// it was never created.
UPNP_API void unlock_log(void);

UPNP_C_END
#endif
