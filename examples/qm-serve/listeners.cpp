// listeners.cpp - the library's servers, brought up and down again.

#include "qm-serve/listeners.h"

#include "http/http.h"
#include "qm-serve/remote.h"
#include "runtime/upnp_socket.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_queue.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

// A connection that asks for nothing, or takes nothing, for so long is closed.
static constexpr int32_t IDLE_MS = 60'000;

// Each connection has a thread, so their number is bounded by this.
static constexpr rlim_t MAX_DESCRIPTORS = 4096;

static constexpr int32_t STOP_STEP_MS = 10;
static constexpr int32_t STOP_STEPS = 500;

// A heartbeat needs at most a tick and an answer to see that it is to end.
static constexpr int32_t FAREWELL_STEPS = 50;

static uint32_t             state = UPNP_SERVER_STOPPED;
static std::vector<int32_t> ports;  // those that connections arrive at
static rlim_t               descriptors;
static int32_t              threads_before;  // without servers

static void limit_descriptors()
{
    rlimit limit;

    descriptors = MAX_DESCRIPTORS;
    if (getrlimit(RLIMIT_NOFILE, &limit) == -1)
        return;
    limit.rlim_cur = descriptors = std::min(limit.rlim_cur, MAX_DESCRIPTORS);
    setrlimit(RLIMIT_NOFILE, &limit);
}

// Linux hands these settings on to the accepted connections.
static void set_options(int32_t socket)
{
    int on = 1;

    setSockOptReceiveTimeout(socket, IDLE_MS);
    setSockOptSendTimeout(socket, IDLE_MS);
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

static bool is_connection(int fd)
{
    sockaddr_in local = {};
    sockaddr_in peer;
    socklen_t   local_size = sizeof(local);
    socklen_t   peer_size = sizeof(peer);

    return getsockname(fd, reinterpret_cast<sockaddr *>(&local), &local_size) ==
               0 &&
           local.sin_family == AF_INET &&
           std::count(ports.begin(), ports.end(), ntohs(local.sin_port)) > 0 &&
           getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &peer_size) ==
               0;
}

// The library keeps no list of its connections, and their threads wait for the
// peer. A socket that is shut down wakes its thread, which then closes it.
static void wake_connections()
{
    for (int fd = 0; fd < static_cast<int>(descriptors); ++fd) {
        if (is_connection(fd))
            shutdown(fd, SHUT_RDWR);
    }
}

static int32_t count_threads()
{
    DIR    *tasks = opendir("/proc/self/task");
    int32_t count = 0;

    if (!tasks)
        return 0;
    while (readdir(tasks))
        ++count;
    closedir(tasks);
    return count;
}

static bool listens_at(int fd, const char *ip, int32_t port)
{
    sockaddr_in local = {};
    socklen_t   local_size = sizeof(local);
    int         listens = 0;
    socklen_t   listens_size = sizeof(listens);
    char        local_ip[UPNP_IP_SIZE];

    return getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listens, &listens_size) ==
               0 &&
           listens &&
           getsockname(fd, reinterpret_cast<sockaddr *>(&local), &local_size) ==
               0 &&
           local.sin_family == AF_INET && ntohs(local.sin_port) == port &&
           inet_ntop(AF_INET, &local.sin_addr, local_ip, sizeof(local_ip)) &&
           strcmp(local_ip, ip) == 0;
}

// The twin of a listener for clients from outside. The library does not tell
// whether it has the port that was asked for: on another one it would take
// nobody's token.
static bool settle_remote_twin(const HttpServerEntry &server)
{
    int32_t port = serve::remote_port();
    int     fd = 0;

    if (port == 0)
        return true;
    while (fd < static_cast<int>(descriptors) &&
           !listens_at(fd, server.ip, port))
        ++fd;
    if (fd == static_cast<int>(descriptors) || server.httpPort == port) {
        fprintf(stderr, "qm-serve: %s: port %d is taken\n", server.ip, port);
        return false;
    }
    printf("https://%s:%d/%s\n", server.ip, port,
           serve::remote_entry().c_str());
    return true;
}

// At the start, and when the library has restarted on other addresses. The
// ports only grow in number: transfers on the old ones may go on. False if
// there is a listener too few.
static bool settle_listeners()
{
    bool is_complete = true;

    for (uint32_t i = 0; HttpServerEntry *server = getHTTPServerData(i); ++i) {
        if (server->ip[0] == '\0' || server->httpSocket == -1)
            continue;
        set_options(server->httpSocket);
        ports.push_back(server->httpPort);
        printf("http://%s:%d/\n", server->ip, server->httpPort);
        is_complete &= settle_remote_twin(*server);
    }
    fflush(stdout);
    return is_complete && !ports.empty();
}

bool serve::start_listeners()
{
    limit_descriptors();
    // A sanitizer starts a thread of its own beside the first one.
    std::thread([] {}).join();
    threads_before = count_threads();
    std::atomic_ref(g_server_running).store(1);
    server_set_cp_callback([] { settle_listeners(); });
    upnp_server_start(&state);
    return settle_listeners();
}

static bool has_heartbeat()
{
    for (uint32_t i = 0; HttpServerEntry *server = getHTTPServerData(i); ++i) {
        if (server->ip[0] != '\0' &&
            std::atomic_ref(server->heartbeatSocket).load() != -1)
            return true;
    }
    return false;
}

// The process must not end before its devices are taken back. A heartbeat that
// has not announced any is not waited for.
static void wait_for_farewells()
{
    for (int32_t step = 0; step < FAREWELL_STEPS && has_heartbeat(); ++step)
        Sleep(STOP_STEP_MS);
}

void serve::stop_listeners()
{
    std::atomic_ref(g_server_running).store(0);
    end_remote_sessions();
    wait_for_farewells();
    upnp_server_stop(&state);
    // Again and again: a connection may just be on its way to its thread.
    for (int32_t step = 0; step < STOP_STEPS; ++step) {
        wake_connections();
        SSDP_queue_clear();  // a search may have come behind the stop
        if (count_threads() <= threads_before)
            return;
        Sleep(STOP_STEP_MS);
    }
}
