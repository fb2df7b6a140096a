// client_driver.cpp - the HTTP client's calls, one a run.
//
// Each command prints the body that it gets, and the call's result is the exit
// status: 0 for success where a call gives text, 1 for none.
//
// client-driver get URL [TIMEOUT_MS]
// client-driver post URL HEADER BODY
// client-driver upload URL HEADER FILE
// client-driver download URL FILE
// client-driver resume URL FILE
//     asks for the rest of a file by a head of its own and prints the status.
// client-driver open URL SECONDS
//     connects while a server runs, and prints the ms that it takes.

#include "config/upnp_ini_file.h"
#include "files/upnp_file.h"
#include "http/http.h"
#include "http/http_body.h"
#include "http/http_client.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_socket.h"
#include "server/upnp_server.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

using std::chrono::steady_clock;

static int print(UpnpString *text)
{
    if (text)
        fwrite(text->buffer, 1, text->length, stdout);
    upnp_string_free(text);
    return text ? 0 : 1;
}

static int get(const char *url, const char *timeout_ms)
{
    return print(timeout_ms ? HTTP_get_with_timeout(url, atoi(timeout_ms))
                            : HTTP_get(url));
}

static int post(const char *url, const std::string &header, const char *body)
{
    char    *answer = nullptr;
    uint32_t length = 0;
    int32_t  result =
        HTTP_post(url, (header + "\r\n").c_str(), body,
                  static_cast<int32_t>(strlen(body)), &answer, &length);

    if (answer) {
        fwrite(answer, 1, length, stdout);
        upnp_free_impl(answer);
    }
    return !result;
}

static int upload(const char *url, const std::string &header, const char *path)
{
    UpnpString *answer = nullptr;
    int32_t     result =
        HTTP_post_file(url, (header + "\r\n").c_str(), path, "", &answer);

    print(answer);
    return result;
}

static int resume(const char *url, const char *path)
{
    static char  head[HTTP_HEAD_SIZE];
    char         range[64];
    UpnpFileStat file;
    int32_t      socket = HTTP_open(url);
    int          result = 1;

    upnp_file_stat(path, &file);
    snprintf(range, sizeof(range), "Range: bytes=%lld-\r\n",
             static_cast<long long>(file.size));
    if (HTTP_get_request(socket, url, range) == 0 &&
        HTTP_get_header(socket, head, sizeof(head))) {
        printf("%d", HTTP_parse_header_response(head));
        result = !HTTP_receive_file(socket, head, path, 0);
    }
    upnp_close_socket(&socket);
    return result;
}

static int open_while_serving(const char *url, const char *seconds)
{
    uint32_t state = UPNP_SERVER_STOPPED;

    HTTP_set_connection_timeout(atoi(seconds));
    std::atomic_ref(g_server_running).store(1);
    upnp_server_start(&state);
    auto    start = steady_clock::now();
    int32_t socket = HTTP_open(url);
    auto    time = steady_clock::now() - start;
    printf("%d\n", static_cast<int>(time / std::chrono::milliseconds(1)));
    int result = socket == -1;
    upnp_close_socket(&socket);
    std::atomic_ref(g_server_running).store(0);
    upnp_server_stop(&state);
    return result;
}

static int run(int argc, char **argv)
{
    const char *command = argc > 2 ? argv[1] : "";
    const char *third = argc > 3 ? argv[3] : nullptr;
    auto        is = [=](const char *name, int count) {
        return strcmp(command, name) == 0 && argc == count;
    };

    if (is("get", 3) || is("get", 4))
        return get(argv[2], third);
    if (is("post", 5))
        return post(argv[2], third, argv[4]);
    if (is("upload", 5))
        return upload(argv[2], third, argv[4]);
    if (is("download", 4))
        return HTTP_download_file(argv[2], third);
    if (is("resume", 4))
        return resume(argv[2], third);
    if (is("open", 4))
        return open_while_serving(argv[2], third);
    return 2;
}

int main(int argc, char **argv)
{
    upnp_mem_init();
    upnp_ini_file_init();
    int result = run(argc, argv);
    upnp_ini_file_release();
    if (upnp_mem_used() != 0) {
        fputs("client-driver: memory was not given back\n", stderr);
        result = 3;
    }
    upnp_mem_exit();
    return result;
}
