// playlist_bench.cpp - one long playlist: what an item of it costs.
//
// Its array grows by one place for each item, and a removal or a move shifts
// all that stands between: those costs grow with the length.

#include "documents/upnp_wpl.h"
#include "runtime/upnp_mem.h"

#include <benchmark/benchmark.h>
#include <string>

static uint32_t make_playlist()
{
    uint32_t id = 0;

    upnp_wpl_init();
    upnp_wpl_create_playlist("Long", WPL_TYPE_M, WPL_SOURCE_FILE, nullptr,
                             nullptr, &id);
    return id;
}

static void add_items(uint32_t id, int64_t count)
{
    for (int64_t i = 0; i < count; ++i) {
        std::string src = "music/Artist/Album/" + std::to_string(i) + ".mp3";

        upnp_wpl_add_item(id, upnp_wpl_create_item(src.c_str()));
    }
}

static uint32_t make_long_playlist(const benchmark::State &state)
{
    uint32_t id = make_playlist();

    add_items(id, state.range(0));
    return id;
}

static UpnpString *text_of(uint32_t id)
{
    UpnpString *text = upnp_string_create(nullptr, 128);

    upnp_wpl_convert_to_xml(id, text);
    return text;
}

// Time is then given for an item.
static void count_items(benchmark::State &state)
{
    state.counters["item"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate |
                               benchmark::Counter::kInvert);
}

static void every_length(benchmark::internal::Benchmark *bench)
{
    bench->ArgName("items")->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(
        benchmark::kMillisecond);
}

static void BM_playlist_add(benchmark::State &state)
{
    for (auto _ : state) {
        uint32_t id = make_long_playlist(state);

        state.PauseTiming();
        upnp_wpl_delete_playlist(id);
        state.ResumeTiming();
    }
    count_items(state);
}
BENCHMARK(BM_playlist_add)->Apply(every_length);

static void BM_playlist_walk(benchmark::State &state)
{
    uint32_t id = make_long_playlist(state);

    for (auto _ : state) {
        void *walk = nullptr;

        for (WplItem *item = upnp_wpl_find_first_playlist_item(id, &walk); item;
             item = upnp_wpl_find_next_playlist_item(&walk))
            upnp_wpl_free_item(item);
        upnp_wpl_find_playlist_item_release(&walk);
    }
    upnp_wpl_delete_playlist(id);
    count_items(state);
}
BENCHMARK(BM_playlist_walk)->Apply(every_length);

// One move over the whole length.
static void BM_playlist_move(benchmark::State &state)
{
    uint32_t id = make_long_playlist(state);
    auto     last = static_cast<uint32_t>(state.range(0));

    for (auto _ : state)
        upnp_wpl_set_item_track(id, 0, last);
    upnp_wpl_delete_playlist(id);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_playlist_move)
    ->ArgName("items")
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMicrosecond);

// All items: the first one each time, or the last.
static void BM_playlist_remove(benchmark::State &state)
{
    bool is_from_end = state.range(1) != 0;

    for (auto _ : state) {
        state.PauseTiming();
        uint32_t id = make_long_playlist(state);
        auto     left = static_cast<uint32_t>(state.range(0));
        state.ResumeTiming();

        while (left-- > 0)
            upnp_wpl_remove_item_by_track(id, is_from_end ? left : 0);
        state.PauseTiming();
        upnp_wpl_delete_playlist(id);
        state.ResumeTiming();
    }
    count_items(state);
}
BENCHMARK(BM_playlist_remove)
    ->ArgNames({ "items", "from_end" })
    ->ArgsProduct({ { 1'000, 10'000, 100'000 }, { 0, 1 } })
    ->Unit(benchmark::kMillisecond);

static void BM_playlist_write(benchmark::State &state)
{
    uint32_t id = make_long_playlist(state);

    for (auto _ : state)
        upnp_string_free(text_of(id));
    upnp_wpl_delete_playlist(id);
    count_items(state);
}
BENCHMARK(BM_playlist_write)->Apply(every_length);

static void BM_playlist_read(benchmark::State &state)
{
    uint32_t    id = make_long_playlist(state);
    UpnpString *text = text_of(id);

    // Replaces the items of the same playlist each time.
    for (auto _ : state)
        upnp_wpl_convert_from_xml(&id, text);
    upnp_string_free(text);
    upnp_wpl_delete_playlist(id);
    count_items(state);
}
BENCHMARK(BM_playlist_read)->Apply(every_length);
