// upnp_csv.cpp - a text split at its commas.

#include "runtime/upnp_csv.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_text.h"

#include <algorithm>
#include <string.h>

char **util_split_csv_split(const char *text, uint32_t *count_out)
{
    char    *copy = upnp_strdup_impl(text);
    char    *rest = copy;
    uint32_t count = 0;

    if (!copy)
        return nullptr;

    auto fields =
        static_cast<uint64_t>(std::count(copy, copy + strlen(copy), ',')) + 1;
    auto **array =
        static_cast<char **>(mem::new_block(fields * sizeof(char *)));
    if (!array)
        goto out;

    // A null entry, where a copy failed, ends the array.
    do {
        array[count] = upnp_strdup_impl(strsep(&rest, ","));
    } while (array[count++] && rest);
    if (count_out)
        *count_out = count;

out:
    upnp_free_impl(copy);
    return array;
}

void util_split_csv_release(char **array, uint32_t count)
{
    if (!array)
        return;
    for (uint32_t i = 0; i < count; ++i) {
        if (!array[i])
            continue;
        upnp_free_impl(array[i]);
        array[i] = nullptr;
    }
    upnp_free_impl(array);
}
