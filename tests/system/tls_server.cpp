// tls_server.cpp - what the TLS test talks to, and peers that stall.
//
// tls-server serve CERTIFICATE KEY FILE [HANDSHAKE-MS IDLE-MS]
//     prints its TLS port and serves on 127.0.0.1 until SIGTERM: FILE at
//     /resources/file, what is posted to /resources/echo. The end fails if
//     memory was lost.
// tls-server hold PORT COUNT
//     begins so many handshakes, prints "held", and prints "closed" when the
//     server has ended them all.

#include "config/upnp_ini_file.h"
#include "http/http.h"
#include "http/http_auth.h"
#include "http/http_pages.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "tls/tls_provider.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

static constexpr int STOP_STEPS = 1000;
static constexpr int STOP_STEP_MS = 10;

static std::string file;  // with one byte to spare, as HTTP_send asks for

// --- Serving ----------------------------------------------------------------

static int32_t send_bytes(HttpRequest *request, const void *data, size_t length)
{
    request->mime_type = "application/octet-stream";
    request->content_length = static_cast<int64_t>(length);
    return HTTP_send(request, data);
}

static int32_t send_whole_file(HttpRequest *request)
{
    return send_bytes(request, file.data(), file.size() - 1);
}

static int32_t echo(HttpRequest *request)
{
    if (!request->body)
        return HTTP_send_error_code(request, 400);
    return send_bytes(request, request->body,
                      static_cast<size_t>(request->content_length));
}

static int free_port()
{
    int         fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    socklen_t   size = sizeof(address);

    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        _exit(1);
    close(fd);
    return ntohs(address.sin_port);
}

static void register_handlers()
{
    static constexpr uint32_t reading = HTTP_METHOD_GET | HTTP_METHOD_HEAD;

    upnp_http_register_handler(send_whole_file, reading, "/resources/file", 0,
                               1);
    upnp_http_register_handler(echo, HTTP_METHOD_POST, "/resources/echo", 1, 1);
}

static bool start(char **arguments, int count, uint32_t *state)
{
    int port = free_port();

    upnp_ini_file_setPropertyByKey(INI_IP, "127.0.0.1");
    upnp_ini_file_setPropertyByKey(INI_ENABLETLS, "1");
    if (count > 4)
        tls::set_deadlines(atoi(arguments[3]), atoi(arguments[4]));
    if (!tls::set_up(arguments[0], arguments[1]))
        return false;
    tls::install();
    g_remote_port = port;
    server_set_remote_port(port);
    register_handlers();
    std::atomic_ref(g_server_running).store(1);
    upnp_server_start(state);
    printf("%d\n", port);
    fflush(stdout);
    return true;
}

// Connections over TLS end with their sessions; those of plain HTTP are ended
// by their peers.
static bool stop(uint32_t *state, int64_t used_before)
{
    std::atomic_ref(g_server_running).store(0);
    tls::release();
    upnp_server_stop(state);
    for (int i = 0; i < STOP_STEPS && upnp_mem_used() != used_before; ++i)
        Sleep(STOP_STEP_MS);
    return upnp_mem_used() == used_before;
}

static int serve(char **arguments, int count)
{
    uint32_t      state = UPNP_SERVER_STOPPED;
    sigset_t      signals;
    int           signal;
    std::ifstream input(arguments[2], std::ios::binary);
    bool          ended_well;

    file.resize(std::filesystem::file_size(arguments[2]) + 1);
    input.read(file.data(), static_cast<std::streamsize>(file.size() - 1));
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    upnp_mem_init();
    int64_t used_before = upnp_mem_used();
    upnp_ini_file_init();
    if (!start(arguments, count, &state))
        return 1;
    sigwait(&signals, &signal);
    http_unregister_all_handlers();
    upnp_ini_file_release();
    ended_well = stop(&state, used_before);
    if (!ended_well)
        fprintf(stderr, "%lld bytes lost\n",
                static_cast<long long>(upnp_mem_used() - used_before));
    return ended_well ? 0 : 1;
}

// --- Stalling ---------------------------------------------------------------

// The first three bytes of a record, and no more.
static int begin_handshake(int port)
{
    int         fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};

    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) !=
        0)
        _exit(1);
    send(fd, "\x16\x03\x01", 3, MSG_NOSIGNAL);
    return fd;
}

static int hold(int port, int count)
{
    rlimit              limit;
    std::vector<pollfd> peers;
    char                byte;

    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int i = 0; i < count; ++i)
        peers.push_back({ begin_handshake(port), POLLIN, 0 });
    puts("held");
    fflush(stdout);

    while (!peers.empty()) {
        poll(peers.data(), peers.size(), -1);
        std::erase_if(peers, [&](const pollfd &peer) {
            return peer.revents && recv(peer.fd, &byte, 1, 0) < 1;
        });
    }
    puts("closed");
    return 0;
}

int main(int argc, char **argv)
{
    if (argc >= 5 && strcmp(argv[1], "serve") == 0)
        return serve(argv + 2, argc - 2);
    if (argc == 4 && strcmp(argv[1], "hold") == 0)
        return hold(atoi(argv[2]), atoi(argv[3]));
    return 2;
}
