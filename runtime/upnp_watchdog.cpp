// upnp_watchdog.cpp - closes sockets at their deadline.
//
// The runtime calls nothing above it but here: the watches belong to a running
// server, so they live under the global lock that the server's start creates
// and its stop removes, and upnp_global_lock tells whether there is one. A
// drain comes when that lock has gone, so the list has a guard of its own,
// taken inside the global lock and for a few steps only: two drains never free
// a record twice.

#include "runtime/upnp_watchdog.h"

#include "runtime/upnp_lock.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread_once.h"
#include "runtime/upnp_watchdog_owner.h"
#include "server/upnp_server.h"

#include <algorithm>
#include <atomic>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

static constexpr int32_t  PRIORITY = 5;
static constexpr uint64_t TICK_MS = 250;

// What the message about a failed allocation names, whatever the record has.
static constexpr uint32_t MESSAGE_BYTES = 16;

// Kept from an earlier name of the call, for those who filter logs by it.
static constexpr char enforce_name[] = "createSocketTimeout";

namespace {
struct Watch : SocketTimeout {
    bool *closed;  // of the owner, or null; reached only through the list
};
}

static CriticalSection list_lock = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };
static SocketTimeout  *watches;  // by deadline; guarded by list_lock

static std::atomic<bool> thread_started;

// --- The list ---------------------------------------------------------------

// Of equal deadlines the new one goes first at the head, last further on.
static void insert(SocketTimeout *watch)
{
    EnterCriticalSection(&list_lock);
    SocketTimeout **link = &watches;
    if (*link && (*link)->deadline < watch->deadline) {
        while (*link && (*link)->deadline <= watch->deadline)
            link = &(*link)->next;
    }
    watch->next = *link;
    *link = watch;
    LeaveCriticalSection(&list_lock);
}

// The deadline of the head; 0 for an empty list.
static uint64_t first_deadline()
{
    EnterCriticalSection(&list_lock);
    uint64_t deadline = watches ? watches->deadline : 0;
    LeaveCriticalSection(&list_lock);
    return deadline;
}

static bool is_empty()
{
    EnterCriticalSection(&list_lock);
    bool empty = !watches;
    LeaveCriticalSection(&list_lock);
    return empty;
}

// Takes the watch at *link off the list. Its owner learns here that the socket
// will be closed: once the watch is off the list, the owner may be gone.
static SocketTimeout *take_locked(SocketTimeout **link, bool to_close)
{
    SocketTimeout *watch = *link;

    *link = watch->next;
    if (bool *closed = static_cast<Watch *>(watch)->closed; closed && to_close)
        *closed = true;
    return watch;
}

// The head, off the list; null if there is none.
static SocketTimeout *take_first()
{
    EnterCriticalSection(&list_lock);
    SocketTimeout *watch = watches ? take_locked(&watches, true) : nullptr;
    LeaveCriticalSection(&list_lock);
    return watch;
}

// The watch with this handle, off the list; null if it is not there. A handle
// may long be freed and its address in use for another watch: closed, a place
// on its owner's stack, tells the two apart.
static SocketTimeout *take(const SocketTimeout *handle, const bool *closed,
                           bool to_close)
{
    SocketTimeout *watch = nullptr;

    EnterCriticalSection(&list_lock);
    SocketTimeout **link = &watches;
    while (*link && *link != handle)
        link = &(*link)->next;
    if (*link && static_cast<Watch *>(*link)->closed == closed)
        watch = take_locked(link, to_close);
    LeaveCriticalSection(&list_lock);
    return watch;
}

static void free_watch(SocketTimeout *watch)
{
    watch->fd = -1;
    upnp_free_impl(static_cast<Watch *>(watch));
}

// Forgets all watches and closes none of their sockets.
static void drain()
{
    EnterCriticalSection(&list_lock);
    SocketTimeout *rest = std::exchange(watches, nullptr);
    LeaveCriticalSection(&list_lock);

    while (rest)
        free_watch(std::exchange(rest, rest->next));
}

// The shutdown is what wakes a thread that blocks on the socket.
static void close_socket(int32_t fd)
{
    shutdown(fd, SHUT_RDWR);
    close(fd);
}

