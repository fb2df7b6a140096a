// upnp_string_plain.cpp - new plain texts made of others, and changes in place.

#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <string.h>

static bool is_empty(const char *text)
{
    return !text || !*text;
}

// The text in which every find, which occurs at first, is replaced. Null when
// out of memory.
static UpnpString *replace_all(const char *text, const char *find,
                               const char *replacement, const char *first)
{
    uint64_t find_bytes = strlen(find);
    uint64_t replacement_bytes = replacement ? strlen(replacement) : 0;

    // Room for five occurrences before the text has to grow.
    uint64_t capacity = strlen(text);
    if (replacement_bytes > find_bytes)
        capacity += 5 * (replacement_bytes - find_bytes);
    if (capacity > UINT32_MAX)
        return nullptr;

    // Each step stops at a null record: the next one would start a new text.
    UpnpString *str =
        upnp_string_create(nullptr, static_cast<uint32_t>(capacity));
    for (const char *at = first; str && at; at = strstr(text, find)) {
        str = upnp_string_add(str, text, static_cast<uint32_t>(at - text));
        if (str)
            str = upnp_string_concat(str, replacement);
        text = at + find_bytes;
    }
    return str ? upnp_string_concat(str, text) : nullptr;
}

char *upnp_string_append(const char *a, const char *b)
{
    if (is_empty(a))
        return upnp_strdup_impl(b);
    if (is_empty(b))
        return upnp_strdup_impl(a);

    uint64_t a_bytes = strlen(a);
    uint64_t size = a_bytes + strlen(b) + 1;
    if (size > UINT32_MAX)
        return nullptr;

    char *joined =
        static_cast<char *>(upnp_malloc_impl(static_cast<uint32_t>(size)));
    if (!joined)
        return nullptr;
    memcpy(joined, a, a_bytes);
    memcpy(joined + a_bytes, b, size - a_bytes);
    return joined;
}

char *upnp_string_replace_or_copy(const char *text, const char *find,
                                  const char *replacement, int32_t copy)
{
    if (!text)
        return nullptr;

    const char *first = is_empty(find) ? nullptr : strstr(text, find);
    if (!first)
        return copy ? upnp_strdup_impl(text) : const_cast<char *>(text);

    UpnpString *replaced = replace_all(text, find, replacement, first);
    char       *result = upnp_string_copy_cstring(replaced);
    upnp_string_free(replaced);
    return result;
}

char *upnp_string_replace(const char *text, const char *find,
                          const char *replacement)
{
    return upnp_string_replace_or_copy(text, find, replacement, 1);
}

char *upnp_string_delete(const char *text, const char *find)
{
    return upnp_string_replace(text, find, nullptr);
}

char *upnp_string_strip_trailing_whitespaces(char *text)
{
    if (!text)
        return nullptr;
    for (char *end = text + strlen(text);
         end > text && upnp_is_white_space(end[-1]); --end)
        end[-1] = '\0';
    return text;
}

char *to_unix_path(char *path)
{
    if (path)
        std::replace(path, path + strlen(path), '\\', '/');
    return path;
}
