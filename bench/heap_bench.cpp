// heap_bench.cpp - the tracked heap beside the C library's, alone and under
// eight threads.

#include "runtime/upnp_mem.h"

#include <benchmark/benchmark.h>
#include <cstdlib>

static constexpr uint32_t BLOCK_BYTES = 256;

static void BM_upnp_malloc(benchmark::State &state)
{
    if (state.thread_index() == 0)
        upnp_mem_init();
    for (auto _ : state) {
        void *block = upnp_malloc_impl(BLOCK_BYTES);
        benchmark::DoNotOptimize(block);
        upnp_free_impl(block);
    }
}
BENCHMARK(BM_upnp_malloc)->Threads(1)->Threads(8);

static void BM_malloc(benchmark::State &state)
{
    for (auto _ : state) {
        void *block = malloc(BLOCK_BYTES);
        benchmark::DoNotOptimize(block);
        free(block);
    }
}
BENCHMARK(BM_malloc)->Threads(1)->Threads(8);
