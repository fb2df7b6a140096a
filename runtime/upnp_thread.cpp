// upnp_thread.cpp - starting and ending threads, sleeping, the interval clock.

#include "runtime/upnp_thread.h"

// An upward call: the size of a thread's stack is the user's to set, so the
// start asks the property table for it. The table starts no threads.
#include "config/upnp_ini_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <atomic>
#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/time.h>
#include <time.h>

static constexpr uint32_t MIN_STACK_BYTES = 196608;
static constexpr int32_t  RETRY_PAUSE_MS = 20;

// What the priority argument asks for; any other argument asks for the default.
static constexpr struct {
    int32_t argument;
    int     sched_priority;
} priorities[] = {
    { 3, 10 },
    { 4, 30 },
    { 6, 70 },
    { 7, 90 },
};
static constexpr int DEFAULT_SCHED_PRIORITY = 50;

// Milliseconds of the wall clock at the first getSystemTime; 0 before it.
static std::atomic<uint64_t> base_ms;

static int sched_priority_of(int32_t argument)
{
    for (const auto &row : priorities) {
        if (row.argument == argument)
            return row.sched_priority;
    }
    return DEFAULT_SCHED_PRIORITY;
}

// 0 leaves the platform's default. Unsigned: a negative setting is very large.
static uint32_t stack_bytes()
{
    auto bytes = static_cast<uint32_t>(upnp_ini_file_getInt(INI_STACK_SIZE));

    return bytes > 0 && bytes < MIN_STACK_BYTES ? MIN_STACK_BYTES : bytes;
}

// What the system refuses of these keeps its default.
static void init_attributes(pthread_attr_t *attributes, int32_t priority)
{
    sched_param param = {};
    uint32_t    bytes = stack_bytes();

    param.sched_priority = sched_priority_of(priority);
    pthread_attr_init(attributes);
    pthread_attr_setschedpolicy(attributes, SCHED_OTHER);
    pthread_attr_setschedparam(attributes, &param);
    if (bytes != 0)
        pthread_attr_setstacksize(attributes, bytes);
}

static void log_start(uint32_t level, const char *text)
{
    upnp_log_impl(level, LOG_SYSTEM, "upnp_start_joinable_thread", "%s", text);
}

// Stores the id of a thread that did start: a failing pthread_create may leave
// the id of one that never ran. An id that is overwritten is lost to all, so
// its thread is detached.
static int try_start(uintptr_t *id, const pthread_attr_t *attributes,
                     UpnpThreadFunction fn, void *arg)
{
    pthread_t thread;
    int       error = pthread_create(&thread, attributes, fn, arg);

    if (error != 0)
        return error;
    if (*id != 0)
        pthread_detach(*id);
    *id = thread;
    return 0;
}

static void start_with_retries(uintptr_t *id, const pthread_attr_t *attributes,
                               UpnpThreadFunction fn, void *arg)
{
    int error = try_start(id, attributes, fn, arg);

    if (error == 0)
        return;

    if (error == EAGAIN) {
        log_start(UPNP_LOG_WARNING,
                  "Not enough resources to start thread - retrying");
        Sleep(RETRY_PAUSE_MS);
        if (try_start(id, attributes, fn, arg) == EAGAIN) {
            log_start(UPNP_LOG_ERROR,
                      "Second try to start thread failed - giving up");
            return;
        }
    }

    // A second try that succeeds comes here too, on purpose: fn then runs in
    // two threads, and the id is that of the later one.
    log_start(UPNP_LOG_WARNING, "Failed to start thread with requested "
                                "priority and scheduler - trying default");
    if (try_start(id, nullptr, fn, arg) != 0)
        log_start(UPNP_LOG_ERROR,
                  "Failed to start thread with defaults - giving up");
}

static uint64_t wall_clock_ms()
{
    timeval now;

    gettimeofday(&now, nullptr);
    return static_cast<uint64_t>(now.tv_sec) * 1000 +
           static_cast<uint64_t>(now.tv_usec) / 1000;
}

void Sleep(int32_t ms)
{
    timespec pause = { ms / 1000, (ms % 1000) * 1000000L };

    nanosleep(&pause, nullptr);
}

uintptr_t upnp_start_joinable_thread(UpnpThreadFunction fn, void *arg,
                                     int32_t priority)
{
    pthread_attr_t attributes;
    uintptr_t      id = 0;

    init_attributes(&attributes, priority);
    start_with_retries(&id, &attributes, fn, arg);
    pthread_attr_destroy(&attributes);
    return id;
}

uintptr_t upnp_start_detached_thread(UpnpThreadFunction fn, void *arg,
                                     int32_t priority)
{
    uintptr_t id = upnp_start_joinable_thread(fn, arg, priority);

    if (id != 0)
        pthread_detach(id);
    return id;
}

uintptr_t upnp_start_thread(UpnpThreadFunction fn, void *arg, int32_t priority)
{
    return upnp_start_detached_thread(fn, arg, priority);
}

void upnp_init_thread(const char *) {}

void upnp_end_thread(void)
{
    pthread_exit(nullptr);
}

void upnp_kill_joinable_thread(uintptr_t id)
{
    if (id != 0)
        pthread_cancel(id);
}

int32_t *upnp_int_thread_param(int32_t value)
{
    auto *param = static_cast<int32_t *>(upnp_malloc_impl(sizeof(value)));

    if (param)
        *param = value;
    return param;
}

uint64_t getSystemTime(void)
{
    uint64_t base = base_ms;
    uint64_t now = wall_clock_ms();

    if (base != 0)
        return now - base;

    // Of several first calls one sets the base; all of them return 0.
    base_ms.compare_exchange_strong(base, now);
    return 0;
}

void upnp_get_logging_timestamp(char *buffer, uint32_t size)
{
    timeval now;
    tm      local;
    char    time_of_day[sizeof("12:07:09")];

    if (!buffer || size == 0)
        return;

    gettimeofday(&now, nullptr);
    localtime_r(&now.tv_sec, &local);
    strftime(time_of_day, sizeof(time_of_day), "%H:%M:%S", &local);
    snprintf(buffer, size, "%s:%03ld ", time_of_day,
             static_cast<long>(now.tv_usec / 1000));
}
