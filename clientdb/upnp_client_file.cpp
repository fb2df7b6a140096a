// upnp_client_file.cpp - the client table on disk, "clients.data".
//
// A record is 13 fields in a row, without a head or a count. A field is the
// length of its value in three digits, the value, and a line feed:
// "007Example\n", or "003005\n" for the id 5. A file that was cut off gives
// the records that are whole.

#include "clientdb/client_match.h"
#include "clientdb/client_state.h"
#include "clientdb/upnp_client_query.h"
#include "clientdb/upnp_client_table.h"
#include "config/upnp_ini_file.h"
#include "files/upnp_file.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_string.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static constexpr size_t   FIELD_BYTES = 1024;
static constexpr size_t   VALUE_BYTES = 999;  // what three digits can tell
static constexpr uint32_t LENGTH_BYTES = 3;
static constexpr int      RECORDS = 100;

namespace {
// A field is a text, a number, or neither: then it tells whether the type has
// a view of its own, and is not read back.
struct Field {
    char *ClientEntry::*text;
    int32_t ClientEntry::*number;
    int                   digits;  // at least so many
};
}

// The order in the file. connected is no lasting state.
// clang-format off
static constexpr Field fields[] = {
    { &ClientEntry::friendly_name,  nullptr,                 0 },
    { &ClientEntry::mac,            nullptr,                 0 },
    { &ClientEntry::ip,             nullptr,                 0 },
    { &ClientEntry::udn,            nullptr,                 0 },
    { &ClientEntry::header1,        nullptr,                 0 },
    { &ClientEntry::header2,        nullptr,                 0 },
    { &ClientEntry::icon_url,       nullptr,                 0 },
    { &ClientEntry::icon_mime_type, nullptr,                 0 },
    { nullptr,                      &ClientEntry::id,        3 },
    { nullptr,                      &ClientEntry::enabled,   1 },
    { nullptr,                      &ClientEntry::fix_level, 3 },
    { &ClientEntry::view,           nullptr,                 0 },
    { nullptr,                      nullptr,                 1 },
};
// clang-format on

// Without the property the file stands in the root directory.
// Caller frees with upnp_string_free; null when out of memory.
static UpnpString *make_path()
{
    const char *directory = upnp_ini_file_getString(INI_APPDATA);

    return upnp_string_sprintf(nullptr, "%s%cclients.data",
                               directory ? directory : "", '/');
}

// --- Writing ----------------------------------------------------------------

// A machine that was only detected, with nothing particular about it, will be
// detected again.
static bool is_worth_keeping(const ClientEntry *entry)
{
    return entry->fix_level >= clientdb::FIXED ||
           !shared::load(clientdb::client_autoenable) ||
           (entry->view && strcmp(entry->view, g_strTreeDefaultView) != 0);
}

// A longer value is cut, so that the fields behind it are still found.
static void write_field(UpnpFile *file, const char *value)
{
    char field[FIELD_BYTES];
    int  bytes = static_cast<int>(strnlen(value, VALUE_BYTES));
    int  length =
        snprintf(field, sizeof(field), "%03d%.*s\n", bytes, bytes, value);

    upnp_file_write(file, field, static_cast<uint32_t>(length));
}

static void write_record(UpnpFile *file, const ClientEntry *entry)
{
    char number[16];

    for (const Field &field : fields) {
        if (field.text) {
            const char *text = entry->*field.text;
            write_field(file, text ? text : "");
            continue;
        }
        int32_t value = field.number
                            ? entry->*field.number
                            : upnp_client_db_supports_option(entry->id, "DV:");
        snprintf(number, sizeof(number), "%0*d", field.digits,
                 static_cast<int>(value));
        write_field(file, number);
    }
}

void client_table_write(void)
{
    UpnpString *path = nullptr;
    UpnpFile   *file = nullptr;
    int         written = 0;

    clientdb::lock();
    path = make_path();
    if (!path)
        goto out;

    upnp_file_unlink(path->buffer);
    file = upnp_file_open_write(path->buffer);
    if (!file)
        goto out;

    for (const ClientEntry *entry = g_pClients; entry && written < RECORDS;
         entry = entry->next) {
        if (!is_worth_keeping(entry))
            continue;
        write_record(file, entry);
        ++written;
    }

out:
    upnp_file_close(file);
    upnp_string_safe_free(&path);
    clientdb::unlock();
}

// --- Reading ----------------------------------------------------------------

static bool read_whole(UpnpFile *file, char *buffer, uint32_t length)
{
    return upnp_file_read(file, buffer, length) == static_cast<int32_t>(length);
}

// Reads one value into buffer. The byte behind it is dropped unseen.
static bool read_value(UpnpFile *file, char (&buffer)[FIELD_BYTES])
{
    if (!read_whole(file, buffer, LENGTH_BYTES))
        return false;
    buffer[LENGTH_BYTES] = '\0';

    long length = strtol(buffer, nullptr, 10);
    if (length < 0 ||
        !read_whole(file, buffer, static_cast<uint32_t>(length) + 1))
        return false;
    buffer[length] = '\0';
    return true;
}

// Null if the file does not hold a whole record.
static ClientEntry *read_record(UpnpFile *file)
{
    char  value[FIELD_BYTES];
    auto *entry =
        static_cast<ClientEntry *>(upnp_calloc_impl(1, sizeof(ClientEntry)));

    if (!entry)
        return nullptr;
    for (const Field &field : fields) {
        if (!read_value(file, value)) {
            client_table_free(entry);
            return nullptr;
        }
        if (!value[0])
            continue;
        if (field.text)
            entry->*field.text = upnp_strdup_impl(value);
        else if (field.number)
            entry->*field.number =
                static_cast<int32_t>(strtol(value, nullptr, 10));
    }
    return entry;
}

static void forget_clients_locked()
{
    while (ClientEntry *entry = g_pClients) {
        g_pClients = entry->next;
        client_table_free(entry);
    }
}

// Each record goes to the head, so that every restart turns the order around.
void client_table_read(void)
{
    UpnpString *path = nullptr;
    UpnpFile   *file = nullptr;

    clientdb::lock();
    forget_clients_locked();
    path = make_path();
    if (!path)
        goto out;
    file = upnp_file_open_read(path->buffer);
    if (!file)
        goto out;

    while (!upnp_file_eof(file)) {
        ClientEntry *entry = read_record(file);
        if (!entry)
            break;
        entry->next = g_pClients;
        g_pClients = entry;
    }

out:
    upnp_file_close(file);
    upnp_string_safe_free(&path);
    clientdb::unlock();
}

void reset_clients(void)
{
    exit_client_table();
    exit_client_udn_table();

    clientdb::lock();
    UpnpString *path = make_path();
    if (path)
        upnp_file_unlink(path->buffer);
    upnp_string_safe_free(&path);
    clientdb::unlock();
}

void clear_clients(void)
{
    reset_clients();
}
