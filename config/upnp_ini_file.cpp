// upnp_ini_file.cpp - the property table: its life, lookups and getters.
//
// The lock is made at load and never destroyed: a detached thread, which
// nobody joins, may be about to take it while a program releases the table.
// Init and release only move the flag that every taker looks at.

#include "config/upnp_ini_file.h"

#include "config/upnp_ini_table.h"
#include "files/upnp_file.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"

#include <array>
#include <atomic>
#include <stdlib.h>
#include <string.h>

static constexpr int16_t  NO_ROW = -1;
static constexpr uint32_t UNKNOWN_TO_HOOK = 0xFFFFFFFF;

namespace {
struct NamedKey {
    const char *name;  // borrowed from the row
    uint32_t    key;
};
}

static constexpr std::array<int16_t, INI_KEYS> empty_index()
{
    std::array<int16_t, INI_KEYS> index = {};
    index.fill(NO_ROW);
    return index;
}

CriticalSection g_ini_Section = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };

ini::Hooks   ini::hooks;
ini::Startup ini::startup;

static std::atomic<bool>    section_exists;
static std::atomic<int32_t> init_count;
static std::atomic<int32_t> restart_pending;

// Guarded by g_ini_Section.
static IniProperty *rows;
static char        *ini_path;  // null until it is asked for

// What the lookups read without the lock: from a key to its row, and names in
// the order of the rows. Names never change and, unlike the rows, stay in
// place when the table grows; row_count tells how many of them are complete.
static constinit std::array<int16_t, INI_KEYS> key_index = empty_index();
static NamedKey                                names[ini::MAX_ROWS];
static std::atomic<int16_t>                    row_count;

// The position of a key's row, or NO_ROW.
static int16_t position_of(uint32_t key)
{
    return key < INI_KEYS ? shared::load(key_index[key]) : NO_ROW;
}

static void free_row_locked(IniProperty *row)
{
    ini::drop_list_locked(row);
    ini::drop_text(&row->paramName);
    ini::drop_text(&row->value);
    ini::drop_text(&row->defaultValue);
    ini::drop_text(&row->comment);
}

static void free_table_locked()
{
    int16_t count = row_count.exchange(0);

    for (int16_t &position : key_index)
        shared::store(position, NO_ROW);
    for (int16_t i = 0; i < count; ++i)
        free_row_locked(&rows[i]);
    if (rows)
        upnp_free_impl(rows);
    rows = nullptr;
}

static void free_startup_locked()
{
    ini::Startup &startup = ini::startup;

    while (ini::OldName *old = startup.old_names) {
        startup.old_names = old->next;
        upnp_free_impl(old->name);
        upnp_free_impl(old);
    }
    ini::drop_text(&startup.exe_name);
    ini::drop_text(&startup.exe_directory);
    while (startup.ignored_count > 0)
        upnp_free_impl(startup.ignored_params[--startup.ignored_count]);
}

// The text in force, null for an unknown key.
static const char *string_locked(uint32_t key)
{
    const IniProperty *row = ini::row_locked(key);

    return row ? ini::text_of(*row) : nullptr;
}

// Asks one row under the lock. A key without a row gives missing; a table that
// does not exist gives 0 or null.
template <typename Answer>
static Answer ask(uint32_t key, Answer missing,
                  Answer (*question)(const IniProperty &))
{
    const IniProperty *row;
    Answer             answer;

    if (!ini::lock())
        return Answer();
    row = ini::row_locked(key);
    answer = row ? question(*row) : missing;
    ini::unlock();
    return answer;
}

bool ini::lock()
{
    if (!section_exists)
        return false;
    EnterCriticalSection(&g_ini_Section);
    if (section_exists)
        return true;
    LeaveCriticalSection(&g_ini_Section);
    return false;
}

void ini::unlock()
{
    LeaveCriticalSection(&g_ini_Section);
}

IniProperty *ini::rows_locked()
{
    return rows;
}

int16_t ini::row_count_locked()
{
    return row_count;
}

IniProperty *ini::row_locked(uint32_t key)
{
    int16_t position = position_of(key);

    return position == NO_ROW ? nullptr : &rows[position];
}

bool ini::append_row_locked(const IniProperty &row)
{
    int16_t count = row_count;
    auto   *grown = static_cast<IniProperty *>(upnp_calloc_impl(
          static_cast<uint32_t>(count) + 1, sizeof(IniProperty)));

    if (!grown)
        return false;
    if (rows) {
        memcpy(grown, rows, static_cast<size_t>(count) * sizeof(*rows));
        upnp_free_impl(rows);
    }
    rows = grown;
    rows[count] = row;
    names[count] = { row.paramName, row.key };
    shared::store(key_index[row.key], count);
    ++row_count;
    return true;
}

void ini::drop_path_locked()
{
    drop_text(&ini_path);
}

void ini::set_restart_pending()
{
    restart_pending = 1;
}

const char *ini::text_of(const IniProperty &row)
{
    return row.value ? row.value : row.defaultValue;
}

