// text_bench.cpp - searching and coding text, beside the C library's own.

#include "runtime/upnp_encode.h"
#include "runtime/upnp_mem.h"
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

static const std::string &long_text()
{
    static const std::string text = [] {
        std::string bytes;
        for (int i = 0; bytes.size() < (1 << 20); ++i)
            bytes += "/folder " + std::to_string(i) + "/name & title.mp4";
        return bytes;
    }();
    return text;
}

// One coding of a long text, which the call hands out as a new text.
template <typename Code>
static void code_text(benchmark::State &state, const char *text, Code code)
{
    for (auto _ : state) {
        char *result = code(text);
        benchmark::DoNotOptimize(result);
        upnp_free_impl(result);
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(strlen(text)));
}

static void BM_base64_encode(benchmark::State &state)
{
    code_text(state, long_text().c_str(), upnp_string_to_base64);
}
BENCHMARK(BM_base64_encode);

static void BM_base64_decode(benchmark::State &state)
{
    char *encoded = upnp_string_to_base64(long_text().c_str());

    code_text(state, encoded, upnp_string_from_base64);
    upnp_free_impl(encoded);
}
BENCHMARK(BM_base64_decode);

static void BM_url_encode(benchmark::State &state)
{
    code_text(state, long_text().c_str(), [](const char *text) {
        return upnp_string_to_encoded_url(text, 0);
    });
}
BENCHMARK(BM_url_encode);

static void BM_url_decode(benchmark::State &state)
{
    char *encoded = upnp_string_to_encoded_url(long_text().c_str(), 0);

    code_text(state, encoded, upnp_string_from_encoded_url);
    upnp_free_impl(encoded);
}
BENCHMARK(BM_url_decode);
