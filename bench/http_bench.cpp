// http_bench.cpp - reading a request head, building a response head, sending.

#include "config/upnp_ini_file.h"
#include "http/http.h"
#include "http/http_header.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

static constexpr std::string_view request_head =
    "GET /media/clip.mp4 HTTP/1.1\r\n"
    "Host: 192.168.1.10:9000\r\n"
    "User-Agent: DLNADOC/1.50 player/1.0\r\n"
    "Range: bytes=0-\r\n"
    "getcontentFeatures.dlna.org: 1\r\n"
    "transferMode.dlna.org: Streaming\r\n"
    "Connection: keep-alive\r\n"
    "\r\n";

namespace {

// A socket pair whose other end is read to nowhere.
struct Drain {
    Drain()
    {
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
            abort();
        reader = std::thread([this] {
            std::string block(1 << 20, '\0');
            while (read(pair[1], block.data(), block.size()) > 0) {
            }
        });
    }

    ~Drain()
    {
        shutdown(pair[0], SHUT_RDWR);
        reader.join();
        close(pair[0]);
        close(pair[1]);
    }

    int         pair[2];
    std::thread reader;
};

}

static void BM_HTTP_get_header(benchmark::State &state)
{
    static char buffer[HTTP_HEAD_SIZE];
    int         pair[2];

    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
        return state.SkipWithError("socketpair");
    for (auto _ : state) {
        if (write(pair[0], request_head.data(), request_head.size()) < 0)
            state.SkipWithError("write");
        benchmark::DoNotOptimize(
            HTTP_get_header(pair[1], buffer, sizeof(buffer)));
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(request_head.size()));
    close(pair[0]);
    close(pair[1]);
}
BENCHMARK(BM_HTTP_get_header);

static std::unique_ptr<HttpRequest> make_request(int32_t socket)
{
    auto request = std::make_unique<HttpRequest>();

    *request = {};
    request->socket = socket;
    request->method = HTTP_METHOD_GET;
    request->http_version = 11;
    request->dlna_version = 15;
    strcpy(request->url, "/media/-PNAVC_MP4-OP11-CI0-FLAGS01700000/clip.mp4");
    memcpy(request->header, request_head.data(), request_head.size());
    return request;
}

static void answer(HttpRequest &request, int64_t length)
{
    request.mime_type = "video/mp4";
    request.content_length = length;
    request.response_headers[0] = '\0';
}

// Head building alone: a socket of -1 refuses the bytes at once.
static void BM_HTTP_send_header(benchmark::State &state)
{
    auto request = make_request(-1);

    upnp_ini_file_init();
    for (auto _ : state) {
        answer(*request, 1000000);
        benchmark::DoNotOptimize(HTTP_send_header(request.get(), 200));
    }
    state.SetItemsProcessed(state.iterations());
    upnp_ini_file_release();
}
BENCHMARK(BM_HTTP_send_header);

static void BM_HTTP_send(benchmark::State &state)
{
    Drain       drain;
    auto        request = make_request(drain.pair[0]);
    int64_t     length = state.range(0);
    std::string data(static_cast<size_t>(length) + 1, 'x');

    upnp_ini_file_init();
    for (auto _ : state) {
        answer(*request, length);
        if (HTTP_send(request.get(), data.data()) != 0)
            state.SkipWithError("HTTP_send");
    }
    state.SetBytesProcessed(state.iterations() * length);
    upnp_ini_file_release();
}
BENCHMARK(BM_HTTP_send)->Arg(1 << 10)->Arg(1 << 20)->UseRealTime();
