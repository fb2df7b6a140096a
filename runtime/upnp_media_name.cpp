// upnp_media_name.cpp - titles, file names, addresses and URLs inside texts.

#include "runtime/upnp_media_name.h"

#include "runtime/upnp_encode.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <string.h>
#include <string_view>

static constexpr char     embedded_mark[] = "httpproxy/embedded";
static constexpr uint32_t URL_CAPACITY = 255;
static constexpr size_t   EXTENSION_LIMIT = 5;  // with its dot, or without one
static constexpr uint32_t DUMP_COLUMNS = 16;

// A byte may be NUL, which strchr would find.
static bool is_one_of(char c, std::string_view set)
{
    return set.find(c) != std::string_view::npos;
}

// A tracked copy of length bytes with a NUL.
static char *copy_bytes(const char *text, uint32_t length)
{
    char *copy = static_cast<char *>(upnp_calloc_impl(1, length + 1));

    if (copy)
        memcpy(copy, text, length);
    return copy;
}

// --- File names ------------------------------------------------------------------

char *upnp_build_title_from_filename(const char *path)
{
    std::string_view name;
    size_t           separator;

    if (!path)
        return nullptr;
    name = path;
    separator = name.find_last_of("/\\");
    if (separator != name.npos)
        name.remove_prefix(separator + 1);
    name = name.substr(0, name.rfind('.'));
    if (name.empty())
        return upnp_strdup_impl("No Title");
    return copy_bytes(name.data(), static_cast<uint32_t>(name.size()));
}

char *upnp_get_extension(const char *path)
{
    const char *dot = path ? strrchr(path, '.') : nullptr;

    return upnp_strdup_impl(dot ? dot + 1 : "bin");
}

char *upnp_remove_bad_chars(const char *text)
{
    char *copy = upnp_strdup_impl(text);

    if (copy)
        std::replace_if(copy, copy + strlen(copy),
                        [](char c) { return is_one_of(c, " /\\?:*"); }, '#');
    return copy;
}

void upnp_util_convert_string_to_filename(char *text, uint32_t n)
{
    using namespace std::string_view_literals;

    if (text)
        std::replace_if(text, text + n,
                        [](char c) { return is_one_of(c, "/\\*?<>:|\"\0"sv); },
                        '#');
}

char *upnp_remove_illegal_chars(const char *text, const char *chars)
{
    size_t length;
    char  *kept;

    if (!text || !chars || !*text)
        return upnp_strdup_impl(text);
    length = strlen(text);
    kept = static_cast<char *>(
        upnp_calloc_impl(1, static_cast<uint32_t>(length)));
    if (kept)
        std::copy_if(text, text + length, kept,
                     [chars](char c) { return !strchr(chars, c); });
    return kept;
}

// --- URLs inside a path ------------------------------------------------------------

// Adds all that stands in front of the encoded URL and behind it. Null when
// out of memory.
static UpnpString *build_embedded_url(const char *base, const char *encoded,
                                      const char *extension)
{
    UpnpString *str = upnp_string_create(base, URL_CAPACITY);

    if (str && base && !upnp_ends_with(base, "/"))
        str = upnp_string_concat(str, "/");
    if (str)
        str = upnp_string_concat(str, embedded_mark);
    if (str)
        str = upnp_string_concat(str, encoded);
    if (str && extension && strlen(extension) < EXTENSION_LIMIT)
        str = upnp_string_sprintf(str, ".%s", extension);
    return str;
}

char *upnp_util_create_embedded_url(const char *base, const char *url,
                                    const char *extension)
{
    UpnpString *str;
    char       *encoded;
    char       *result;

    encoded = upnp_string_to_encoded_url(url, 0);
    if (!encoded)
        return nullptr;
    str = build_embedded_url(base, encoded, extension);
    upnp_free_impl(encoded);
    result = upnp_string_copy_cstring(str);
    upnp_string_free(str);
    return result;
}

char *upnp_util_get_embedded_url(const char *text)
{
    const char *mark = text ? strstr(text, embedded_mark) : nullptr;
    char       *url, *dot;

    if (!mark)
        return nullptr;
    url = upnp_strdup_impl(mark + sizeof(embedded_mark) - 1);
    if (!url)
        return nullptr;
    // Of several dots near the end the last one counts.
    dot = strrchr(url, '.');
    if (dot && strlen(dot) < EXTENSION_LIMIT)
        *dot = '\0';
    return url;
}

// --- Addresses -------------------------------------------------------------------

char *upnp_extract_ipaddress(const char *text, uint32_t *start_out,
                             uint32_t *length_out)
{
    size_t start, length;

    if (!text || !start_out || !length_out || !*text)
        return nullptr;
    *start_out = *length_out = 0;
    start = strcspn(text, "0123456789");
    if (text[start] == '\0')
        return nullptr;
    length = strspn(text + start, "0123456789.");
    while (text[start + length - 1] == '.')
        --length;
    *start_out = static_cast<uint32_t>(start);
    *length_out = static_cast<uint32_t>(length);
    return const_cast<char *>(text + start);
}

char *upnp_copy_ipaddress_and_port(const char *text, uint32_t *port_out)
{
    uint32_t    start = 0, length = 0;
    const char *ip = upnp_extract_ipaddress(text, &start, &length);

    if (port_out)
        *port_out = ip && ip[length] == ':' ? upnp_atoui(ip + length + 1) : 0;
    return ip ? copy_bytes(ip, length) : nullptr;
}

char *upnp_copy_ipaddress(const char *text)
{
    return upnp_copy_ipaddress_and_port(text, nullptr);
}

// --- Debugging -------------------------------------------------------------------

int32_t upnp_hexdump(const void *bytes, uint32_t n, FILE *stream,
                     int32_t indent)
{
    const uint8_t *data = static_cast<const uint8_t *>(bytes);

    if (!bytes || !stream || n == 0)
        return -1;
    for (uint32_t i = 0; i < n; ++i) {
        bool ends_line = i % DUMP_COLUMNS == DUMP_COLUMNS - 1 || i + 1 == n;

        if (i % DUMP_COLUMNS == 0)
            fprintf(stream, "%*s", std::max(indent, 0), "");
        fprintf(stream, "%02X%s", data[i], ends_line ? "" : " ");
        if (ends_line && i + 1 < n)
            fputc('\n', stream);
    }
    fputs(" \n", stream);
    fflush(stream);
    return 0;
}
