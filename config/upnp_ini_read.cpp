// upnp_ini_read.cpp - takes values from the INI file.

#include "config/upnp_ini_table.h"
#include "files/upnp_file.h"
#include "runtime/upnp_charset.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <atomic>
#include <string.h>

// A mark, and a character that may lack its second byte, ends here.
static constexpr uint32_t ZEROS_BEHIND = 3;

static constexpr char     utf16_mark[] = { '\xFF', '\xFE' };
static constexpr uint32_t MARK_BYTES = sizeof(utf16_mark);

// Once a file was UTF-16, all later ones are taken as such and written so.
static std::atomic<bool> seen_utf16;

static void apply(const char *name, const char *value)
{
    ini::set_by_name(name, value, false, false);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_ini_file_read_properties",
                  "%s = %s", name, value);
}

// Blanks belong to name and value. Any control byte ends a line, and what the
// end of the text cuts off does not count. A line "=text" has its text both as
// name and as value.
static void apply_lines(char *text)
{
    char *name = nullptr;
    char *value = nullptr;

    for (char *at = text; *at; ++at) {
        if (static_cast<unsigned char>(*at) < ' ') {
            *at = '\0';
            if (name && value && *name != '#')
                apply(name, value);
            name = nullptr;
            value = nullptr;
        } else if (*at == '=') {
            if (!value) {
                *at = '\0';
                value = at + 1;
            }
        } else if (!name) {
            name = at;
        }
    }
}

// The whole file with zeros behind it, or null for a file that is missing,
// too short or too long. A failed read leaves zeros.
static char *read_whole(const char *path)
{
    UpnpFileStat stat;
    UpnpFile    *file;
    char        *bytes;
    uint32_t     size;

    if (upnp_file_stat(path, &stat) == -1 || stat.size < MARK_BYTES ||
        stat.size > UINT32_MAX - ZEROS_BEHIND)
        return nullptr;

    size = static_cast<uint32_t>(stat.size);
    bytes = static_cast<char *>(upnp_calloc_impl(1, size + ZEROS_BEHIND));
    if (!bytes)
        return nullptr;
    file = upnp_file_open_read(path);
    if (!file) {
        upnp_free_impl(bytes);
        return nullptr;
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_ini_file_read_properties",
                  "reading ini settings from %s", path);
    upnp_file_read(file, bytes, size);
    upnp_file_close(file);
    return bytes;
}

bool ini::is_utf16()
{
    return seen_utf16;
}

void upnp_ini_file_read_properties(void)
{
    char *path = ini::copy_path();
    char *bytes = path ? read_whole(path) : nullptr;
    char *converted = nullptr;

    if (!bytes)
        goto out;

    if (memcmp(bytes, utf16_mark, MARK_BYTES) == 0)
        seen_utf16 = true;
    if (seen_utf16)
        converted = upnp_string_utf16_to_utf8(bytes + MARK_BYTES);
    if (char *text = seen_utf16 ? converted : bytes)
        apply_lines(text);

out:
    ini::drop_text(&converted);
    ini::drop_text(&bytes);
    ini::drop_text(&path);
}
