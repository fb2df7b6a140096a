// upnp_client_mime.cpp - MIME types of a client's own: "MT:mp4,m4v video/x-a".
//
// A line names extensions, a blank and a MIME type. All lines of all types
// together make one table, so that a MIME type leads back to its extension.

#include "clientdb/client_state.h"
#include "clientdb/upnp_client_query.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <string.h>

static constexpr char line_key[] = "MT:";

char *clientdb::client_mime_types[MIME_ROWS];
char *clientdb::client_mime_extensions[MIME_ROWS];

static bool is_filled(uint32_t row)
{
    return row < clientdb::MIME_ROWS && clientdb::client_mime_types[row] &&
           clientdb::client_mime_extensions[row];
}

// Copies the leading word of text, up to a comma, a blank, a control character
// or a byte above 0x7F, and at most size - 1 bytes of it.
static void copy_word(char *word, uint32_t size, const char *text)
{
    uint32_t n = 0;

    while (n + 1 < size && static_cast<int8_t>(text[n]) > ' ' &&
           text[n] != ',') {
        word[n] = text[n];
        ++n;
    }
    word[n] = '\0';
}

void clientdb::clear_mime_table()
{
    for (uint32_t row = 0; is_filled(row); ++row) {
        upnp_free_impl(client_mime_types[row]);
        upnp_free_impl(client_mime_extensions[row]);
        client_mime_types[row] = client_mime_extensions[row] = nullptr;
    }
}

// The comma behind an extension is looked for beyond the blank as well. So a
// line with one extension takes the scan to a later line's comma, and where
// there is none the scan ends.
void clientdb::build_mime_table(const char *text)
{
    while ((text = strstr(text, line_key)) != nullptr) {
        const char *extension = text + strlen(line_key);
        const char *blank = strchr(extension, ' ');
        if (!blank)
            return;

        text = blank + 1;
        do {
            upnp_client_db_add_mime_table(extension, text);
            extension = strchr(extension, ',');
            if (!extension)
                return;
            ++extension;
        } while (extension < text);
    }
}

void upnp_client_db_add_mime_table(const char *extension_text,
                                   const char *mime_text)
{
    char     extension[10];
    char     mime_type[64];
    uint32_t row = 0;

    if (!extension_text || !mime_text)
        return;
    copy_word(extension, sizeof(extension), extension_text);
    copy_word(mime_type, sizeof(mime_type), mime_text);

    for (; is_filled(row); ++row) {
        if (strcmp(clientdb::client_mime_types[row], mime_type) == 0 &&
            strcmp(clientdb::client_mime_extensions[row], extension) == 0)
            return;
    }
    if (row == clientdb::MIME_ROWS) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_CLIENT_DB,
                      "upnp_client_db_add_mime_table", "MIME TYPE TABLE FULL!");
        return;
    }

    char *type_copy = upnp_strdup_impl(mime_type);
    char *extension_copy = type_copy ? upnp_strdup_impl(extension) : nullptr;
    if (!extension_copy) {
        if (type_copy)
            upnp_free_impl(type_copy);
        upnp_log_impl(UPNP_LOG_INFO, LOG_CLIENT_DB,
                      "upnp_client_db_add_mime_table", "Out of memory");
        return;
    }
    clientdb::client_mime_types[row] = type_copy;
    clientdb::client_mime_extensions[row] = extension_copy;
}

const char *upnp_client_db_needs_special_mime_type(int32_t     id,
                                                   const char *extension)
{
    const char *section = clientdb::section_of(id);
    const char *lines = section ? strstr(section, line_key) : nullptr;
    const char *hit = lines ? upnp_istrstr(lines, extension) : nullptr;

    // A section begins with its mark, so a byte stands in front of every hit.
    if (!hit || (hit[-1] != ',' && hit[-1] != ':'))
        return nullptr;

    const char behind = hit[strlen(extension)];
    if (behind != ',' && behind != ' ')
        return nullptr;

    const char *blank = strchr(hit, ' ');
    return blank ? upnp_client_db_get_from_mime_type_table(blank + 1) : nullptr;
}

const char *upnp_client_db_get_from_mime_type_table(const char *text)
{
    if (!text)
        return nullptr;
    for (uint32_t row = 0; is_filled(row); ++row) {
        const char *mime_type = clientdb::client_mime_types[row];
        if (strncmp(mime_type, text, strlen(mime_type)) == 0)
            return mime_type;
    }
    return nullptr;
}

const char *
upnp_client_db_special_mime_type_get_extension(const char *mime_type)
{
    if (!mime_type)
        return nullptr;
    for (uint32_t row = 0; is_filled(row); ++row) {
        if (strcmp(clientdb::client_mime_types[row], mime_type) == 0)
            return clientdb::client_mime_extensions[row];
    }
    return nullptr;
}