// --- The thread -------------------------------------------------------------

static bool is_running()
{
    return shared::load(g_server_running) == 1;
}

// Whether the thread goes on, although it has seen a reason not to.
static bool may_go_on()
{
    do {
        if (!upnp_global_lock()) {
            thread_started = false;
            drain();
            return false;
        }
        // Here thread_started stays, on purpose: no thread takes over.
        if (is_empty()) {
            upnp_global_unlock();
            return false;
        }
        if (!is_running()) {
            thread_started = false;
            drain();
            upnp_global_unlock();
            return false;
        }
        upnp_global_unlock();
    } while (!is_running());
    return true;
}

// The deadline of the head as the server's lock shows it; 0 if there is
// nothing to wait for.
static uint64_t read_deadline()
{
    // An idle watchdog leaves the lock alone.
    if (is_empty())
        return 0;
    if (!upnp_global_lock()) {
        drain();
        return 0;
    }
    uint64_t deadline = first_deadline();
    upnp_global_unlock();
    return deadline;
}

// Closes the head's socket; false if there is no head any more. It is not
// asked for its deadline again: a watch that has come in front is the one that
// goes.
static bool close_first()
{
    if (!upnp_global_lock()) {
        drain();
        return false;
    }
    SocketTimeout *watch = take_first();
    upnp_global_unlock();
    if (!watch)
        return false;

    close_socket(watch->fd);
    free_watch(watch);
    upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "socketReleaseThread",
                  "Socket closed by thread");
    return true;
}

// Waits for the head's deadline, one tick at most, or closes it. False if the
// thread is to see whether it may go on.
static bool watch_list()
{
    uint64_t deadline = read_deadline();
    uint64_t now = getSystemTime();

    if (deadline != 0 && now >= deadline)
        return close_first();

    uint64_t pause = deadline != 0 ? deadline - now : TICK_MS;
    Sleep(static_cast<int32_t>(std::min(pause, TICK_MS)));
    return true;
}

static void *socketReleaseThread(void *)
{
    bool in_order = true;

    upnp_init_thread("SocketRelease");
    while ((in_order && is_running()) || may_go_on())
        in_order = watch_list();
    upnp_end_thread();
    return nullptr;
}

// --- Watches ----------------------------------------------------------------

// Called under the global lock.
static void ensure_thread()
{
    if (thread_started.exchange(true))
        return;
    if (!thread_once::start(socketReleaseThread, nullptr, PRIORITY))
        thread_started = false;
}

SocketTimeout *watchdog::enforce(uint32_t timeout_ms, int32_t fd, bool *closed)
{
    if (timeout_ms == 0 || fd == -1) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, enforce_name,
                      "Invalid parameters");
        return nullptr;
    }
    auto *watch = static_cast<Watch *>(upnp_calloc_impl(1, sizeof(Watch)));
    if (!watch) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, enforce_name,
                      "Failed to allocate %u bytes", MESSAGE_BYTES);
        return nullptr;
    }
    watch->deadline = getSystemTime() + timeout_ms;
    watch->fd = fd;
    watch->closed = closed;
    if (!upnp_global_lock()) {
        free_watch(watch);
        return nullptr;
    }
    insert(watch);
    ensure_thread();
    upnp_global_unlock();
    return watch;
}

int32_t watchdog::release(SocketTimeout *handle, int32_t close_now,
                          const bool *closed)
{
    if (!handle)
        return 0;
    if (!upnp_global_lock()) {
        drain();
        return 1;
    }
    SocketTimeout *watch = take(handle, closed, close_now != 0);
    if (!watch) {
        upnp_global_unlock();
        return 1;
    }
    if (close_now)
        close_socket(watch->fd);
    free_watch(watch);
    upnp_global_unlock();
    return close_now ? 1 : 0;
}

SocketTimeout *upnp_enforce_socket_timeout(uint32_t timeout_ms, int32_t fd)
{
    return watchdog::enforce(timeout_ms, fd, nullptr);
}

int32_t upnp_release_socket_timeout(SocketTimeout *handle, int32_t close_now)
{
    return watchdog::release(handle, close_now, nullptr);
}
