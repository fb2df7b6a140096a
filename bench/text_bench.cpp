// text_bench.cpp - searching and coding text, beside the C library's own.

#include "runtime/upnp_string.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <string>

// A head of 8 KiB as a verbose client sends it; "Connection" comes last.
static const std::string &long_head()
{
    static const std::string head = [] {
        std::string text = "GET /media/clip.mp4 HTTP/1.1\r\n";
        for (int i = 0; text.size() < 8000; ++i)
            text += "X-Header-" + std::to_string(i) +
                    ": some value of a common length\r\n";
        return text + "Connection: keep-alive\r\n\r\n";
    }();
    return head;
}

template <typename Search>
static void search_head(benchmark::State &state, Search search)
{
    const std::string &head = long_head();

    for (auto _ : state)
        benchmark::DoNotOptimize(search(head.c_str(), "\nconnection:"));
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(head.size()));
}

static void BM_upnp_istrstr(benchmark::State &state)
{
    search_head(state, upnp_istrstr);
}
BENCHMARK(BM_upnp_istrstr);

static void BM_strcasestr(benchmark::State &state)
{
    search_head(state, [](const char *haystack, const char *needle) {
        return strcasestr(haystack, needle);
    });
}
BENCHMARK(BM_strcasestr);
