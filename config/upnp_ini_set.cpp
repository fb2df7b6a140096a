// upnp_ini_set.cpp - changes to properties.

#include "config/upnp_ini_file.h"

#include "config/upnp_ini_table.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <stdlib.h>
#include <string.h>

static bool is_equal(const char *a, const char *b)
{
    return a && b && strcmp(a, b) == 0;
}

static bool is_empty(const char *text)
{
    return !text || !*text;
}

// Whether a value would leave the property as it is.
static bool changes_nothing(const IniProperty &row, const char *value,
                            bool force_replace)
{
    if (!value)
        return !row.value && !row.defaultValue;
    if (is_equal(value, row.value))
        return true;
    if (row.value)
        return false;
    // Given by force, a value is stored even if it equals the default.
    return row.defaultValue
               ? !force_replace && is_equal(value, row.defaultValue)
               : is_empty(value);
}

static uint32_t number_of(const char *value)
{
    return value ? static_cast<uint32_t>(strtol(value, nullptr, 10)) : 0;
}

static void tell_others(uint32_t key, const char *value)
{
    switch (key) {
    case INI_VLEVEL: upnp_log_set_level(number_of(value)); break;
    case INI_V: upnp_log_set_sources(number_of(value)); break;
    case INI_ININAME:
    case INI_INIPATH: ini::drop_path_locked(); break;
    default: break;
    }
}

// Without force, what says no more than the default is not stored.
static bool is_stored(const IniProperty &row, const char *value,
                      bool force_replace)
{
    return value && (force_replace ||
                     (*value && !is_equal(value, row.defaultValue)));
}

// Sets a value that is not coded any more.
static void set_plain(IniProperty &row, const char *value, bool force_hidden,
                      bool force_replace)
{
    char *old = row.value;

    if (row.disabled || (row.hidden && !force_hidden))
        return;
    // A value from the command line survives the reading of the file.
    if (row.value && !force_replace)
        return;
    if (changes_nothing(row, value, force_replace))
        return;

    tell_others(row.key, value);
    ini::drop_list_locked(row);
    if (row.needsRestart)
        ini::restart_pending = 1;
    // The old value goes last: the new one may be a part of it.
    row.value = is_stored(row, value, force_replace) ? upnp_strdup_impl(value)
                                                     : nullptr;
    if (old)
        upnp_free_impl(old);
}

void ini::set_locked(IniProperty *row, const char *value, bool force_hidden,
                     bool force_replace)
{
    char *decoded;

    if (!row)
        return;
    if (!value || !cb_is_restricted || !cb_is_restricted(row->key)) {
        set_plain(*row, value, force_hidden, force_replace);
        return;
    }
    // Coded, and nothing can be done with what cannot be decoded.
    decoded = hooks.decode_value ? hooks.decode_value(value) : nullptr;
    if (!decoded)
        return;
    set_plain(*row, decoded, force_hidden, force_replace);
    upnp_free_impl(decoded);
}

void ini::set_by_name(const char *name, const char *value, bool force_hidden,
                      bool force_replace)
{
    if (!lock())
        return;
    set_locked(find_by_name(name), value, force_hidden, force_replace);
    unlock();
}

void upnp_ini_file_setPropertyByKey(uint32_t key, const char *value)
{
    if (!ini::lock())
        return;
    ini::set_locked(ini::find(key), value, true, true);
    ini::unlock();
}

void upnp_ini_file_disableProperty(uint32_t key, int32_t flag)
{
    if (!ini::lock())
        return;
    if (IniProperty *row = ini::find(key))
        row->disabled = flag != 0;
    ini::unlock();
}

void upnp_ini_file_hideProperty(uint32_t key, int32_t flag)
{
    if (!ini::lock())
        return;
    if (IniProperty *row = ini::find(key))
        row->hidden = flag != 0;
    ini::unlock();
}

void upnp_ini_set_obfuscation(IniPredicate  isRestricted,
                              IniNameHook   nameFromKey,
                              IniKeyHook    keyFromName,
                              IniCodingHook decodeValue,
                              IniCodingHook encodeValue,
                              IniPredicate  isEncrypted)
{
    cb_is_restricted = isRestricted;
    ini::hooks = { nameFromKey, keyFromName, decodeValue, encodeValue };
    cb_is_encrypted = isEncrypted;
}
