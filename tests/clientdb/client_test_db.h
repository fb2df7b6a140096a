// client_test_db.h - a client database made from a text, for one test.
#ifndef TESTS_CLIENTDB_CLIENT_TEST_DB_H
#define TESTS_CLIENTDB_CLIENT_TEST_DB_H

#include "clientdb/upnp_client_db.h"
#include "config/upnp_ini_file.h"
#include "documents/upnp_resource.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "server/upnp_server.h"
#include "support/take.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

inline std::string text_of(const char *text)
{
    return text ? text : "-";
}

// The bytes of a file; "-" if there is none.
inline std::string read_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "-";
}

// Serves text as the resource "clients.db", keeps clients.data in a directory
// of its own, and counts as a running server. An empty text is no resource.
struct ClientTestDb {
    explicit ClientTestDb(const std::string &text)
    {
        char pattern[] = "/tmp/qm-clients-XXXXXX";
        directory = mkdtemp(pattern);
        upnp_ini_file_init();
        upnp_ini_file_setPropertyByKey(INI_APPDATA, directory.c_str());
        shared::store(g_server_running, 1);
        register_upnp_resource_get_function(get);
        reload(text);
    }

    ~ClientTestDb()
    {
        upnp_client_db_exit();
        upnp_client_db_set_defaultview("");
        register_upnp_resource_get_function(nullptr);
        shared::store(g_server_running, 0);
        upnp_ini_file_release();
        std::filesystem::remove_all(directory);
    }

    void reload(const std::string &text)
    {
        content = text;
        upnp_client_db_init();
    }

    static int32_t get(char *, uint32_t *size, void **data)
    {
        *size = static_cast<uint32_t>(content.size());
        *data = content.empty() ? nullptr : upnp_malloc_impl(*size);
        if (*data)
            memcpy(*data, content.data(), *size);
        return *data != nullptr;
    }

    static inline std::string content;
    std::string               directory;
};

// The clients.data of a test.
inline std::string read_file(const ClientTestDb &db)
{
    return read_file(db.directory + "/clients.data");
}

#endif
