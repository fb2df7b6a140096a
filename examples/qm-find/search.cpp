// search.cpp - the command that looks for devices on all networks and prints
// each as it appears.

#include "qm-find/commands.h"

#include "clientdb/upnp_client_table.h"
#include "qm-find/found_devices.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "ssdp/upnp_ssdp.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

using namespace find;

// Packets get lost, so each search is repeated; --watch goes on with it.
static constexpr int32_t FIRST_INTERVAL_S = 1;
static constexpr int32_t WATCH_INTERVAL_S = 30;

static constexpr int32_t STOP_STEP_MS = 10;
static constexpr int32_t STOP_STEPS = 500;

namespace {
struct Options {
    int32_t seconds = 5;
    bool    watches = false;
};
}

// Threads inherit the mask, so the signals reach nobody but the wait.
static sigset_t block_signals()
{
    sigset_t signals;

    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signals;
}

static bool read_seconds(const char *text, int32_t &seconds)
{
    const char *end = text + strlen(text);
    auto        result = std::from_chars(text, end, seconds);

    return result.ec == std::errc() && result.ptr == end && seconds > 0;
}

static bool read_options(Arguments arguments, Options &options)
{
    for (size_t i = 0; i < arguments.size(); ++i) {
        if (strcmp(arguments[i], "--watch") == 0)
            options.watches = true;
        else if (strcmp(arguments[i], "-t") != 0 || ++i == arguments.size() ||
                 !read_seconds(arguments[i], options.seconds))
            return false;
    }
    return true;
}

static void prepare_search(const Options &options)
{
    upnp_ssdp_isControlPoint(1);
    upnp_ssdp_enable_search_remoteui_server(1);
    upnp_ssdp_enable_search_remoteui_client(1);
    upnp_ssdp_enable_search_igd(1);
    upnp_ssdp_set_enable_quick_msearches(1);
    upnp_ssdp_set_msearch_initial_interval(FIRST_INTERVAL_S);
    if (options.watches)
        upnp_ssdp_set_msearch_interval(WATCH_INTERVAL_S);
    print_devices();
}

// Waits for a signal, or for the time to be over.
static void wait_for_end(const sigset_t &signals, const Options &options)
{
    timespec time = { options.seconds, 0 };

    while (sigtimedwait(&signals, nullptr, options.watches ? nullptr : &time) ==
               -1 &&
           errno == EINTR) {}
}

int find::search(Arguments arguments)
{
    Options  options;
    uint32_t state = UPNP_SERVER_STOPPED;
    int64_t  used_before = upnp_mem_used();

    if (!read_options(arguments, options))
        return BAD_USAGE;
    sigset_t signals = block_signals();
    prepare_search(options);
    std::atomic_ref(g_server_running).store(1);
    upnp_server_start(&state);
    wait_for_end(signals, options);

    std::atomic_ref(g_server_running).store(0);
    upnp_server_stop(&state);
    // The threads end by themselves, within a step of their own. The library
    // keeps note of whoever asked this program for a page.
    for (int32_t i = 0; i < STOP_STEPS && upnp_mem_used() != used_before; ++i) {
        exit_client_table();
        Sleep(STOP_STEP_MS);
    }
    return EXIT_SUCCESS;
}
