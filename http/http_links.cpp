// http_links.cpp - session tokens and parameters in the links that clients get.

#include "http/http_links.h"

#include "runtime/upnp_encode.h"
#include "runtime/upnp_mem.h"

#include <string.h>
#include <string_view>

namespace {
struct LinkPattern {
    std::string_view start;
    std::string_view end;        // of the URL that follows start
    std::string_view separator;  // in a URL that already has a "?"
};
}

// Applied from top to bottom, each to the whole document.
// clang-format off
static constexpr LinkPattern link_patterns[] = {
    { "href=\"", "\"",      "&"     },
    { "src=\"",  "\"",      "&"     },
    { "url=\"",  "\"",      "&amp;" },
    { "<guid>",  "</guid>", "&amp;" },
    { "<url>",   "</url>",  "&amp;" },
    { "<link>",  "</link>", "&amp;" },
};
// clang-format on

// Appends to a record that is there; null stays null.
static UpnpString *add(UpnpString *str, std::string_view bytes)
{
    if (!str)
        return nullptr;
    return upnp_string_add(str, bytes.data(),
                           static_cast<uint32_t>(bytes.size()));
}

static std::string_view text_of(const UpnpString *document)
{
    return { document->buffer, document->length };
}

// A new document with param in the links of one kind; null when out of memory.
static UpnpString *add_to_links(const UpnpString  *document,
                                const LinkPattern &pattern,
                                std::string_view   param)
{
    std::string_view rest = text_of(document);
    UpnpString      *result = upnp_string_create(nullptr, document->capacity);

    while (result) {
        size_t start = rest.find(pattern.start);
        if (start == rest.npos)
            break;
        size_t end = rest.find(pattern.end, start + pattern.start.size());
        if (end == rest.npos)
            break;

        std::string_view piece = rest.substr(0, end);
        bool             has_query = piece.find('?', start) != piece.npos;
        result = add(result, piece);
        if (piece.find(param) == piece.npos) {
            result = add(result, has_query ? pattern.separator : "?");
            result = add(result, param);
        }
        result = add(result, pattern.end);
        rest.remove_prefix(end + pattern.end.size());
    }
    return add(result, rest);
}

static bool has_name(std::string_view parameter, std::string_view name)
{
    return parameter.starts_with(name) &&
           parameter.substr(name.size()).starts_with('=');
}

// A new text with all parameters of url but those called name.
static UpnpString *without_parameter(std::string_view url,
                                     std::string_view name)
{
    size_t      query = url.find('?');
    UpnpString *result =
        add(upnp_string_create(nullptr, 256), url.substr(0, query));
    std::string_view rest = query == url.npos ? "" : url.substr(query + 1);
    const char      *separator = "?";

    while (!rest.empty()) {
        size_t           end = rest.find('&');
        std::string_view parameter = rest.substr(0, end);
        rest = end == rest.npos ? "" : rest.substr(end + 1);
        if (has_name(parameter, name))
            continue;
        result = add(add(result, separator), parameter);
        separator = "&";
    }
    return result;
}

UpnpString *http_post_process_for_remote_access(HttpRequest *request,
                                                UpnpString  *document)
{
    if (!request || upnp_string_is_empty(document))
        return document;

    document = upnp_string_replace2(document, "<!-- TOKEN -->",
                                    request->session_param);
    if (!*request->session_param)
        return document;

    for (const LinkPattern &pattern : link_patterns) {
        if (!document)
            return nullptr;
        // Most documents have links of one or two kinds.
        if (text_of(document).find(pattern.start) == std::string_view::npos)
            continue;
        UpnpString *changed =
            add_to_links(document, pattern, request->session_param);
        upnp_string_free(document);
        document = changed;
    }
    return document;
}

UpnpString *HTTP_set_url_parameter(UpnpString *url, const char *name,
                                   const char *value)
{
    const char *text = upnp_string_get_cstring(url);
    char       *encoded_name = nullptr;
    char       *encoded_value = nullptr;
    UpnpString *result = nullptr;

    if (!text || !name || !value)
        return nullptr;

    encoded_name = upnp_string_to_encoded_url(name, 0);
    encoded_value = upnp_string_to_encoded_url(value, 0);
    if (encoded_name && encoded_value)
        result = without_parameter(text, name);
    if (result)
        result = add(result, strchr(result->buffer, '?') ? "&" : "?");
    result = add(add(add(result, encoded_name ? encoded_name : ""), "="),
                 encoded_value ? encoded_value : "");

    if (encoded_value)
        upnp_free_impl(encoded_value);
    if (encoded_name)
        upnp_free_impl(encoded_name);
    if (result)
        upnp_string_free(url);
    return result;
}
