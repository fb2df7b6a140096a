// upnp_ini_create.cpp - the rows of the property table.

#include "config/upnp_ini_file.h"

#include "config/upnp_ini_table.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

namespace {
struct Property {
    uint32_t    key;
    const char *name;
    const char *value;  // default, null for none
    const char *comment;
    bool        hidden;
    bool        disabled;
    bool        needs_restart;
};
}

// The last number of rows to which one may be added.
static constexpr size_t MOST_ROWS_BEFORE = 286;

// In the order of the file. None is a list.
// clang-format off
static constexpr Property library_properties[] = {
    { INI_FRIENDLYNAME,  "friendlyname", nullptr,
      "Visible name in the network",                               0, 0, 1 },
    { INI_IP,            "ip", nullptr,
      "IP address to listen to (default: all networks)",           0, 0, 1 },
    { INI_NICRESTART,    "nicrestart", "1",
      "Watch changes in machine's network conf (1: yes, 0: no)",   0, 0, 0 },
    { INI_V,             "v", "0",
      "Verbose level for logging",                                 0, 0, 0 },
    { INI_PLATFORM,      "platform", "bo_intel_ce",
      "Compile platform",                                          0, 0, 0 },
    { INI_HTTPPORT,      "httpport", nullptr,
      "Port of the http server",                                   0, 0, 1 },
    { INI_ININAME,       "ininame", "quorelmedia.ini",
      "",                                                          1, 0, 0 },
    { INI_INIPATH,       "inipath", nullptr,
      "",                                                          1, 0, 0 },
    { INI_READ_ONLY,     "read_only", "0",
      "Do not overwrite ini file after initial read. Default: 0",  1, 0, 0 },
    { INI_SSDPTTL,       "ssdpttl", "4",
      "TTL for SSDP packets. Default: 4",                          0, 0, 1 },
    { INI_APPDATA,       "appdata", nullptr,
      "Directory under which all application data, like ini file and "
      "database will be stored",                                   1, 0, 1 },
    { INI_CLEARCLIENTSONRESTART, "clearclientsonrestart", "0",
      "clear detected clients table on each restart",              0, 0, 0 },
    { INI_DISABLELOCALSSDP, "disablelocalssdp", "1",
      "disable SSDP on localhost",                                 0, 0, 0 },
    { INI_ENABLETLS,     "enabletls", "1",
      "enable https remote connections",                           0, 0, 1 },
    { INI_NMCMODE,       "nmcmode", "1",
      "NMC mode (0:disable, 1:stationary, 2:mobiledirect, "
      "3:mobileremote, 4:standalone)",                             0, 0, 1 },
    { INI_VLEVEL,        "vlevel", "4",
      "Log level (0:debug, 1:trace, 2:info, 3:warning, 4:error, "
      "5:critical)",                                               0, 0, 1 },
    { INI_STACK_SIZE,    "stack_size", "196608",
      "Stack size in bytes per thread on Linux. Default: 196608",  0, 0, 0 },
    { INI_LANGUAGE,      "language", "en",
      "2 letter language setting (en,de,...)",                     0, 0, 1 },
};
// clang-format on

static char *copy_of(const char *text, bool &has_failed)
{
    char *copy = upnp_strdup_impl(text);

    has_failed = has_failed || (text && !copy);
    return copy;
}

static void free_if_set(char *text)
{
    if (text)
        upnp_free_impl(text);
}

int32_t upnp_ini_file_create_property(uint32_t key, const char *name,
                                      const char *defaultValue,
                                      const char *comment, int32_t isList,
                                      int32_t hidden, int32_t disabled,
                                      int32_t needsRestart)
{
    IniProperty row = {};
    bool        has_failed = false;

    if (!name || !*name)
        return INI_NO_NAME;
    if (key >= INI_KEYS || ini::find(key))
        return INI_KEY_EXISTS;
    if (ini::find_by_name(name))
        return INI_NAME_EXISTS;
    if (!ini::lock())
        return INI_NOT_INITIALIZED;
    if (ini::rows().size() > MOST_ROWS_BEFORE) {
        ini::unlock();
        return INI_TABLE_FULL;
    }

    row.key = key;
    row.paramName = copy_of(name, has_failed);
    row.defaultValue = copy_of(defaultValue, has_failed);
    row.comment = copy_of(comment, has_failed);
    row.isList = isList != 0;
    row.hidden = hidden != 0;
    row.disabled = disabled != 0;
    row.needsRestart = needsRestart != 0;
    if (has_failed || !ini::append_row_locked(row)) {
        has_failed = true;
        free_if_set(row.paramName);
        free_if_set(row.defaultValue);
        free_if_set(row.comment);
    }
    ini::unlock();
    return has_failed ? INI_OUT_OF_MEMORY : INI_CREATED;
}

void ini::create_library_rows()
{
    for (const Property &row : library_properties) {
        int32_t code = upnp_ini_file_create_property(
            row.key, row.name, row.value, row.comment, 0, row.hidden,
            row.disabled, row.needs_restart);
        if (code != INI_CREATED)
            upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "upnp_ini_file_init",
                          "Error in creating ini file property %s : %d",
                          row.name, code);
    }
}
