// serve_driver.cpp - the peers that curl cannot be.
//
// serve-driver load PORT PATH FILE CONNECTIONS REQUESTS
//     gets PATH on so many connections at once, so often on each of them, and
//     compares each body with FILE.
// serve-driver raw PORT <request >response
//     sends its input as it is, half-closes and prints what comes back.

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

[[noreturn]] static void fail(const char *what)
{
    perror(what);
    _exit(1);
}

static std::string contents(const char *path)
{
    std::ifstream file(path, std::ios::binary);

    return { std::istreambuf_iterator<char>(file), {} };
}

static int connect_to(int port)
{
    int         fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};

    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) !=
        0)
        fail("connect");
    return fd;
}

static void send_all(int fd, const std::string &text)
{
    size_t sent = 0;

    while (sent < text.size()) {
        ssize_t count =
            send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count < 1)
            fail("send");
        sent += static_cast<size_t>(count);
    }
}

// Appends what comes next; false at the end.
static bool receive_more(int fd, std::string &text)
{
    char    block[16384];
    ssize_t count = recv(fd, block, sizeof(block), 0);

    if (count > 0)
        text.append(block, static_cast<size_t>(count));
    return count > 0;
}

static void run_connection(int port, const std::string &request,
                           const std::string &body, int requests)
{
    int fd = connect_to(port);

    for (int i = 0; i < requests; ++i) {
        std::string response;
        size_t      end = response.npos;

        send_all(fd, request);
        while (end == response.npos ||
               response.size() < end + 4 + body.size()) {
            if (!receive_more(fd, response))
                fail("receive");
            end = response.find("\r\n\r\n");
        }
        if (!response.starts_with("HTTP/1.1 200 OK\r\n") ||
            response.substr(end + 4) != body)
            fail("other response than expected");
    }
    close(fd);
}

static void load(char **arguments)
{
    int         port = atoi(arguments[0]);
    std::string request = std::string("GET ") + arguments[1] +
                          " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    std::string body = contents(arguments[2]);
    int         connections = atoi(arguments[3]);
    int         requests = atoi(arguments[4]);

    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(connections));
    for (int i = 0; i < connections; ++i)
        threads.emplace_back(
            [&] { run_connection(port, request, body, requests); });
    for (std::thread &thread : threads)
        thread.join();
}

static void raw(char **arguments)
{
    int         fd = connect_to(atoi(arguments[0]));
    std::string response;

    send_all(fd, contents("/dev/stdin"));
    shutdown(fd, SHUT_WR);
    while (receive_more(fd, response)) {}
    fwrite(response.data(), 1, response.size(), stdout);
}

int main(int argc, char **argv)
{
    if (argc == 7 && strcmp(argv[1], "load") == 0)
        load(argv + 2);
    else if (argc == 3 && strcmp(argv[1], "raw") == 0)
        raw(argv + 2);
    else
        return 2;
    return 0;
}
