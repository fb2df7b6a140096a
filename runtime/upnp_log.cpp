// upnp_log.cpp - the call by which everything logs, its filter and its output.

#include "runtime/upnp_log.h"

#include "runtime/upnp_exit.h"
#include "runtime/upnp_log_file.h"
#include "runtime/upnp_log_lock.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_string.h"
#include "runtime/upnp_thread.h"

#include <atomic>
#include <bit>
#include <iterator>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>

// Indexed by level.
static constexpr const char *level_words[] = {
    "[Debug]", "[Trace]", "[Info]", "[Warning]", "[Error]", "[Critical]",
};
static_assert(std::size(level_words) == UPNP_LOG_CRITICAL + 1);

// Indexed by the number of the source's bit.
static constexpr const char *source_words[] = {
    "LOG_SYSTEM",      "LOG_SSDP", "LOG_DB",       "LOG_HTTP", "LOG_CLIENT_DB",
    "LOG_EVENTING",    "LOG_XML",  "LOG_PLUGIN",   "LOG_SCAN", "LOG_RMEDIA",
    "LOG_MEDIAFUSION", "LOG_CGI",  "LOG_LINKPROT",
};
static_assert(1 << (std::size(source_words) - 1) == LOG_LINKPROT);

// The mutex lives as long as the process: when upnp_log_exit takes the section
// out of use a thread may hold it, or wait for it.
CriticalSection g_log_Section = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };

// Settings, read by every thread that logs.
static std::atomic<int32_t>  is_enabled = 1;
static std::atomic<uint32_t> source_mask;
static std::atomic<uint32_t> minimum_level;

static std::atomic<UpnpCriticalErrorHandler> critical_error_handler;

// Whether g_log_Section is in use.
static std::atomic<bool> section_exists;

// What waits for g_log_Section to be given back; null for nothing.
static std::atomic<void (*)()> waiting_job;

static const char *level_word(uint32_t level)
{
    return level < std::size(level_words) ? level_words[level] : "?";
}

static const char *source_word(uint32_t source)
{
    auto bit = static_cast<size_t>(std::countr_zero(source));

    return std::has_single_bit(source) && bit < std::size(source_words)
               ? source_words[bit]
               : "?";
}

// The text of a message, or null after a complaint: the log itself cannot be
// trusted when memory is out.
static UpnpString *build_text(const char *function, const char *format,
                              va_list args) UPNP_PRINTF(2, 0);

static UpnpString *build_text(const char *function, const char *format,
                              va_list args)
{
    UpnpString *message = upnp_string_vsprintf(format, args);
    if (!message) {
        fprintf(stderr, "upnp_log_impl - out of memory\n%s: %s",
                function ? function : "(null)", format);
        return nullptr;
    }

    UpnpString *text =
        upnp_string_sprintf(nullptr, "%s%s%s", function ? function : "",
                            function ? " : " : "", message->buffer);
    upnp_string_free(message);
    if (!text)
        fprintf(stderr, "upnp_log_impl - out of memory2\n%s: %s",
                function ? function : "(null)", format);
    return text;
}

static bool is_holder()
{
    return shared::load(g_log_Section.owner) == pthread_self();
}

static void print_flushed(const char *line)
{
    fputs(line, stdout);
    fflush(stdout);
}

// Builds one line under the lock, so that lines stand in the order of their
// times, and hands it to write.
static void write_line(uint32_t level, uint32_t source, const char *separator,
                       const char *text, void (*write)(const char *))
{
    if (!is_enabled || !log_lock::lock_log())
        return;

    char timestamp[32] = "0";
    upnp_get_logging_timestamp(timestamp, sizeof(timestamp));
    UpnpString *line = upnp_string_sprintf(
        nullptr, "%s %s - %s%s%s\n", timestamp, level_word(level),
        source_word(source), separator, text);
    if (line)
        write(line->buffer);
    upnp_string_free(line);
    unlock_log();
}

void log_lock::log_init_critical_section()
{
    section_exists = true;
}

void log_lock::log_exit_critical_section()
{
    section_exists = false;
}

int32_t log_lock::lock_log()
{
    if (!section_exists)
        log_init_critical_section();
    if (!section_exists) {
        puts("lock_log - critical section not initialized!");
        return 0;
    }
    EnterCriticalSection(&g_log_Section);
    return 1;
}

void log_lock::run_unlocked(void (*job)())
{
    if (is_holder())
        waiting_job = job;
    else
        job();
}

void upnp_log_impl(uint32_t level, uint32_t source, const char *function,
                   const char *format, ...)
{
    if (level != UPNP_LOG_CRITICAL && !upnp_log_to_appender(level, source))
        return;

    va_list args;
    va_start(args, format);
    UpnpString *text =
        build_text(function, format ? format : "strMessage = NULL!", args);
    va_end(args);

    if (text && upnp_log_to_appender(level, source))
        upnp_log_message(level, source, text->buffer);
    if (text && level == UPNP_LOG_CRITICAL)
        upnp_print_message_to_console(level, source, text->buffer);
    upnp_string_free(text);

    if (level != UPNP_LOG_CRITICAL)
        return;
    if (UpnpCriticalErrorHandler handler = critical_error_handler)
        handler();
    upnp_log_shutdown_on_critical_error();
}

int32_t upnp_log_to_appender(uint32_t level, uint32_t source)
{
    return upnp_log_enabled(source) ? level >= minimum_level
                                    : level == UPNP_LOG_CRITICAL;
}

int32_t upnp_log_enabled(uint32_t source)
{
    return (source_mask & source) != 0;
}

void upnp_log_message(uint32_t level, uint32_t source, const char *text)
{
    write_line(level, source, ": ", text, upnp_log_puts);
}

void upnp_print_message_to_console(uint32_t level, uint32_t source,
                                   const char *text)
{
    write_line(level, source, ":", text, print_flushed);
}

void upnp_log_enable(int32_t flag)
{
    is_enabled = flag;
}

void upnp_log_set_level(uint32_t level)
{
    minimum_level = level;
}

uint32_t upnp_log_get_level(void)
{
    return minimum_level;
}

void upnp_log_set_sources(uint32_t mask)
{
    source_mask = mask;
}

uint32_t upnp_log_get_sources(void)
{
    return source_mask;
}

UpnpCriticalErrorHandler
upnp_log_register_critical_error_handler(UpnpCriticalErrorHandler handler)
{
    UpnpCriticalErrorHandler stored = nullptr;

    if (critical_error_handler.compare_exchange_strong(stored, handler))
        return handler;
    return stored;
}

int32_t upnp_log_initialized(void)
{
    return section_exists;
}

void upnp_log_shutdown_on_critical_error(void)
{
    upnp_exit(0);
}

void unlock_log(void)
{
    void (*job)();

    // A holder gives the section back even if it has gone out of use meanwhile.
    if (!section_exists && !is_holder()) {
        puts("unlock_log - critical section not initialized!");
        return;
    }
    job = waiting_job.exchange(nullptr);
    LeaveCriticalSection(&g_log_Section);
    if (job)
        job();
}
