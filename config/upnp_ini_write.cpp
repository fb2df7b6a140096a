// upnp_ini_write.cpp - writes the visible properties into the INI file.

#include "config/upnp_ini_file.h"

#include "config/upnp_ini_table.h"

#include "files/upnp_file.h"
#include "runtime/upnp_charset.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <string.h>

static constexpr char header_format[] =
    "#! QuorelMedia ini file / charset UTF-%d\n"
    "#! Change settings by commandline or by editing this file\n"
    "#! Do not add space characters before or after equal sign!\n"
    "\n"
    "[main]\n";

static void put_utf16(UpnpFile *file, const char *text)
{
    uint16_t *units = upnp_string_utf8_to_utf16(text);

    if (!units)
        return;
    upnp_file_write(file, units, upnp_wcslen(units) * 2);
    upnp_free_impl(units);
}

// Writes a text and frees it. Null, when memory was out, writes nothing.
static void put(UpnpFile *file, UpnpString *text)
{
    if (text && ini::is_utf16)
        put_utf16(file, text->buffer);
    else if (text)
        upnp_file_write(file, text->buffer, text->length);
    upnp_string_free(text);
}

static bool is_restricted(const IniProperty &row)
{
    return cb_is_restricted && cb_is_restricted(row.key);
}

static void put_pair(UpnpFile *file, const char *name, const char *value)
{
    put(file, upnp_string_sprintf(nullptr, "%s=%s\n\n", name ? name : "",
                                  value ? value : ""));
}

static void put_coded(UpnpFile *file, const IniProperty &row)
{
    char *encoded = ini::hooks.encode_value(row.value);

    put_pair(file, ini::hooks.name_from_key(row.key), encoded);
    if (encoded)
        upnp_free_impl(encoded);
}

static void put_row(UpnpFile *file, const IniProperty &row)
{
    bool restricted = is_restricted(row);

    if (row.comment && *row.comment && !restricted)
        put(file, upnp_string_sprintf(nullptr, "# %s\n", row.comment));
    if (restricted && ini::hooks.name_from_key && ini::hooks.encode_value)
        put_coded(file, row);
    else
        put_pair(file, row.paramName, ini::text_of(row));
}

// The old file is gone by now, whether the new one can be written or not.
static UpnpFile *create_file(const char *path)
{
    UpnpFile *file;

    upnp_file_unlink(path);
    file = upnp_file_open_write(path);
    if (!file)
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM,
                      "upnp_ini_file_write_properties",
                      "ini file \"%s\" not writable! ***", path);
    return file;
}

void upnp_ini_file_write_properties(void)
{
    const char *path = upnp_ini_file_get_ini_path();
    UpnpFile   *file;

    if (!path || upnp_ini_file_getBoolean(INI_READ_ONLY))
        return;
    file = create_file(path);
    if (!file)
        return;
    if (ini::is_utf16)
        upnp_file_write(file, "\xFF\xFE", 2);
    put(file, upnp_string_sprintf(nullptr, header_format,
                                  ini::is_utf16 ? 16 : 8));
    if (ini::lock()) {
        for (const IniProperty &row : ini::rows()) {
            if (row.paramName && !row.hidden && !row.disabled)
                put_row(file, row);
        }
        ini::unlock();
    }
    upnp_file_close(file);
}
