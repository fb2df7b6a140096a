// upnp_ini_write.cpp - gives the table out as text: to the INI file, and whole.

#include "config/upnp_ini_table.h"
#include "files/upnp_file.h"
#include "runtime/upnp_charset.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <initializer_list>

static constexpr char header_format[] =
    "#! QuorelMedia ini file / charset UTF-%d\n"
    "#! Change settings by commandline or by editing this file\n"
    "#! Do not add space characters before or after equal sign!\n"
    "\n"
    "[main]\n";

static const char *or_empty(const char *text)
{
    return text ? text : "";
}

// Writes a text in the encoding of the file and frees it. A null one, for
// which memory was missing, writes nothing.
static void write_and_free(UpnpFile *file, UpnpString *text, bool utf16)
{
    if (text && !utf16) {
        upnp_file_write(file, text->buffer, text->length);
    } else if (text) {
        uint16_t *units = upnp_string_utf8_to_utf16(text->buffer);
        if (units) {
            upnp_file_write(file, units, upnp_wcslen(units) * 2);
            upnp_free_impl(units);
        }
    }
    upnp_string_free(text);
}

static void write_property(UpnpFile *file, const char *name, const char *value,
                           bool utf16)
{
    write_and_free(
        file, upnp_string_sprintf(nullptr, "%s=%s\n\n", name, or_empty(value)),
        utf16);
}

// A coded row bears the product's name and its coded value, and no comment.
static void write_row_locked(UpnpFile *file, const IniProperty &row, bool utf16)
{
    const ini::Hooks &hooks = ini::hooks;
    const char       *name = nullptr;
    char             *coded = nullptr;
    bool              restricted;

    if (row.hidden || row.disabled)
        return;

    restricted = ini::is_restricted(row.key);
    if (!restricted && row.comment && *row.comment)
        write_and_free(
            file, upnp_string_sprintf(nullptr, "# %s\n", row.comment), utf16);

    if (!restricted || !hooks.name_from_key || !hooks.encode_value) {
        write_property(file, row.paramName, ini::text_of(row), utf16);
        return;
    }

    name = hooks.name_from_key(row.key);
    coded = hooks.encode_value(row.value);
    write_property(file, name ? name : row.paramName, coded, utf16);
    ini::drop_text(&coded);
}

// Unlike all other calls this one asks for a position, not for a key.
static bool is_left_out(int16_t position)
{
    return ini::hooks.name_from_key && ini::hooks.encode_value &&
           ini::is_restricted(static_cast<uint32_t>(position));
}

UpnpString *upnp_ini_file_get_all_properties(void)
{
    UpnpString *text = nullptr;

    if (!ini::lock())
        return nullptr;

    if (ini::row_count_locked() > 0)
        text = upnp_string_create(nullptr, 1024);
    for (int16_t i = 0; text && i < ini::row_count_locked(); ++i) {
        const IniProperty &row = ini::rows_locked()[i];
        if (is_left_out(i))
            continue;
        for (const char *part : { static_cast<const char *>(row.paramName), "=",
                                  ini::text_of(row), "\r\n" }) {
            if (text)
                text = upnp_string_concat(text, part);
        }
    }
    ini::unlock();
    return text;
}

void upnp_ini_file_write_properties(void)
{
    char     *path = nullptr;
    UpnpFile *file = nullptr;
    bool      utf16 = ini::is_utf16();

    if (upnp_ini_file_getBoolean(INI_READ_ONLY))
        return;
    path = ini::copy_path();
    if (!path)
        return;

    upnp_file_unlink(path);
    file = upnp_file_open_write(path);
    if (!file) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM,
                      "upnp_ini_file_write_properties",
                      "ini file \"%s\" not writable! ***", path);
        goto out;
    }

    if (utf16)
        upnp_file_write(file, "\xFF\xFE", 2);
    write_and_free(file,
                   upnp_string_sprintf(nullptr, header_format, utf16 ? 16 : 8),
                   utf16);

    if (!ini::lock())
        goto out;
    for (int16_t i = 0; i < ini::row_count_locked(); ++i)
        write_row_locked(file, ini::rows_locked()[i], utf16);
    ini::unlock();

out:
    upnp_file_close(file);
    ini::drop_text(&path);
}
