// upnp_ini_list.cpp - properties whose value is a comma-separated list.
//
// A list is split at the first question for an entry and kept until the value
// changes. All entries lie in one copy of the text, cut at its commas.

#include "config/upnp_ini_table.h"
#include "runtime/upnp_mem.h"

#include <algorithm>
#include <string.h>

static bool has_content(const char *text)
{
    return text && *text;
}

// Fills entries from text, which it cuts. "a, b,,c," gives "a", "b", "", "c"
// and null.
static void cut_at_commas(char *text, char **entries)
{
    *entries++ = text;
    while (char *comma = strchr(text, ',')) {
        *comma = '\0';
        text = comma + 1;
        while (*text == ' ')
            ++text;
        *entries++ = *text ? text : nullptr;
    }
}

// Without memory the list stays unsplit. One entry needs no split: the value
// serves.
static void split_locked(IniProperty *row)
{
    const char *text = has_content(row->value) ? row->value : row->defaultValue;
    int32_t     count = 1;
    char       *copy;

    if (has_content(text))
        count +=
            static_cast<int32_t>(std::count(text, text + strlen(text), ','));
    if (count > 1) {
        copy = upnp_strdup_impl(text);
        row->listValues = static_cast<char **>(upnp_calloc_impl(
            static_cast<uint32_t>(count), sizeof(*row->listValues)));
        if (!copy || !row->listValues) {
            ini::drop_text(&copy);
            ini::drop_list_locked(row);
            return;
        }
        cut_at_commas(copy, row->listValues);
    }
    row->listCount = count;
}

// Borrowed from the row; null for none.
static const char *entry_locked(IniProperty *row, int32_t index)
{
    if (!row->isList)
        return index == 0 ? row->value : nullptr;

    if (row->listCount == 0)
        split_locked(row);
    if (index < 0 || index >= row->listCount)
        return nullptr;

    // A list of one is its value, never its default, as for no list at all.
    return row->listCount == 1 ? row->value : row->listValues[index];
}

void ini::drop_list_locked(IniProperty *row)
{
    if (row->listValues) {
        drop_text(&row->listValues[0]);
        upnp_free_impl(row->listValues);
    }
    row->listValues = nullptr;
    row->listCount = 0;
}

char *upnp_ini_file_get_next_CSV(uint32_t key, int32_t index)
{
    char *copy = nullptr;

    if (!ini::lock())
        return nullptr;
    if (IniProperty *row = ini::row_locked(key))
        copy = upnp_strdup_impl(entry_locked(row, index));
    ini::unlock();
    return copy;
}
