// http_bench.cpp - reading a request head from a socket.

#include "http/http.h"

#include <benchmark/benchmark.h>
#include <string_view>
#include <sys/socket.h>
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
