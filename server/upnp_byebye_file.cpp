// upnp_byebye_file.cpp - the file that stands for a run in progress.
//
// It exists while the server runs and goes away with a clean stop. A start that
// finds it knows that the last run ended without saying byebye.

#include "server/server_rows.h"

#include "config/upnp_ini_file.h"
#include "files/upnp_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "ssdp/upnp_ssdp.h"

static char *byebye_path;  // null outside a run

static const char *byebye_name()
{
    if (upnp_ssdp_getMediaServer())
        return "qsbyebye";
    if (upnp_ssdp_getRenderer())
        return "qdbyebye";
    return "byebye";
}

static bool set_byebye_path()
{
    byebye_path = upnp_file_build_path(upnp_ini_file_getString(INI_APPDATA),
                                       byebye_name());
    if (!byebye_path)
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "setByeByeFilename",
                      "Out of memory creating byebye file");
    return byebye_path != nullptr;
}

uint32_t server::check_byebye_file()
{
    UpnpFileStat stat;

    if (byebye_path || !set_byebye_path())
        return 0;
    if (upnp_file_stat(byebye_path, &stat) == 0)
        return 1;
    upnp_file_close(upnp_file_open_write(byebye_path));
    return 0;
}

void server::remove_byebye_file()
{
    if (!byebye_path)
        return;
    upnp_file_unlink(byebye_path);
    upnp_free_impl(byebye_path);
    byebye_path = nullptr;
}
