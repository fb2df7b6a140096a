// admin.cpp - the page on which an operator sees and changes settings.

#include "qm-serve/admin.h"

#include "common/secret.h"
#include "http/http_body.h"
#include "http/http_header.h"
#include "qm-serve/admin_clients.h"
#include "qm-serve/admin_playlists.h"
#include "qm-serve/client_access.h"
#include "qm-serve/file_cache.h"
#include "qm-serve/stream.h"
#include "qm-serve/url_text.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <sys/random.h>

static constexpr std::string_view page_url = "/admin";
static constexpr int64_t          MAX_FORM_BYTES = 65536;
static constexpr size_t           TOKEN_BYTES = 16;

using namespace serve;

using Text = std::unique_ptr<UpnpString, decltype(&upnp_string_free)>;

// In the order of the page.
static const AdminSection *const sections[] = {
    &clients_section,
    &playlists_section,
};

// Set before the server starts, then only read. Empty if there is no random
// data: nothing can be posted then.
static std::string token;

static std::string make_token()
{
    static constexpr char digits[] = "0123456789abcdef";

    unsigned char bytes[TOKEN_BYTES];
    std::string   text;

    if (getrandom(bytes, sizeof(bytes), 0) != sizeof(bytes))
        return text;
    for (unsigned char byte : bytes)
        text.append({ digits[byte >> 4], digits[byte & 15] });
    return text;
}

// --- The page ---------------------------------------------------------------

static constexpr char page_head[] =
    "<!DOCTYPE html>\n"
    "<html lang=\"en\">\n"
    "<head>\n"
    "<meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width\">\n"
    "<title>Administration</title>\n"
    "<style>\n"
    "body { font-family: sans-serif; margin: 1em auto; max-width: 60em; "
    "padding: 0 .5em }\n"
    "section { overflow-x: auto }\n"
    "table { border-collapse: collapse }\n"
    "th, td { border-bottom: 1px solid #ccc; padding: .4em; "
    "text-align: left }\n"
    "select, input { max-width: 14em }\n"
    "button, select, input { font: inherit; margin: .1em }\n"
    "</style>\n"
    "</head>\n"
    "<body>\n"
    "<h1>Administration</h1>\n"
    "<p><a href=\"/\">Media</a></p>\n";

// The page is not for frames of other sites, in which clicks could be lured to
// its buttons.
static int32_t send_admin_page(HttpRequest *request)
{
    std::string page = page_head;

    for (const AdminSection *row : sections) {
        page += "<section>\n<h2>" + html_escaped(row->title) + "</h2>\n" +
                row->html(token) + "</section>\n";
    }
    HTTP_set_no_cache(request);
    HTTP_add_header(request, "Content-Security-Policy: default-src 'none'; "
                             "style-src 'unsafe-inline'; form-action 'self'; "
                             "frame-ancestors 'none'\r\n");
    return send_page(request, page + "</body>\n</html>\n");
}

static int32_t send_download(HttpRequest *request, const std::string &name)
{
    int32_t result;

    for (const AdminSection *row : sections) {
        if (row->download && row->download(request, name, result))
            return result;
    }
    return send_error(request, 404);
}

std::string serve::form_head(const AdminSection &section,
                             const std::string  &form_token)
{
    return std::string("<form method=\"post\" action=\"/admin\">") +
           "<input type=\"hidden\" name=\"section\" value=\"" + section.name +
           "\"><input type=\"hidden\" name=\"token\" value=\"" + form_token +
           "\">\n";
}

// --- Forms ------------------------------------------------------------------

std::string serve::field(const FormFields &fields, const char *name)
{
    auto found = fields.find(name);

    return found == fields.end() ? "" : found->second;
}

static std::string form_decoded(std::string_view coded)
{
    std::string text(coded);

    std::replace(text.begin(), text.end(), '+', ' ');
    return percent_decoded(text);
}

static FormFields read_form(std::string_view body)
{
    FormFields fields;

    while (!body.empty()) {
        std::string_view pair = body.substr(0, body.find('&'));
        size_t           equal = std::min(pair.find('='), pair.size());

        body.remove_prefix(std::min(pair.size() + 1, body.size()));
        fields[form_decoded(pair.substr(0, equal))] =
            form_decoded(pair.substr(std::min(equal + 1, pair.size())));
    }
    return fields;
}

static int32_t act_upon_form(HttpRequest *request)
{
    int64_t size = HTTP_parse_header_size(request->header);

    if (size < 1 || size > MAX_FORM_BYTES ||
        HTTP_parse_header_chunked(request->header))
        return refuse(request, 400);

    Text        body(HTTP_receive_body(request->socket, request->header),
                     upnp_string_free);
    const char *text = upnp_string_get_cstring(body.get());
    FormFields  fields = read_form(text ? text : "");

    if (!secret::is_same(field(fields, "token"), token))
        return turn_away(request);
    for (const AdminSection *row : sections) {
        if (field(fields, "section") == row->name && row->act(fields))
            return close_with(request, "303 See Other", "Location: /admin\r\n");
    }
    return send_error(request, 400);
}

// --- Requests ---------------------------------------------------------------

// A name of the Internet may be made to lead here by whoever owns it, and a
// page of that site could then read this one. Addresses and local names may
// not.
static bool has_local_host(const HttpRequest *request)
{
    const char      *value = HTTP_get_header_param(request->header, "\nhost:");
    std::string_view host = value ? value : "";

    host = host.substr(0, host.find_first_of(":\r\n"));
    return host.find('.') == host.npos || host.ends_with(".local") ||
           host.find_first_not_of("0123456789.") == host.npos;
}

static int32_t handle_admin(HttpRequest *request)
{
    std::string path = request_path(request->header);

    clear_modified(request);
    if (!has_local_host(request))
        return turn_away(request);
    if (request->method == HTTP_METHOD_POST)
        return path == page_url ? act_upon_form(request) : refuse(request, 404);
    if (HTTP_parse_header_size(request->header) > 0)
        return refuse(request, 400);
    if (path == page_url || path == "/admin/")
        return send_admin_page(request);
    if (path.starts_with("/admin/"))
        return send_download(request, path.substr(page_url.size() + 1));
    return send_error(request, 404);
}

void serve::register_admin()
{
    token = make_token();
    upnp_http_register_handler(admitted_at_home<handle_admin>,
                               HTTP_METHOD_GET | HTTP_METHOD_HEAD |
                                   HTTP_METHOD_POST,
                               page_url.data(), 0, 0);
}
