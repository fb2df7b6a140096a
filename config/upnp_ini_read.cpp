// upnp_ini_read.cpp - takes properties from the INI file.

#include "config/upnp_ini_file.h"

#include "config/upnp_ini_table.h"

#include "files/upnp_file.h"
#include "runtime/upnp_charset.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <string.h>

static constexpr char read_name[] = "upnp_ini_file_read_properties";

// Two end a text of UTF-16, and one more where its last unit is cut in half.
static constexpr uint32_t END_BYTES = 3;

// A file of less than two bytes holds nothing.
static constexpr int64_t FEWEST_BYTES = 2;

// The file's bytes with zeros behind them; null when there is nothing to read.
static char *load(const char *path)
{
    UpnpFileStat stat;
    UpnpFile    *file;
    char        *bytes;

    if (upnp_file_stat(path, &stat) != 0 || stat.size < FEWEST_BYTES ||
        stat.size > UINT32_MAX - END_BYTES)
        return nullptr;
    bytes = static_cast<char *>(upnp_calloc_impl(
        1, static_cast<uint32_t>(stat.size) + END_BYTES));
    if (!bytes)
        return nullptr;
    file = upnp_file_open_read(path);
    if (!file) {
        upnp_free_impl(bytes);
        return nullptr;
    }
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, read_name,
                  "reading ini settings from %s", path);
    upnp_file_read(file, bytes, static_cast<uint32_t>(stat.size));
    upnp_file_close(file);
    return bytes;
}

// A file without a mark counts as UTF-16 too once one with it was read, and
// loses its first two bytes.
static char *to_utf8(char *bytes)
{
    char *text;

    if (memcmp(bytes, "\xFF\xFE", 2) == 0)
        ini::is_utf16 = true;
    if (!ini::is_utf16)
        return bytes;
    text = upnp_string_utf16_to_utf8(bytes + 2);
    upnp_free_impl(bytes);
    return text;
}

static void take_property(const char *name, const char *value)
{
    if (!name || !value || *name == '#')
        return;
    ini::set_by_name(name, value, false, false);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, read_name, "%s = %s", name, value);
}

// A line counts by its end, so that the last one is lost without it. A line
// that begins with "=" has the text behind it as its name and its value.
static void take_lines(char *text)
{
    char *name = nullptr;
    char *value = nullptr;

    for (; *text; ++text) {
        if (static_cast<unsigned char>(*text) < ' ') {
            *text = '\0';
            take_property(name, value);
            name = value = nullptr;
        } else if (*text == '=' && !value) {
            *text = '\0';
            value = text + 1;
        } else if (!name) {
            name = text;
        }
    }
}

void upnp_ini_file_read_properties(void)
{
    const char *path = upnp_ini_file_get_ini_path();
    char       *text = path ? load(path) : nullptr;

    if (text)
        text = to_utf8(text);
    if (!text)
        return;
    take_lines(text);
    upnp_free_impl(text);
}
