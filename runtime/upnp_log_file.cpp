// upnp_log_file.cpp - where finished log lines go.
//
// file_lock stands inside g_log_Section: calls that come without that lock
// meet the same state. Nothing that logs is called while file_lock is held.

#include "runtime/upnp_log_file.h"

// An upward call: a log is a file like any other. Of the calls used here only
// upnp_file_create_path logs, and file_lock is not held there.
#include "files/upnp_file.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_log_lock.h"
#include "runtime/upnp_log_prune.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"
#include "runtime/upnp_thread.h"

#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static constexpr int64_t MAX_LOG_BYTES = 1048576;
static constexpr int32_t PRUNING_PRIORITY = 5;

// The open log. Guarded by file_lock.
static pthread_mutex_t file_lock = PTHREAD_MUTEX_INITIALIZER;
static char            log_name[log_prune::NAME_BYTES];  // "" for none
static UpnpFile       *log_file;
static int64_t         bytes_written;  // the size of the file, as known here

// Parts that could not be removed, their paths one after the other. None are
// collected before upnp_log_init and after upnp_log_exit. Guarded by file_lock.
static UpnpString *undeletable_parts;
static bool        collects_undeletable;

static void close_log_locked()
{
    upnp_file_close(log_file);
    log_file = nullptr;
}

static void report_lost(const char *path)
{
    printf("can't open log file (%s)\n", path);
    fprintf(stderr, "can't open log file (%s)\n", path);
}

// The open log, or null after a complaint.
static UpnpFile *open_log(const char *path)
{
    char     *directory = upnp_strdup_impl(path);
    char     *slash;
    UpnpFile *file;

    if (!directory) {
        puts("upnp_log_init - out of memory ?");
        return nullptr;
    }
    slash = strrchr(directory, '/');
    if (slash) {
        *slash = '\0';
        upnp_file_create_path(directory);
    }
    upnp_free_impl(directory);

    file = upnp_file_open_append(path);
    if (!file)
        file = upnp_file_open_write(path);
    if (!file)
        report_lost(path);
    return file;
}

// The name of the part that the log becomes now; null when out of memory.
static UpnpString *part_name_locked(const char *suffix)
{
    char stamp[32] = {};

    upnp_time_convertToLocaltime(time(nullptr), stamp, sizeof(stamp));
    for (char *c = stamp; *c; ++c) {
        if (*c == ':' || *c == 'T')
            *c = '-';
    }
    return upnp_string_sprintf(nullptr, "%.*s-%s-log.txt",
                               static_cast<int>(suffix - log_name), log_name,
                               stamp);
}

static void move_log_locked(const char *part)
{
    close_log_locked();
    upnp_file_rename(log_name, part);
    log_file = upnp_file_open_write(log_name);
    if (!log_file)
        report_lost(log_name);
    bytes_written = 0;
}

// Whether old parts are to be removed now.
static bool rotate_if_due_locked()
{
    const char *suffix;
    UpnpString *part;
    bool        is_free;

    if (bytes_written <= MAX_LOG_BYTES)
        return false;
    suffix = strstr(log_name, log_prune::SUFFIX);
    if (!suffix)
        return false;

    part = part_name_locked(suffix);
    is_free = !part || !upnp_file_exists(part->buffer);
    if (part && is_free)
        move_log_locked(part->buffer);
    upnp_string_free(part);
    return is_free;
}

static void write_locked(const char *text)
{
    size_t length = strlen(text);

    if (upnp_file_write(log_file, text, static_cast<uint32_t>(length)) !=
        static_cast<int64_t>(length)) {
        close_log_locked();
        printf("can't write log file\n%s", text);
    }
    bytes_written += static_cast<int64_t>(length);
}

// A start that fails logs, and that line must not start the next one.
static void start_pruning()
{
    static thread_local bool is_starting;

    if (is_starting)
        return;
    is_starting = true;
    upnp_start_thread(upnp_log_remove_old_parts_thread, nullptr,
                      PRUNING_PRIORITY);
    is_starting = false;
}

static void set_log(const char *name, UpnpFile *file)
{
    pthread_mutex_lock(&file_lock);
    upnp_file_keep_open(log_file);
    log_file = file;
    bytes_written = file ? file->size : 0;
    strncpy(log_name, name, sizeof(log_name) - 1);
    upnp_string_safe_free(&undeletable_parts);
    collects_undeletable = true;
    pthread_mutex_unlock(&file_lock);
}

bool log_prune::copy_state(char (&name)[NAME_BYTES], char **undeletable)
{
    bool is_complete;

    pthread_mutex_lock(&file_lock);
    memcpy(name, log_name, sizeof(log_name));
    *undeletable = upnp_string_copy_cstring(undeletable_parts);
    is_complete = *undeletable || !undeletable_parts;
    pthread_mutex_unlock(&file_lock);
    return is_complete;
}

void log_prune::add_undeletable(const char *path)
{
    pthread_mutex_lock(&file_lock);
    if (collects_undeletable)
        undeletable_parts = upnp_string_concat(undeletable_parts, path);
    pthread_mutex_unlock(&file_lock);
}

int32_t upnp_log_init(const char *path)
{
    UpnpFile *file;

    set_log("", nullptr);
    log_lock::log_init_critical_section();
    if (!path)
        return 1;

    file = open_log(path);
    if (!file)
        return 0;
    set_log(path, file);
    return 1;
}

void upnp_log_exit(void)
{
    pthread_mutex_lock(&file_lock);
    close_log_locked();
    upnp_string_safe_free(&undeletable_parts);
    collects_undeletable = false;
    pthread_mutex_unlock(&file_lock);
    log_lock::log_exit_critical_section();
}

void upnp_log_puts(const char *text)
{
    bool is_pruning_due = false;

    pthread_mutex_lock(&file_lock);
    if (log_file) {
        write_locked(text);
        is_pruning_due = rotate_if_due_locked();
    } else {
        printf("%s", text);
    }
    pthread_mutex_unlock(&file_lock);

    if (is_pruning_due)
        log_lock::run_unlocked(start_pruning);
}

void upnp_log_flush(void)
{
    pthread_mutex_lock(&file_lock);
    if (log_file)
        upnp_file_flush(log_file);
    else
        fflush(stdout);
    pthread_mutex_unlock(&file_lock);
}

void upnp_log_clear(void)
{
    if (!upnp_log_get_filename() || !log_lock::lock_log())
        return;

    pthread_mutex_lock(&file_lock);
    close_log_locked();
    upnp_file_unlink(log_name);
    log_file = upnp_file_open_write(log_name);
    pthread_mutex_unlock(&file_lock);
    unlock_log();
}

char *upnp_log_get_filename(void)
{
    return log_name[0] ? log_name : nullptr;
}
