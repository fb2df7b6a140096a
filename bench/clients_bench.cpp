// clients_bench.cpp - who sends a request, and what that client needs, with the
// client types that are shipped.

#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_query.h"
#include "clientdb/upnp_client_table.h"
#include "config/upnp_ini_file.h"
#include "documents/upnp_resource.h"
#include "runtime/upnp_mem.h"
#include "server/upnp_server.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

static constexpr char base_url[] = "http://192.168.1.10:9000/";

// As a type of the fix level sends it: one that may change, and a settled one.
static constexpr const char *heads[] = {
    "GET /media/clip.mp4 HTTP/1.1\r\n"
    "Host: 192.168.1.10:9000\r\n"
    "User-Agent: DLNADOC/1.50\r\n"
    "Range: bytes=0-\r\n"
    "getcontentFeatures.dlna.org: 1\r\n"
    "Connection: keep-alive\r\n"
    "\r\n",
    "GET /media/clip.mp4 HTTP/1.1\r\n"
    "Host: 192.168.1.10:9000\r\n"
    "User-Agent: PLAYSTATION 3\r\n"
    "X-AV-Client-Info: av=5.0; cn=\"Sony Computer Entertainment Inc.\"; "
    "mn=\"PLAYSTATION 3\"; mv=\"1.0\"\r\n"
    "Connection: keep-alive\r\n"
    "\r\n",
};

// As many machines as a household has; the last of the table is asked for.
static constexpr int MACHINES = 20;

static int32_t get_types(char *, uint32_t *size, void **data)
{
    std::ifstream file(QM_RESOURCES "/clients.db", std::ios::binary);
    std::string   text(std::istreambuf_iterator<char>(file), {});

    *size = static_cast<uint32_t>(text.size());
    *data = text.empty() ? nullptr : upnp_malloc_impl(*size);
    if (*data)
        memcpy(*data, text.data(), text.size());
    return *data != nullptr;
}

namespace {

// The database, with files in a directory of its own.
struct Clients {
    Clients()
    {
        upnp_mem_init();
        directory = std::filesystem::temp_directory_path() / "qm-bench-XXXXXX";
        if (!mkdtemp(directory.data()))
            abort();
        upnp_ini_file_init();
        upnp_ini_file_setPropertyByKey(INI_APPDATA, directory.c_str());
        std::atomic_ref(g_server_running).store(1);
        register_upnp_resource_get_function(get_types);
        upnp_client_db_init();
    }

    ~Clients()
    {
        upnp_client_db_exit();
        register_upnp_resource_get_function(nullptr);
        std::atomic_ref(g_server_running).store(0);
        upnp_ini_file_release();
        std::filesystem::remove_all(directory);
    }

    std::string directory;
};

}

static void BM_client_identify(benchmark::State &state)
{
    Clients     clients;
    const char *head = heads[state.range(0)];
    int32_t     id = 0, fix_level = -1;

    upnp_client_db_check_header(head, &id, &fix_level, nullptr, nullptr,
                                nullptr);
    if (fix_level != state.range(0))
        return state.SkipWithError("no such type");
    for (int i = 0; i < MACHINES; ++i) {
        ClientEntry *entry = upnp_client_db_add_new_client();
        entry->ip =
            upnp_strdup_impl(("192.168.1." + std::to_string(100 + i)).c_str());
        entry->id = id;
        entry->fix_level = fix_level;
        entry->connected = 1;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(
            upnp_client_db_add_by_ip(base_url, "192.168.1.100", head));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_client_identify)->ArgName("fix_level")->Arg(0)->Arg(1);

// The loopback has no MAC: the first request waits for the lookup.
static void BM_client_without_mac_first(benchmark::State &state)
{
    Clients clients;

    for (auto _ : state)
        benchmark::DoNotOptimize(
            upnp_client_db_add_by_ip(base_url, "127.0.0.1", heads[0]));
}
BENCHMARK(BM_client_without_mac_first)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

static void BM_client_without_mac_again(benchmark::State &state)
{
    Clients clients;

    upnp_client_db_add_by_ip(base_url, "127.0.0.1", heads[0]);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            upnp_client_db_add_by_ip(base_url, "127.0.0.1", heads[0]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_client_without_mac_again)->UseRealTime();

// Every type in turn is asked.
template <typename Query>
static void query_types(benchmark::State &state, Query query)
{
    Clients clients;
    int32_t id = 0;

    for (auto _ : state) {
        query(id);
        id = id < UPNP_CLIENT_TYPES - 1 ? id + 1 : 0;
    }
    state.SetItemsProcessed(state.iterations());
}

static void BM_client_query_flag(benchmark::State &state)
{
    query_types(state, [](int32_t id) {
        benchmark::DoNotOptimize(upnp_client_db_needs_duration(id));
    });
}
BENCHMARK(BM_client_query_flag);

static void BM_client_query_mime_type(benchmark::State &state)
{
    query_types(state, [](int32_t id) {
        benchmark::DoNotOptimize(
            upnp_client_db_needs_special_mime_type(id, "avi"));
    });
}
BENCHMARK(BM_client_query_mime_type);
