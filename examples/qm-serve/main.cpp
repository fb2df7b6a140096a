// main.cpp - serves the files of a folder over HTTP, as a UPnP media server,
// until a signal comes. SIGUSR1 takes the device off the network without
// stopping it, SIGUSR2 brings it back.
//
// Each property is an option: a dash, its name and a value. It may also stand
// in the INI file, which the first start writes, with the options of that
// start. Some of them are this program's own.

#include "clientdb/upnp_client_db.h"
#include "config/upnp_app_dirs.h"
#include "config/upnp_cmdline.h"
#include "config/upnp_ini_file.h"
#include "documents/upnp_resource.h"
#include "files/upnp_file.h"
#include "qm-serve/address_watch.h"
#include "qm-serve/client_announcements.h"
#include "qm-serve/client_list.h"
#include "qm-serve/device.h"
#include "qm-serve/facts_process.h"
#include "qm-serve/handlers.h"
#include "qm-serve/listeners.h"
#include "qm-serve/playlist_store.h"
#include "qm-serve/remote.h"
#include "qm-serve/thumbnail.h"
#include "runtime/upnp_exit.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_log_file.h"
#include "runtime/upnp_mem.h"
#include "ssdp/upnp_ssdp.h"

#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

static constexpr int BAD_USAGE = 2;

static constexpr timespec ADDRESS_PERIOD = { 2, 0 };

static constexpr char usage_lines[] =
    "usage: qm-serve [FOLDER] [-httpport PORT] [-ip ADDRESS]\n"
    "                [-friendlyname NAME] [-appdata FOLDER]\n"
    "                [-upload FOLDER [-uploadlimit MIB]]\n"
    "                [-logfile PATH] [-thumbnailer COMMAND]\n"
    "                [-remoteport PORT [-user NAME -password WORD]\n"
    "                [-entrytime SECONDS] [-cert PATH -key PATH]]\n"
    "Clients that are not denied may also change settings, at /admin.\n";

// Keys of the program's own properties.
static constexpr uint32_t KEY_UPLOAD = 100;
static constexpr uint32_t KEY_UPLOAD_LIMIT = 101;
static constexpr uint32_t KEY_FOLDER = 102;
static constexpr uint32_t KEY_LOG_FILE = 103;
static constexpr uint32_t KEY_THUMBNAILER = 104;

// Critical messages are failures: the library alone would end with success.
static int32_t exit_with_failure(int32_t)
{
    exit(EXIT_FAILURE);
}

// Threads inherit the mask, so the signals reach nobody but the wait. A peer
// that goes away while a file is sent is no reason to end.
static sigset_t block_signals()
{
    sigset_t signals;

    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGUSR1);
    sigaddset(&signals, SIGUSR2);
    sigaddset(&signals, serve::ADDRESS_SIGNAL);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signals;
}

static void create_properties()
{
    upnp_ini_file_create_property(KEY_FOLDER, "folder", nullptr,
                                  "Folder that is served, if the command line "
                                  "begins with none",
                                  0, 0, 0, 1);
    upnp_ini_file_create_property(KEY_UPLOAD, "upload", nullptr,
                                  "Folder that takes uploads. Default: none", 0,
                                  0, 0, 1);
    upnp_ini_file_create_property(KEY_UPLOAD_LIMIT, "uploadlimit", "1024",
                                  "Largest upload in MiB, 0 for any", 0, 0, 0,
                                  1);
    upnp_ini_file_create_property(KEY_LOG_FILE, "logfile", nullptr,
                                  "File that takes the log. One that ends in "
                                  "-log.txt is kept small. Default: none",
                                  0, 0, 0, 1);
    upnp_ini_file_create_property(KEY_THUMBNAILER, "thumbnailer", nullptr,
                                  "Program and arguments that make a small "
                                  "JPEG picture %o of a file %i. Default: none",
                                  0, 0, 0, 1);
    serve::create_remote_properties();
}

// Kept whole, since the next start may be in another place.
static void set_folder(const char *path)
{
    char *real = realpath(path, nullptr);

    upnp_ini_file_setPropertyByKey(KEY_FOLDER, real ? real : path);
    free(real);
}

// The same for files, of which there may be nothing yet: from the folder of the
// log old parts are removed, whatever the current folder is.
static void set_file(uint32_t key)
{
    const char     *path = upnp_ini_file_getString(key);
    std::error_code error;

    if (path && *path && path[0] != '/')
        upnp_ini_file_setPropertyByKey(
            key, std::filesystem::absolute(path, error).c_str());
}

