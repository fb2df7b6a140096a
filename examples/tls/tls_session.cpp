// tls_session.cpp - the table of sessions, and their reads and writes.
//
// The library's sockets block. They are left like that, and each call to the
// system says for itself that it must not wait: only poll does, up to a
// deadline. A session that is ended by another thread has its socket shut
// down, which wakes it there.

#include "tls/tls_session.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "tls/tls_provider.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>

// A handle holds the row in its low bits and the row's generation above.
static constexpr uint32_t INDEX_BITS = 8;
static constexpr uint32_t MAX_SESSIONS = 1u << INDEX_BITS;
static constexpr uint32_t MAX_GENERATION = INT32_MAX >> INDEX_BITS;

// The most that one record holds.
static constexpr int64_t RECORD_BYTES = 16384;

namespace {
struct Row {
    tls::Session *session;     // null: free
    uint32_t      generation;  // of its last session
};
}

static std::mutex table_lock;

// Guarded by table_lock.
static Row         rows[MAX_SESSIONS];
static SSL_CTX    *context;  // null: no new sessions
static BIO_METHOD *socket_method;

// Records that are not freed yet, in the table or not.
static std::atomic<int32_t> live_sessions;

// Set before the start.
static int32_t handshake_time_ms = 10'000;
static int32_t idle_time_ms = 60'000;

// --- The socket as OpenSSL sees it ------------------------------------------

static int socket_of(BIO *bio)
{
    return static_cast<tls::Session *>(BIO_get_data(bio))->socket;
}

static int receive(BIO *bio, char *data, int size)
{
    ssize_t count;

    BIO_clear_retry_flags(bio);
    do
        count =
            recv(socket_of(bio), data, static_cast<size_t>(size), MSG_DONTWAIT);
    while (count == -1 && errno == EINTR);
    if (count == -1 && errno == EAGAIN)
        BIO_set_retry_read(bio);
    return static_cast<int>(count);
}

static int transmit(BIO *bio, const char *data, int length)
{
    ssize_t count;

    BIO_clear_retry_flags(bio);
    do
        count = send(socket_of(bio), data, static_cast<size_t>(length),
                     MSG_DONTWAIT | MSG_NOSIGNAL);
    while (count == -1 && errno == EINTR);
    if (count == -1 && errno == EAGAIN)
        BIO_set_retry_write(bio);
    return static_cast<int>(count);
}

// Nothing is held back, so that a flush has nothing to do.
static long control(BIO *, int command, long, void *)
{
    return command == BIO_CTRL_FLUSH;
}

static BIO_METHOD *new_socket_method()
{
    BIO_METHOD *method =
        BIO_meth_new(BIO_TYPE_SOURCE_SINK, "socket without waiting");

    if (!method)
        return nullptr;
    BIO_meth_set_read(method, receive);
    BIO_meth_set_write(method, transmit);
    BIO_meth_set_ctrl(method, control);
    return method;
}

// --- Records ----------------------------------------------------------------

static void free_session(tls::Session *session)
{
    SSL_free(session->ssl);
    upnp_free_impl(session);
    live_sessions.fetch_sub(1);
    live_sessions.notify_all();
}

static void let_go_locked(tls::Session *session)
{
    if (--session->references == 0)
        free_session(session);
}

static void let_go(tls::Session *session)
{
    std::scoped_lock guard(table_lock);

    let_go_locked(session);
}

// The session belongs to the table alone.
static tls::Session *new_session_locked(int32_t socket)
{
    auto *session =
        static_cast<tls::Session *>(upnp_calloc_impl(1, sizeof(tls::Session)));
    BIO *bio = nullptr;

    if (!session)
        return nullptr;
    ++live_sessions;
    session->references = 1;
    session->socket = socket;
    session->since_ms = tls::now_ms();
    session->ssl = SSL_new(context);
    bio = session->ssl ? BIO_new(socket_method) : nullptr;
    if (!bio) {
        free_session(session);
        return nullptr;
    }
    BIO_set_data(bio, session);
    BIO_set_init(bio, 1);
    SSL_set_bio(session->ssl, bio, bio);
    return session;
}

// --- Rows -------------------------------------------------------------------

// Ends a session from outside. The socket is still open: the library closes it
// after the session.
static void evict_locked(Row &row)
{
    tls::Session *session = row.session;

    row.session = nullptr;
    shutdown(session->socket, SHUT_RDWR);
    let_go_locked(session);
}

static bool makes_room_before(const Row &a, const Row &b)
{
    if (a.session->stage != b.session->stage)
        return a.session->stage < b.session->stage;
    return a.session->since_ms < b.session->since_ms;
}

// A row for a new session; null if all are being served.
static Row *make_room_locked()
{
    Row *last = std::end(rows);
    Row *row = std::find_if(rows, last, [](Row &r) { return !r.session; });

    if (row != last)
        return row;
    row = std::min_element(rows, last, makes_room_before);
    if (row->session->stage == tls::Stage::BUSY)
        return nullptr;
    evict_locked(*row);
    return row;
}

static Row *find_locked(int32_t handle)
{
    auto word = static_cast<uint32_t>(handle);
    Row &row = rows[word % MAX_SESSIONS];
    bool is_it = row.session && row.generation == word >> INDEX_BITS;

    return is_it ? &row : nullptr;
}

// --- Reads and writes -------------------------------------------------------

