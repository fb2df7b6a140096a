// clients_data_fuzz.cpp - any bytes as clients.data: read, shown, written.

#include "clientdb/upnp_client_admin.h"
#include "clientdb/upnp_client_table.h"
#include "config/upnp_ini_file.h"
#include "fuzz/fuzz.h"
#include "runtime/upnp_mem.h"

#include <algorithm>

using fuzz::require;

// Holds the longest value, and never more machines than the writer takes.
static constexpr size_t MOST_BYTES = 1536;

static bool start()
{
    upnp_ini_file_init();
    upnp_ini_file_setPropertyByKey(INI_APPDATA, "/memory");
    // All machines are worth keeping then.
    return upnp_client_db_set_autoenable(0) == 0;
}

// Each restart turns the order of the machines around.
static void restart()
{
    client_table_write();
    client_table_read();
}

static std::string list()
{
    UpnpString *machines = upnp_get_connected_client_list();
    std::string text = machines ? machines->buffer : "";

    upnp_string_free(machines);
    return text;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool is_started = start();
    fuzz::Text        text = fuzz::stretch(data, size);
    int64_t           used = upnp_mem_used();

    require(is_started);
    disk::store(text.bytes.get(), std::min(text.size, MOST_BYTES));
    client_table_read();
    std::string machines = list();
    restart();
    restart();
    require(list() == machines);
    exit_client_table();
    require(upnp_mem_used() == used);
    return 0;
}
