// http_head_fields.cpp - the fields of a head that tell how its body comes.

#include "http/http_body.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"

#include <stdint.h>
#include <string.h>

// The text behind name in any case; null if either is missing.
static const char *find_behind(const char *header, const char *name)
{
    const char *at = upnp_istrstr(header, name);
    return at ? at + strlen(name) : nullptr;
}

// The value behind name; an empty one is left at the blanks in front of it.
static char *find_value(const char *header, const char *name)
{
    char *value = const_cast<char *>(find_behind(header, name));

    http_skip_spaces(&value);
    return value;
}

char *HTTP_parse_header_mime_type(char *header)
{
    const char *value = find_behind(header, "content-type:");
    if (!value)
        return nullptr;
    value += strspn(value, " ");

    const char *end = strstr(value, "\r\n");
    if (!end || end - value >= UINT32_MAX)
        return nullptr;

    size_t length = static_cast<size_t>(end - value);
    auto  *type = static_cast<char *>(
        upnp_malloc_impl(static_cast<uint32_t>(length + 1)));
    if (!type)
        return nullptr;
    memcpy(type, value, length);
    type[length] = '\0';
    return type;
}

int32_t HTTP_parse_header_chunked(const char *header)
{
    return upnp_istrstr(header, "chunked\r\n") &&
           upnp_istrstr(header, "Transfer-Encoding");
}

int64_t HTTP_parse_header_size(const char *header)
{
    const char *value = find_value(header, "content-length:");
    int64_t     size = upnp_ascii_to_long_long(value);

    return size > 0 ? size : 0;
}

int32_t upnp_http_has_connection_close(const char *header)
{
    const char *value = find_value(header, "connection:");

    return value &&
           (upnp_starts_with(value, "close") || strstr(value, "close"));
}

char *HTTP_get_header_param(const char *header, const char *name)
{
    char *value = find_value(header, name);

    if (!value || *value == '\0' || upnp_is_white_space(*value))
        return nullptr;
    return value;
}

void http_skip_spaces(char **text)
{
    if (!text || !*text)
        return;

    char *value = *text + strspn(*text, " \t");
    if (*value != '\0' && *value != '\r')
        *text = value;
}
