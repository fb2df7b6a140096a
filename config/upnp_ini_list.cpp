// upnp_ini_list.cpp - properties that are comma-separated lists.

#include "config/upnp_ini_file.h"

#include "config/upnp_ini_table.h"

#include "runtime/upnp_mem.h"

#include <algorithm>
#include <string.h>

// What is split: the value if it says anything, else the default.
static const char *source_of(const IniProperty &row)
{
    if (row.value && *row.value)
        return row.value;
    return row.defaultValue && *row.defaultValue ? row.defaultValue : nullptr;
}

// Cuts the copy in entry 0 at its commas and blanks out what follows them.
static void cut_entries(char **entries)
{
    char  *at = entries[0];
    size_t i = 0;

    while (char *comma = strchr(at, ',')) {
        *comma = '\0';
        at = comma + 1;
        at += strspn(at, " ");
        entries[++i] = at;
    }
    // Nothing behind the last comma is no entry, while "a,,b" has an empty one.
    if (i > 0 && *at == '\0')
        entries[i] = nullptr;
}

// Splits the value, once until it changes. False when out of memory.
static bool split_locked(IniProperty &row)
{
    const char *source = source_of(row);
    int32_t     count = 1;

    if (row.listCount > 0)
        return true;
    if (source)
        count += static_cast<int32_t>(
            std::count(source, source + strlen(source), ','));
    if (count > 1) {
        row.listValues = static_cast<char **>(
            upnp_calloc_impl(static_cast<uint32_t>(count), sizeof(char *)));
        if (!row.listValues)
            return false;
        row.listValues[0] = upnp_strdup_impl(source);
        if (!row.listValues[0]) {
            ini::drop_list_locked(row);
            return false;
        }
        cut_entries(row.listValues);
    }
    row.listCount = count;
    return true;
}

// A list of one is its value, and the default does not stand in for it.
static const char *entry_locked(IniProperty &row, int32_t index)
{
    if (!row.isList)
        return index == 0 ? row.value : nullptr;
    if (!split_locked(row) || index < 0 || index >= row.listCount)
        return nullptr;
    return row.listCount == 1 ? row.value : row.listValues[index];
}

char *upnp_ini_file_get_next_CSV(uint32_t key, int32_t index)
{
    char *entry = nullptr;

    if (!ini::lock())
        return nullptr;
    if (IniProperty *row = ini::find(key))
        entry = upnp_strdup_impl(entry_locked(*row, index));
    ini::unlock();
    return entry;
}
