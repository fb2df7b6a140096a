// http_accept.cpp - listeners, and the threads that accept and serve
// connections.

#include "http/http.h"

#include "http/http_tls.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "runtime/upnp_thread_once.h"
#include "server/upnp_server.h"

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <sys/socket.h>
#include <unistd.h>

static constexpr int     BIND_ATTEMPTS = 1001;
static constexpr int32_t CONNECTION_PRIORITY = 5;
static constexpr int32_t SHORTAGE_PAUSE_MS = 50;

static int32_t default_port = 9000;

// The next free port, the wanted one included; false if there is none.
static bool bind_upward(int32_t fd, const char *ip, uint32_t *port)
{
    for (int i = 0; i < BIND_ATTEMPTS; ++i, ++*port)
        if (*port <= UINT16_MAX &&
            upnp_socket_bind(fd, ip, static_cast<uint16_t>(*port)) == 0)
            return true;
    return false;
}

// Also closes descriptor 0, which upnp_close_socket would only forget: a
// process without standard input accepts on it.
static void close_peer(int32_t fd)
{
    shutdown(fd, SHUT_RDWR);
    close(fd);
}

static void end_connection(HttpConnection *connection)
{
    if (connection->tls && cb_tls_session_close)
        cb_tls_session_close(connection->tls_session);
    close_peer(connection->socket);
    connection->socket = -1;
    http_file_filecache_free(connection->file_cache);
    upnp_free_impl(connection);
}

static bool begin_tls_session(HttpConnection *connection)
{
    if (!cb_tls_session_create)
        return false;
    connection->tls_session = cb_tls_session_create(connection->socket);
    return connection->tls_session >= 0;
}

// Hands an accepted socket to a thread of its own, or closes it.
static void start_connection(HttpServerEntry *server, int32_t fd)
{
    auto *connection = static_cast<HttpConnection *>(
        upnp_calloc_impl(1, sizeof(HttpConnection)));

    if (!connection) {
        close_peer(fd);
        return;
    }
    connection->server = server;
    connection->socket = fd;
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "HTTP_accept_Impl",
                  "entering receive module");
    connection->tls = shared::load(server->tls);
    if (connection->tls && !begin_tls_session(connection)) {
        close_peer(fd);
        upnp_free_impl(connection);
        return;
    }
    if (!thread_once::start(HTTP_receive, connection, CONNECTION_PRIORITY))
        end_connection(connection);
}

static bool is_open(HttpServerEntry *server, uint32_t generation)
{
    return shared::load(g_server_running) == 1 &&
           shared::load(server->httpSocket) != -1 &&
           shared::load(server->generation) == generation;
}

// A shortage fails every accept until something is given back: without a pause
// the loop would keep a processor busy until then.
static void pause_on_shortage()
{
    if (errno == EMFILE || errno == ENFILE || errno == ENOMEM ||
        errno == ENOBUFS)
        Sleep(SHORTAGE_PAUSE_MS);
}

void HTTP_set_default_port(int32_t port)
{
    default_port = port;
}

void HTTP_create_server_socket(int32_t *socket, uint32_t *port, const char *ip)
{
    static constexpr char function[] = "HTTP_create_server_socket";

    if (!socket || !port || !ip)
        return;
    tzset();
    *socket = upnp_socket_create_tcp();
    setSockOptReuseAddr(*socket);
    setSockOptNoSignal(*socket);
    if (*port == 0)
        *port = static_cast<uint32_t>(default_port);

    // The descriptor stays open on this path: the message ends the process.
    if (!bind_upward(*socket, ip, port)) {
        *socket = -1;
        upnp_log_impl(UPNP_LOG_CRITICAL, LOG_HTTP, function,
                      "no free port for HTTP server found on IP: %s", ip);
        return;
    }
    if (upnp_socket_listen(*socket) != 0) {
        upnp_close_socket(socket);
        *socket = -1;
        upnp_log_impl(UPNP_LOG_CRITICAL, LOG_HTTP, function,
                      "Failure on listen on HTTP server port for IP: %s", ip);
    }
}

void *HTTP_accept(void *server_entry)
{
    upnp_init_thread("HTTP_accept");
    HTTP_accept_Impl(static_cast<HttpServerEntry *>(server_entry));
    upnp_end_thread();
    return nullptr;
}

void HTTP_accept_Impl(HttpServerEntry *server)
{
    static constexpr char function[] = "HTTP_accept_Impl";

    if (!server)
        return;
    int32_t listener = shared::load(server->httpSocket);
    if (listener == 0 || listener == -1)
        return;
    uint32_t generation = shared::load(server->generation);
    http_tls::start();

    // A stop empties the row's address, so both messages use a copy.
    char    ip[UPNP_IP_SIZE];
    int32_t port = shared::load(server->httpPort);
    shared::copy_text_out(ip, server->ip, sizeof(ip));
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, function,
                  "HTTP server started at http://%s:%d/", ip, port);
    while (is_open(server, generation)) {
        int32_t fd = upnp_socket_accept(shared::load(server->httpSocket));
        if (fd == -1)
            pause_on_shortage();
        else
            start_connection(server, fd);
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, function,
                  "HTTP server terminated at http://%s:%d/", ip, port);
}

void *HTTP_receive(void *connection)
{
    upnp_init_thread("HTTP_receive");
    HTTP_receive_Impl(static_cast<HttpConnection *>(connection));
    upnp_end_thread();
    return nullptr;
}

// The socket has no receive timeout: an idle connection waits here until its
// peer sends or closes.
void HTTP_receive_Impl(HttpConnection *connection)
{
    if (!connection)
        return;
    while (shared::load(g_server_running) == 1)
        if (HTTP_send_receive(connection) != 0)
            break;
    end_connection(connection);
}
