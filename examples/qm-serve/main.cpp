// main.cpp - serves the files of a folder over HTTP until a signal comes.
//
// Each property is an option: a dash, its name and a value. Two of them are
// this program's own.

#include "config/upnp_ini_file.h"
#include "qm-serve/facts_process.h"
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

static constexpr char usage[] =
    "usage: qm-serve FOLDER [-httpport PORT] [-ip ADDRESS]\n"
    "                [-upload FOLDER [-uploadlimit MIB]]\n";

// Keys of the program's own properties.
static constexpr uint32_t KEY_UPLOAD = 100;
static constexpr uint32_t KEY_UPLOAD_LIMIT = 101;

// Critical messages are failures: the library alone would end with success.
static int32_t exit_with_failure(int32_t)
{
    exit(EXIT_FAILURE);
}

// Threads inherit the mask, so the signals that end the program reach nobody
// but sigwait. A peer that goes away while a file is sent is no reason to end.
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

static void create_properties()
{
    upnp_ini_file_create_property(KEY_UPLOAD, "upload", nullptr,
                                  "Folder that takes uploads. Default: none", 0,
                                  0, 0, 1);
    upnp_ini_file_create_property(KEY_UPLOAD_LIMIT, "uploadlimit", "1024",
                                  "Largest upload in MiB, 0 for any", 0, 0, 0,
                                  1);
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

static bool register_handlers(const char *folder)
{
    const char *upload = upnp_ini_file_getString(KEY_UPLOAD);

    if (!serve::register_folder(folder)) {
        fprintf(stderr, "qm-serve: %s: %s\n", folder, strerror(errno));
        return false;
    }
    if (upload && !serve::register_upload(
                      upload, upnp_ini_file_getInt(KEY_UPLOAD_LIMIT))) {
        fprintf(stderr, "qm-serve: %s: %s\n", upload, strerror(errno));
        return false;
    }
    return true;
}

static int serve_until(const sigset_t &signals, const char *folder)
{
    int result = EXIT_FAILURE;
    int signal;

    if (register_handlers(folder)) {
        if (serve::start_listeners() && sigwait(&signals, &signal) == 0)
            result = EXIT_SUCCESS;
        serve::stop_listeners();
    }
    serve::unregister_all();
    serve::end_facts_process();
    return result;
}

int main(int argc, char **argv)
{
    if (argc == 2 && strcmp(argv[1], serve::facts_argument) == 0)
        return serve::run_facts_process();

    sigset_t    signals = block_signals();
    const char *folder;
    int64_t     used_at_start;
    int         result = BAD_USAGE;

    upnp_mem_init();
    used_at_start = upnp_mem_used();
    register_upnp_exit_function(exit_with_failure);
    upnp_ini_file_init();
    create_properties();

    folder = read_command_line(argv + 1);
    if (folder)
        result = serve_until(signals, folder);
    else
        fputs(usage, stderr);

    upnp_ini_file_release();
    if (upnp_mem_used() != used_at_start) {
        fprintf(stderr, "qm-serve: %" PRId64 " bytes were not given back\n",
                upnp_mem_used() - used_at_start);
        result = EXIT_FAILURE;
    }
    upnp_mem_exit();
    return result;
}
