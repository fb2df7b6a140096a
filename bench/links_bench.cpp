// links_bench.cpp - a session's token in the links of long documents.

#include "http/http_links.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>

// A row of a page, with two links, or of a feed, with two URLs in it.
static constexpr char page_row[] =
    "<tr><td><a href=\"/media/Artist/Album/song.mp3\"><img "
    "src=\"/thumb/1.jpg?size=160\"></a></td><td>Song</td></tr>\n";
static constexpr char feed_row[] =
    "<item><guid>/item/1</guid><link>/media/song.mp3?a=b</link></item>\n";

static void rewrite(benchmark::State &state, const char *row)
{
    static HttpRequest request;

    std::string text;
    while (text.size() < static_cast<size_t>(state.range(0)) << 20)
        text += row;
    snprintf(request.session_param, sizeof(request.session_param),
             "RAMSessionID=%064d", 1);
    for (auto _ : state) {
        state.PauseTiming();
        UpnpString *document = upnp_string_create(text.c_str(), 0);
        state.ResumeTiming();
        document = http_post_process_for_remote_access(&request, document);
        state.PauseTiming();
        upnp_string_free(document);
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(text.size()));
}

static void BM_links_of_a_page(benchmark::State &state)
{
    rewrite(state, page_row);
}

static void BM_links_of_a_feed(benchmark::State &state)
{
    rewrite(state, feed_row);
}

// Each start is the end of the one before.
static void BM_links_side_by_side(benchmark::State &state)
{
    rewrite(state, "href=\"");
}

static void every_size(benchmark::internal::Benchmark *bench)
{
    bench->ArgName("MiB")->Arg(1)->Arg(4)->Arg(10)->Unit(
        benchmark::kMillisecond);
}

BENCHMARK(BM_links_of_a_page)->Apply(every_size);
BENCHMARK(BM_links_of_a_feed)->Apply(every_size);
BENCHMARK(BM_links_side_by_side)->Apply(every_size);
