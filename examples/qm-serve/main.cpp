// main.cpp - serves the files of a folder over HTTP until a signal comes.
//
// Each property of the library is an option: a dash, its name and a value.

#include "config/upnp_ini_file.h"
#include "qm-serve/handlers.h"
#include "qm-serve/listeners.h"
#include "runtime/upnp_exit.h"
#include "runtime/upnp_mem.h"

#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr int BAD_USAGE = 2;

// Critical messages are failures: the library alone would end with success.
static int32_t exit_with_failure(int32_t)
{
    exit(EXIT_FAILURE);
}

// Threads inherit the mask, so these signals reach nobody but sigwait.
static sigset_t block_end_signals()
{
    sigset_t signals;

    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

static bool set_property(const char *option, const char *value)
{
    int32_t key =
        option[0] == '-' ? upnp_ini_file_getPropertyKey(option + 1) : -1;

    if (key == -1 || !value)
        return false;
    upnp_ini_file_setPropertyByKey(static_cast<uint32_t>(key), value);
    return true;
}

// Sets the properties and returns the folder; null for a wrong command line.
static const char *read_command_line(char **arguments)
{
    const char *folder = *arguments;

    if (!folder || folder[0] == '-')
        return nullptr;
    for (++arguments; *arguments; arguments += 2) {
        if (!set_property(arguments[0], arguments[1]))
            return nullptr;
    }
    return folder;
}

static int serve_until(const sigset_t &signals, const char *folder)
{
    int signal;

    if (!serve::register_folder(folder)) {
        fprintf(stderr, "qm-serve: %s: %s\n", folder, strerror(errno));
        return EXIT_FAILURE;
    }
    serve::start_listeners();
    sigwait(&signals, &signal);
    serve::stop_listeners();
    serve::unregister_folder();
    return EXIT_SUCCESS;
}

int main(int, char **argv)
{
    sigset_t    signals = block_end_signals();
    const char *folder;
    int64_t     used_at_start;
    int         result = BAD_USAGE;

    upnp_mem_init();
    used_at_start = upnp_mem_used();
    register_upnp_exit_function(exit_with_failure);
    upnp_ini_file_init();

    folder = read_command_line(argv + 1);
    if (folder)
        result = serve_until(signals, folder);
    else
        fprintf(stderr,
                "usage: qm-serve FOLDER [-httpport PORT] [-ip ADDRESS]\n");

    upnp_ini_file_release();
    if (upnp_mem_used() != used_at_start) {
        fprintf(stderr, "qm-serve: %" PRId64 " bytes were not given back\n",
                upnp_mem_used() - used_at_start);
        result = EXIT_FAILURE;
    }
    upnp_mem_exit();
    return result;
}