// The library creates the last level of its data folder alone.
static void write_first_ini_file()
{
    const char *data = upnp_ini_file_getString(INI_APPDATA);
    const char *path;

    if (data)
        upnp_file_ensure_path_exists(data);
    path = upnp_ini_file_get_ini_path();
    if (path && !upnp_file_exists(path))
        upnp_ini_file_write_properties();
}

// The properties, of the command line and of the INI file. False if the usage
// was asked for. A folder in front does not reach the library, which would take
// one called "help" for that.
static bool read_settings(int argc, char **argv)
{
    bool has_folder = argc > 1 && argv[1][0] != '-';

    upnp_ini_file_set_default_appname("qm-serve");
    if (has_folder) {
        set_folder(argv[1]);
        argv[1] = argv[0];
    }
    if (upnp_ini_file_parse_cmdline(argc - has_folder, argv + has_folder) != 0)
        return false;
    for (uint32_t key :
         { KEY_LOG_FILE, serve::KEY_CERTIFICATE, serve::KEY_PRIVATE_KEY })
        set_file(key);
    write_first_ini_file();
    return true;
}

// Without "v" the log takes what comes from anywhere, as "vlevel" allows.
static bool start_log()
{
    const char *path = upnp_ini_file_getString(KEY_LOG_FILE);

    if (!path)
        return true;
    if (upnp_ini_file_getInt(INI_V) == 0)
        upnp_log_set_sources(UINT32_MAX);
    return upnp_log_init(path) != 0;
}

static bool register_handlers(const char *folder)
{
    const char *thumbnailer = upnp_ini_file_getString(KEY_THUMBNAILER);
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
    if (thumbnailer && !serve::register_thumbnails(thumbnailer)) {
        fprintf(stderr, "qm-serve: %s: %s\n", thumbnailer, strerror(errno));
        return false;
    }
    return serve::open_remote() && serve::create_device();
}

// Looks at the addresses between two signals.
static void wait_for_end(const sigset_t &signals)
{
    for (;;) {
        int signal = sigtimedwait(&signals, nullptr, &ADDRESS_PERIOD);

        if (signal == SIGUSR1)
            SSDP_trigger_byebye();
        else if (signal == SIGUSR2)
            SSDP_trigger_wakeup();
        else if (signal == serve::ADDRESS_SIGNAL)
            serve::addresses_may_have_changed();
        else if (signal != -1)
            return;
        serve::check_addresses();
    }
}

static int serve_until(const sigset_t &signals, const char *folder)
{
    int result = EXIT_FAILURE;

    upnp_resource_init();
    upnp_client_db_init();
    serve::settle_stored_clients();
    serve::follow_announcements();
    if (register_handlers(folder)) {
        serve::start_address_watch();
        if (serve::start_listeners()) {
            wait_for_end(signals);
            result = EXIT_SUCCESS;
        }
        serve::end_thumbnails();
        serve::stop_listeners();
        serve::stop_address_watch();
    }
    serve::unregister_all();
    serve::end_facts_process();
    upnp_client_db_exit();
    upnp_resource_exit();
    return result;
}

int main(int argc, char **argv)
{
    if (argc == 2 && strcmp(argv[1], serve::facts_argument) == 0)
        return serve::run_facts_process();

    sigset_t signals = block_signals();
    int64_t  used_at_start;
    int      result = BAD_USAGE;

    upnp_mem_init();
    used_at_start = upnp_mem_used();
    register_upnp_exit_function(exit_with_failure);
    upnp_ini_file_init();
    create_properties();

    if (!read_settings(argc, argv)) {
        fputs(usage_lines, stdout);
        result = EXIT_SUCCESS;
    } else if (!start_log()) {
        result = EXIT_FAILURE;
    } else if (const char *folder = upnp_ini_file_getString(KEY_FOLDER)) {
        result = serve_until(signals, folder);
    } else {
        fputs(usage_lines, stderr);
    }

    upnp_ini_file_release();
    upnp_log_exit();
    // The table of playlists cannot be given back.
    used_at_start += serve::playlist_table_bytes();
    if (upnp_mem_used() != used_at_start) {
        fprintf(stderr, "qm-serve: %" PRId64 " bytes were not given back\n",
                upnp_mem_used() - used_at_start);
        result = EXIT_FAILURE;
    }
    upnp_mem_exit();
    return result;
}
