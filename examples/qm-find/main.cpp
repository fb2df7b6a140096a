// main.cpp - looks for devices on all networks and prints each as it appears.

#include "clientdb/upnp_client_table.h"
#include "config/upnp_ini_file.h"
#include "qm-find/found_devices.h"
#include "runtime/upnp_exit.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_server.h"
#include "ssdp/upnp_ssdp.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

static constexpr int BAD_USAGE = 2;

static constexpr char usage[] = "usage: qm-find [-t SECONDS] [--watch]\n";

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

// Critical messages are failures: the library alone would end with success.
static int32_t exit_with_failure(int32_t)
{
    exit(EXIT_FAILURE);
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
    const char *end = text ? text + strlen(text) : nullptr;
    auto        result = std::from_chars(text, end, seconds);

    return text && result.ec == std::errc() && result.ptr == end && seconds > 0;
}

static bool read_command_line(char **arguments, Options &options)
{
    for (++arguments; *arguments; ++arguments) {
        if (strcmp(*arguments, "--watch") == 0)
            options.watches = true;
        else if (strcmp(*arguments, "-t") != 0 ||
                 !read_seconds(*++arguments, options.seconds))
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
    find::print_devices();
}

// Waits for a signal, or for the time to be over.
static void wait_for_end(const sigset_t &signals, const Options &options)
{
    timespec time = { options.seconds, 0 };

    while (sigtimedwait(&signals, nullptr, options.watches ? nullptr : &time) ==
               -1 &&
           errno == EINTR) {}
}

static void search_until(const sigset_t &signals, const Options &options)
{
    uint32_t state = UPNP_SERVER_STOPPED;
    int64_t  used_before = upnp_mem_used();

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
}

int main(int, char **argv)
{
    sigset_t signals = block_signals();
    Options  options;
    int64_t  used_at_start;
    int      result = BAD_USAGE;

    upnp_mem_init();
    used_at_start = upnp_mem_used();
    register_upnp_exit_function(exit_with_failure);
    upnp_ini_file_init();

    if (read_command_line(argv, options)) {
        search_until(signals, options);
        result = EXIT_SUCCESS;
    } else {
        fputs(usage, stderr);
    }

    upnp_ini_file_release();
    if (upnp_mem_used() != used_at_start) {
        fprintf(stderr, "qm-find: %" PRId64 " bytes were not given back\n",
                upnp_mem_used() - used_at_start);
        result = EXIT_FAILURE;
    }
    upnp_mem_exit();
    return result;
}
