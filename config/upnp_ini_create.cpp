// upnp_ini_create.cpp - the rows of the property table, the library's own
// first.

#include "config/upnp_ini_table.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

namespace {
struct LibraryRow {
    uint32_t    key;
    const char *name;
    const char *default_value;  // null for none
    const char *comment;
    int32_t     hidden;
    int32_t     needs_restart;
};
}

// The INI file keeps this order. No row is a list, and none is disabled.
// clang-format off
static constexpr LibraryRow library_rows[] = {
    { INI_FRIENDLYNAME, "friendlyname", nullptr,
      "Visible name in the network", 0, 1 },
    { INI_IP, "ip", nullptr,
      "IP address to listen to (default: all networks)", 0, 1 },
    { INI_NICRESTART, "nicrestart", "1",
      "Watch changes in machine's network conf (1: yes, 0: no)", 0, 0 },
    { INI_V, "v", "0",
      "Verbose level for logging", 0, 0 },
    { INI_PLATFORM, "platform", "bo_intel_ce",
      "Compile platform", 0, 0 },
    { INI_HTTPPORT, "httpport", nullptr,
      "Port of the http server", 0, 1 },
    { INI_ININAME, "ininame", "quorelmedia.ini",
      "", 1, 0 },
    { INI_INIPATH, "inipath", nullptr,
      "", 1, 0 },
    { INI_READ_ONLY, "read_only", "0",
      "Do not overwrite ini file after initial read. Default: 0", 1, 0 },
    { INI_SSDPTTL, "ssdpttl", "4",
      "TTL for SSDP packets. Default: 4", 0, 1 },
    { INI_APPDATA, "appdata", nullptr,
      "Directory under which all application data, "
      "like ini file and database will be stored", 1, 1 },
    { INI_CLEARCLIENTSONRESTART, "clearclientsonrestart", "0",
      "clear detected clients table on each restart", 0, 0 },
    { INI_DISABLELOCALSSDP, "disablelocalssdp", "1",
      "disable SSDP on localhost", 0, 0 },
    { INI_ENABLETLS, "enabletls", "1",
      "enable https remote connections", 0, 1 },
    { INI_NMCMODE, "nmcmode", "1",
      "NMC mode (0:disable, 1:stationary, 2:mobiledirect, "
      "3:mobileremote, 4:standalone)", 0, 1 },
    { INI_VLEVEL, "vlevel", "4",
      "Log level (0:debug, 1:trace, 2:info, 3:warning, "
      "4:error, 5:critical)", 0, 1 },
    { INI_STACK_SIZE, "stack_size", "196608",
      "Stack size in bytes per thread on Linux. Default: 196608", 0, 0 },
    { INI_LANGUAGE, "language", "en",
      "2 letter language setting (en,de,...)", 0, 1 },
};
// clang-format on

static bool is_copy_missing(const char *copy, const char *text)
{
    return text && !copy;
}

static int32_t append_locked(IniProperty *row, const char *name,
                             const char *default_value, const char *comment)
{
    if (ini::row_count_locked() >= ini::MAX_ROWS)
        return INI_TABLE_FULL;

    row->paramName = upnp_strdup_impl(name);
    row->defaultValue = upnp_strdup_impl(default_value);
    row->comment = upnp_strdup_impl(comment);
    if (row->paramName && !is_copy_missing(row->defaultValue, default_value) &&
        !is_copy_missing(row->comment, comment) && ini::append_row_locked(*row))
        return INI_CREATED;

    ini::drop_text(&row->paramName);
    ini::drop_text(&row->defaultValue);
    ini::drop_text(&row->comment);
    return INI_OUT_OF_MEMORY;
}

static int32_t find_conflict(uint32_t key, const char *name)
{
    if (key >= INI_KEYS || upnp_ini_file_isValidKey(key))
        return INI_KEY_EXISTS;
    return upnp_ini_file_getPropertyKey(name) == -1 ? INI_CREATED
                                                    : INI_NAME_EXISTS;
}

void ini::create_library_rows()
{
    for (const LibraryRow &row : library_rows) {
        int32_t result = upnp_ini_file_create_property(
            row.key, row.name, row.default_value, row.comment, 0, row.hidden, 0,
            row.needs_restart);
        if (result != INI_CREATED)
            upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "upnp_ini_file_init",
                          "Error in creating ini file property %s : %d",
                          row.name, result);
    }
}

int32_t upnp_ini_file_create_property(uint32_t key, const char *name,
                                      const char *defaultValue,
                                      const char *comment, int32_t isList,
                                      int32_t hidden, int32_t disabled,
                                      int32_t needsRestart)
{
    IniProperty row = {};
    int32_t     result;

    if (!name || !*name)
        return INI_NO_NAME;
    result = find_conflict(key, name);
    if (result != INI_CREATED)
        return result;
    if (!ini::lock())
        return INI_NOT_INITIALIZED;

    row.key = key;
    row.isList = isList != 0;
    row.hidden = hidden != 0;
    row.disabled = disabled != 0;
    row.needsRestart = needsRestart != 0;

    // Asked again: another thread may have taken the key or the name.
    result = find_conflict(key, name);
    if (result == INI_CREATED)
        result = append_locked(&row, name, defaultValue, comment);
    ini::unlock();
    return result;
}