// Waits until the socket is ready for what OpenSSL wants. False if it is not
// by the deadline, or if OpenSSL wants nothing but to give up.
static bool wait_until_ready(int32_t socket, int wanted, int64_t deadline_ms)
{
    pollfd waiting = { socket, POLLIN, 0 };
    int    count;

    if (wanted == SSL_ERROR_WANT_WRITE)
        waiting.events = POLLOUT;
    else if (wanted != SSL_ERROR_WANT_READ)
        return false;
    do {
        int64_t left = deadline_ms - tls::now_ms();
        if (left <= 0)
            return false;
        count = poll(&waiting, 1,
                     static_cast<int>(std::min<int64_t>(left, INT32_MAX)));
    } while (count == 0 || (count == -1 && errno == EINTR));
    return count == 1;
}

// Repeats one call of OpenSSL until it comes to an end: its result, 0 if the
// peer has closed, -1 on failure, which the session does not outlive.
template <typename Call>
static int32_t complete(tls::Session &session, int64_t deadline_ms, Call call)
{
    while (!session.has_failed) {
        // What other calls have left in the thread's queue would be taken for
        // the result of this one.
        ERR_clear_error();
        int result = call(session.ssl);
        if (result > 0)
            return result;

        int wanted = SSL_get_error(session.ssl, result);
        if (wanted == SSL_ERROR_ZERO_RETURN)
            return 0;
        session.has_failed =
            !wait_until_ready(session.socket, wanted, deadline_ms);
    }
    return -1;
}

static bool establish(tls::Session &session)
{
    if (session.is_established)
        return true;
    // The time counts from the connection on, however late its thread starts.
    if (complete(session, session.since_ms + handshake_time_ms, SSL_accept) <
        1) {
        const char *reason = ERR_reason_error_string(ERR_peek_error());
        session.has_failed = true;
        upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "tls::use_session",
                      "no handshake: %s", reason ? reason : "peer has stalled");
        return false;
    }
    session.is_established = true;
    return true;
}

// --- Exported ---------------------------------------------------------------

int64_t tls::now_ms()
{
    using namespace std::chrono;

    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch())
        .count();
}

void tls::set_deadlines(int32_t handshake_ms, int32_t idle_ms)
{
    if (handshake_ms > 0)
        handshake_time_ms = handshake_ms;
    if (idle_ms > 0)
        idle_time_ms = idle_ms;
}

bool tls::open_table(SSL_CTX *new_context)
{
    std::scoped_lock guard(table_lock);

    if (context)
        return false;
    socket_method = new_socket_method();
    if (!socket_method)
        return false;
    context = new_context;
    return true;
}

void tls::close_table()
{
    SSL_CTX    *old_context;
    BIO_METHOD *old_method;

    {
        std::scoped_lock guard(table_lock);

        old_context = context;
        old_method = socket_method;
        context = nullptr;
        socket_method = nullptr;
        for (Row &row : rows) {
            if (row.session)
                evict_locked(row);
        }
    }
    while (int32_t count = live_sessions)
        live_sessions.wait(count);
    SSL_CTX_free(old_context);
    BIO_meth_free(old_method);
}

int32_t tls::open_session(int32_t socket)
{
    std::scoped_lock guard(table_lock);
    int              on = 1;

    Row *row = context ? make_room_locked() : nullptr;
    if (!row)
        return -1;
    row->session = new_session_locked(socket);
    if (!row->session)
        return -1;

    // Head and body are sent one after the other: none waits for an answer.
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    row->generation = row->generation % MAX_GENERATION + 1;
    return static_cast<int32_t>(row->generation << INDEX_BITS |
                                static_cast<uint32_t>(row - rows));
}

void tls::close_session(int32_t handle)
{
    Session *session = nullptr;

    {
        std::scoped_lock guard(table_lock);

        Row *row = find_locked(handle);
        if (!row)
            return;
        session = row->session;
        row->session = nullptr;
    }
    if (session->is_established && !session->has_failed) {
        ERR_clear_error();
        SSL_shutdown(session->ssl);
    }
    let_go(session);
}

tls::SessionHold tls::use_session(int32_t handle)
{
    SessionHold session(nullptr, let_go);

    {
        std::scoped_lock guard(table_lock);

        if (Row *row = find_locked(handle)) {
            session.reset(row->session);
            ++session->references;
        }
    }
    if (session && !establish(*session))
        session.reset();
    return session;
}

void tls::enter_stage(Session &session, Stage stage)
{
    std::scoped_lock guard(table_lock);

    session.stage = stage;
    session.since_ms = now_ms();
}

int32_t tls::read_some(Session &session, void *buffer, int32_t size,
                       int64_t deadline_ms)
{
    return complete(session, deadline_ms,
                    [=](SSL *ssl) { return SSL_read(ssl, buffer, size); });
}

bool tls::write_all(Session &session, const void *data, int64_t length)
{
    auto *bytes = static_cast<const char *>(data);

    while (length > 0) {
        int     step = static_cast<int>(std::min(length, RECORD_BYTES));
        int32_t count = complete(session, idle_deadline(), [=](SSL *ssl) {
            return SSL_write(ssl, bytes, step);
        });
        if (count < 1)
            return false;
        bytes += count;
        length -= count;
    }
    return true;
}

int64_t tls::idle_deadline()
{
    return now_ms() + idle_time_ms;
}
