// upnp_ini_set.cpp - changes of properties, and the hooks of coded ones.
//
// The command line forces what it sets; the file does not, so that it neither
// takes a hidden property nor replaces a value that is there already.

#include "config/upnp_ini_table.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <string.h>

IniPredicate cb_is_restricted;
IniPredicate cb_is_encrypted;

static bool is_refused(const IniProperty &row, bool force_hidden,
                       bool force_replace)
{
    return row.disabled || (row.hidden && !force_hidden) ||
           (row.value && !force_replace);
}

static bool is_default(const IniProperty &row, const char *value)
{
    return row.defaultValue && strcmp(value, row.defaultValue) == 0;
}

// A null for a row that has a default changes something even without a value.
static bool changes_nothing(const IniProperty &row, const char *value,
                            bool force_replace)
{
    if (!value)
        return !row.value && !row.defaultValue;
    if (row.value)
        return strcmp(value, row.value) == 0;
    if (!row.defaultValue)
        return !*value;
    return !force_replace && is_default(row, value);
}

static void act_on_change_locked(uint32_t key, const char *value)
{
    auto number = static_cast<uint32_t>(ini::number_of(value));

    switch (key) {
    case INI_VLEVEL: upnp_log_set_level(number); break;
    case INI_V: upnp_log_set_sources(number); break;
    case INI_ININAME:
    case INI_INIPATH: ini::drop_path_locked(); break;
    }
}

static void set_row_locked(IniProperty *row, const char *value,
                           bool force_hidden, bool force_replace)
{
    char *stored = nullptr;

    if (is_refused(*row, force_hidden, force_replace) ||
        changes_nothing(*row, value, force_replace))
        return;

    // Copied before anything is freed: value may lie in the old value or in
    // the cached path. Without memory the row stays as it is.
    if (value && (force_replace || (*value && !is_default(*row, value)))) {
        stored = upnp_strdup_impl(value);
        if (!stored)
            return;
    }

    act_on_change_locked(row->key, value);
    ini::drop_list_locked(row);
    ini::drop_text(&row->value);
    if (row->needsRestart)
        ini::set_restart_pending();
    row->value = stored;
}

static void set_plain(uint32_t key, const char *value, bool force_hidden,
                      bool force_replace)
{
    if (!ini::lock())
        return;
    if (IniProperty *row = ini::row_locked(key))
        set_row_locked(row, value, force_hidden, force_replace);
    ini::unlock();
}

// The hooks run without the lock, so that they may ask the table.
static void set_by_key(uint32_t key, const char *value, bool force_hidden,
                       bool force_replace)
{
    char *decoded = nullptr;

    if (!value || !upnp_ini_file_isValidKey(key) || !ini::is_restricted(key)) {
        set_plain(key, value, force_hidden, force_replace);
        return;
    }

    if (ini::hooks.decode_value)
        decoded = ini::hooks.decode_value(value);
    if (decoded)
        set_plain(key, decoded, force_hidden, force_replace);
    ini::drop_text(&decoded);
}

static void set_flag(uint32_t key, int32_t IniProperty::*member, int32_t flag)
{
    if (!ini::lock())
        return;
    if (IniProperty *row = ini::row_locked(key))
        row->*member = flag != 0;
    ini::unlock();
}

bool ini::is_restricted(uint32_t key)
{
    return cb_is_restricted && cb_is_restricted(key);
}

void ini::set_by_name(const char *name, const char *value, bool force_hidden,
                      bool force_replace)
{
    int32_t key = upnp_ini_file_getPropertyKey(name);

    if (key != -1)
        set_by_key(static_cast<uint32_t>(key), value, force_hidden,
                   force_replace);
}

void upnp_ini_file_setPropertyByKey(uint32_t key, const char *value)
{
    set_by_key(key, value, true, true);
}

void upnp_ini_file_disableProperty(uint32_t key, int32_t flag)
{
    set_flag(key, &IniProperty::disabled, flag);
}

void upnp_ini_file_hideProperty(uint32_t key, int32_t flag)
{
    set_flag(key, &IniProperty::hidden, flag);
}

void upnp_ini_file_add_default_file(const char *name)
{
    ini::OldName *old = nullptr;
    char         *copy = nullptr;

    if (!name || !ini::lock())
        return;

    copy = upnp_strdup_impl(name);
    old = static_cast<ini::OldName *>(upnp_malloc_impl(sizeof(*old)));
    if (copy && old) {
        *old = { copy, ini::startup.old_names };
        ini::startup.old_names = old;
        copy = nullptr;
        old = nullptr;
    }
    ini::unlock();

    ini::drop_text(&copy);
    if (old)
        upnp_free_impl(old);
}

void upnp_ini_set_obfuscation(IniPredicate isRestricted,
                              IniNameHook nameFromKey, IniKeyHook keyFromName,
                              IniCodingHook decodeValue,
                              IniCodingHook encodeValue,
                              IniPredicate  isEncrypted)
{
    cb_is_restricted = isRestricted;
    cb_is_encrypted = isEncrypted;
    ini::hooks = { nameFromKey, keyFromName, decodeValue, encodeValue };
}