int32_t ini::number_of(const char *text)
{
    return text ? static_cast<int32_t>(strtol(text, nullptr, 10)) : 0;
}

char *ini::copy_path()
{
    char *copy;

    if (!upnp_ini_file_get_ini_path() || !lock())
        return nullptr;
    copy = upnp_strdup_impl(ini_path);
    unlock();
    return copy;
}

void ini::drop_text(char **text)
{
    if (*text)
        upnp_free_impl(*text);
    *text = nullptr;
}

void upnp_ini_file_init(void)
{
    if (init_count++ > 0)
        return;
    section_exists = true;
    ini::create_library_rows();
    restart_pending = 0;
}

void upnp_ini_file_release(void)
{
    bool locked;

    if (init_count > 1) {
        --init_count;
        return;
    }
    if (init_count < 1)
        return;
    init_count = 0;

    locked = ini::lock();
    section_exists = false;
    free_table_locked();
    ini::drop_path_locked();
    free_startup_locked();
    if (locked)
        ini::unlock();
}

void upnp_ini_file_release_on_exit(void)
{
    init_count = 1;
    upnp_ini_file_release();
}

int32_t upnp_ini_file_is_initialized(void)
{
    return init_count > 0;
}

void upnp_ini_file_reset(void)
{
    char *path = ini::copy_path();

    upnp_file_unlink(path);
    ini::drop_text(&path);
}

int32_t upnp_ini_file_isValidKey(uint32_t key)
{
    return position_of(key) != NO_ROW;
}

int32_t upnp_ini_file_getPropertyKey(const char *name)
{
    uint32_t key;

    if (!name)
        return -1;

    // A key that the hook knows settles it, even one that has no row.
    key = ini::hooks.key_from_name ? ini::hooks.key_from_name(name)
                                   : UNKNOWN_TO_HOOK;
    if (key != UNKNOWN_TO_HOOK)
        return upnp_ini_file_isValidKey(key) ? static_cast<int32_t>(key) : -1;

    for (int16_t i = 0, count = row_count; i < count; ++i) {
        if (upnp_util_strings_equal(names[i].name, name, 0, 0))
            return static_cast<int32_t>(names[i].key);
    }
    return -1;
}

const char *upnp_ini_file_getPropParamName(uint32_t key)
{
    return ask<const char *>(
        key, nullptr,
        [](const IniProperty &row) -> const char * { return row.paramName; });
}

const char *upnp_ini_file_getString(uint32_t key)
{
    return ask<const char *>(key, nullptr, ini::text_of);
}

int32_t upnp_ini_file_getBoolean(uint32_t key)
{
    return ask<int32_t>(key, 0, [](const IniProperty &row) -> int32_t {
        const char *text = ini::text_of(row);
        return text && *text && *text != '0';
    });
}

int32_t upnp_ini_file_isSet(uint32_t key)
{
    return upnp_ini_file_getBoolean(key);
}

int32_t upnp_ini_file_getInt(uint32_t key)
{
    return ask<int32_t>(key, 0, [](const IniProperty &row) {
        return ini::number_of(ini::text_of(row));
    });
}

int32_t upnp_ini_file_isModified(uint32_t key)
{
    return ask<int32_t>(key, 0, [](const IniProperty &row) -> int32_t {
        return row.value != nullptr;
    });
}

int32_t upnp_ini_file_propertyIsDisabled(uint32_t key)
{
    return ask<int32_t>(key, 1,
                        [](const IniProperty &row) { return row.disabled; });
}

int32_t upnp_ini_file_propertyIsHidden(uint32_t key)
{
    return ask<int32_t>(key, 1,
                        [](const IniProperty &row) { return row.hidden; });
}

const char *upnp_ini_file_get_ini_path(void)
{
    char       *directory = nullptr;
    const char *path;

    if (!ini::lock())
        return nullptr;
    path = ini_path;
    if (!path)
        directory = upnp_strdup_impl(string_locked(INI_INIPATH));
    ini::unlock();
    if (path)
        return path;

    // Made without the lock, since a directory that cannot be made is logged.
    if (directory)
        upnp_file_create_path(directory);
    ini::drop_text(&directory);

    if (!ini::lock())
        return nullptr;
    if (!ini_path)
        ini_path = upnp_file_build_path(string_locked(INI_INIPATH),
                                        string_locked(INI_ININAME));
    path = ini_path;
    ini::unlock();
    return path;
}

int32_t upnp_ini_file_restartPending(void)
{
    return section_exists && restart_pending;
}

void upnp_ini_file_reset_restartPending(void)
{
    restart_pending = 0;
}

const char *upnp_ini_file_get_EXE_Name(void)
{
    const char *name;

    if (!ini::lock())
        return nullptr;
    name = ini::startup.exe_name;
    ini::unlock();
    return name;
}

// The name is taken before init as well: it is the caller's no more.
void upnp_set_EXE_Name(char *name)
{
    bool locked = ini::lock();

    if (ini::startup.exe_name != name)
        ini::drop_text(&ini::startup.exe_name);
    ini::startup.exe_name = name;
    if (locked)
        ini::unlock();
}
