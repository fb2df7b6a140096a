// listeners.cpp - one listener on each address of the machine.

#include "qm-serve/listeners.h"

#include "config/upnp_ini_file.h"
#include "http/http.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>

// A connection that asks for nothing for so long is closed.
static constexpr int32_t IDLE_MS = 60'000;

// Each connection has a thread, so their number is bounded by this.
static constexpr rlim_t MAX_DESCRIPTORS = 4096;

static constexpr int32_t ACCEPT_PRIORITY = 6;

static constexpr int32_t STOP_STEP_MS = 10;
static constexpr int32_t STOP_STEPS = 500;

static HttpServerEntry servers[UPNP_MAX_INTERFACES];
static rlim_t          descriptors;
static int64_t         used_before;  // memory account without connections

static void limit_descriptors()
{
    rlimit limit;

    descriptors = MAX_DESCRIPTORS;
    if (getrlimit(RLIMIT_NOFILE, &limit) == -1)
        return;
    limit.rlim_cur = descriptors = std::min(limit.rlim_cur, MAX_DESCRIPTORS);
    setrlimit(RLIMIT_NOFILE, &limit);
}

static void find_addresses()
{
    upnp_get_interfaces(&g_nInterfaceCount, g_IPaddress, UPNP_MAX_INTERFACES,
                        upnp_ini_file_getString(INI_IP));
    if (g_nInterfaceCount > 0)
        return;
    snprintf(g_IPaddress[0], UPNP_IP_SIZE, "127.0.0.1");
    g_nInterfaceCount = 1;
}

static void start_listener(HttpServerEntry &server, const char *ip)
{
    uint32_t port = static_cast<uint32_t>(upnp_ini_file_getInt(INI_HTTPPORT));
    int      on = 1;

    memcpy(server.ip, ip, UPNP_IP_SIZE);
    HTTP_create_server_socket(&server.httpSocket, &port, ip);
    server.httpPort = static_cast<int32_t>(port);

    // Linux hands both settings on to the accepted connections.
    setSockOptReceiveTimeout(server.httpSocket, IDLE_MS);
    setsockopt(server.httpSocket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));

    if (!upnp_start_thread(HTTP_accept, &server, ACCEPT_PRIORITY)) {
        fprintf(stderr, "qm-serve: no thread for %s\n", server.ip);
        return;
    }
    printf("http://%s:%d/\n", server.ip, server.httpPort);
}

static bool is_own_port(in_port_t port)
{
    return std::any_of(servers, servers + g_nInterfaceCount,
                       [port](const HttpServerEntry &server) {
                           return server.httpPort == ntohs(port);
                       });
}

static bool is_connection(int fd)
{
    sockaddr_in local = {};
    sockaddr_in peer;
    socklen_t   local_size = sizeof(local);
    socklen_t   peer_size = sizeof(peer);

    return getsockname(fd, reinterpret_cast<sockaddr *>(&local), &local_size) ==
               0 &&
           local.sin_family == AF_INET && is_own_port(local.sin_port) &&
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

void serve::start_listeners()
{
    limit_descriptors();
    find_addresses();
    used_before = upnp_mem_used();
    std::atomic_ref(g_server_running).store(1);
    for (int32_t i = 0; i < g_nInterfaceCount; ++i)
        start_listener(servers[i], g_IPaddress[i]);
    fflush(stdout);
}

void serve::stop_listeners()
{
    std::atomic_ref(g_server_running).store(0);
    for (int32_t i = 0; i < g_nInterfaceCount; ++i) {
        int32_t socket = std::atomic_ref(servers[i].httpSocket).exchange(-1);

        std::atomic_ref(servers[i].generation).fetch_add(1);
        upnp_close_socket(&socket);
    }
    // Again and again: a connection may just be on its way to its thread.
    for (int32_t step = 0; step < STOP_STEPS; ++step) {
        wake_connections();
        if (upnp_mem_used() == used_before)
            return;
        Sleep(STOP_STEP_MS);
    }
}
