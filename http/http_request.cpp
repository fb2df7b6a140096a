// http_request.cpp - the path of one request, from its head to its handler.

#include "http/http.h"

#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_query.h"
#include "http/http_auth.h"
#include "http/http_body.h"
#include "http/http_handlers.h"
#include "http/http_pages.h"
#include "http/http_remote.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"

#include <cstdio>
#include <cstring>

static constexpr char function[] = "HTTP_send_receive";

// RFC 9110, 15.2.1. The length keeps simple clients from waiting for a body.
static constexpr char continue_head[] = "HTTP/1.1 100 Continue\r\n"
                                        "Content-Length: 0\r\n"
                                        "\r\n";

static bool holds(const char *text, const char *word)
{
    return strstr(text, word) != nullptr;
}

static bool holds_in_any_case(const char *text, const char *word)
{
    return upnp_istrstr(text, word) != nullptr;
}

static bool is_post(const HttpRequest &request)
{
    return strncmp(request.header, "POST", 4) == 0;
}

static void fill_from_connection(HttpRequest          &request,
                                 const HttpConnection &connection)
{
    HttpServerEntry *server = connection.server;
    char             ip[UPNP_IP_SIZE];
    int32_t          peer_port;

    upnp_util_get_peername(connection.socket, request.client_ip, &peer_port);
    request.socket = connection.socket;
    request.tls = static_cast<int32_t>(connection.tls);
    request.tls_session = connection.tls_session;
    request.file_cache = connection.file_cache;
    shared::copy_text_out(ip, server->ip, sizeof(ip));
    snprintf(request.base_url, sizeof(request.base_url), "http://%s:%d/", ip,
             shared::load(server->httpPort));
}

static bool read_head(HttpRequest &request)
{
    if (!request.tls)
        return HTTP_get_header(request.socket, request.header,
                               HTTP_HEAD_SIZE) != 0;
    if (!cb_tls_http_get_header ||
        cb_tls_http_get_header(request.tls_session, request.header,
                               HTTP_HEAD_SIZE) < 0)
        return false;
    request.header[HTTP_HEAD_SIZE - 1] = '\0';
    return true;
}

// An upload whose client does not wait for the answer before it sends.
static bool is_blind_upload(const HttpRequest &request)
{
    return is_post(request) && holds(request.header, "createobject") &&
           !holds_in_any_case(request.header, "100-continue");
}

static void answer_expectation(HttpRequest &request)
{
    if (holds_in_any_case(request.header, "100-continue") &&
        !holds(request.header, "application/x-dtcp1"))
        upnp_send_ssl(&request, continue_head, sizeof(continue_head) - 1);
}

// Takes target and version from the first line, "GET /a%20b HTTP/1.1".
static void read_first_line(HttpRequest &request)
{
    const char *blank = strchr(request.header, ' ');

    request.http_version = 10;
    if (!blank)
        return;
    const char *target = blank + 1;
    size_t      length = strcspn(target, " ");
    size_t      stored = length < HTTP_URL_SIZE ? length : HTTP_URL_SIZE - 1;
    const char *end = target + length;

    memcpy(request.url, target, stored);
    request.url[stored] = '\0';
    if (*end == ' ' && strncmp(end + 1, "HTTP/1.1", 8) == 0)
        request.http_version = 11;
}

// "http://host/path" becomes "/path"; without a path it stays whole. The host
// has at least one character.
static void strip_host(char *url)
{
    static constexpr char scheme[] = "http://";

    if (strncmp(url, scheme, strlen(scheme)) != 0 || !url[strlen(scheme)])
        return;
    const char *path = strchr(url + strlen(scheme) + 1, '/');
    if (path)
        memmove(url, path, strlen(path) + 1);
}

static void set_url(HttpRequest &request, const char *url)
{
    snprintf(request.url, sizeof(request.url), "%s", url);
}

static void replace_well_known_url(HttpRequest &request)
{
    if (request.url[0] == '\0' || strcmp(request.url, "/") == 0)
        set_url(request,
                is_post(request) ? "/ContentDirectory/Control" : g_default_url);
    if (strcmp(request.url, "/favicon.ico") == 0)
        set_url(request, "/images/favicon.ico");
}

static uint8_t dlna_version_of(const char *header)
{
    if (holds(header, "DLNADOC/1.00"))
        return 10;
    return holds(header, "DLNADOC/1.50") ? 15 : 0;
}

// HTTP/1.0 closes whatever its headers say, HTTP/1.1 stays open. The value of
// the Connection header is read at the first blank behind the name, wherever
// that stands; one that is not known closes, unless both words come later.
static bool is_to_close(const HttpRequest &request)
{
    const char *connection = upnp_istrstr(request.header, "\nConnection:");

    if (request.http_version == 10)
        return true;
    if (!connection)
        return false;
    const char *value = connection + strcspn(connection, " ");
    if (upnp_starts_with(value, " close"))
        return true;
    if (upnp_starts_with(value, " Keep-Alive"))
        return false;
    return !holds_in_any_case(connection, "close") ||
           !holds_in_any_case(connection, "Keep-Alive");
}

static void identify_client(HttpRequest &request)
{
    request.client = upnp_client_db_add_by_ip(
        request.base_url, request.client_ip, request.header);
    request.method = http_method_from_header(request.header);
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, function, "header = %s",
                  request.header);

    // The one HTTP/1.0 client that is kept alive.
    if (upnp_client_db_redsonic_compliant(request.client) &&
        request.http_version == 10)
        request.close_connection = 0;
}

static bool is_admitted(HttpRequest &request)
{
    return !request.from_remote_listener || holds(request.url, "resources") ||
           HTTP_has_authorization(&request) != 0;
}

// "http://" becomes "https://"; a text that is full loses its last byte.
static void use_https(HttpRequest &request)
{
    char  *rest = request.base_url + strlen("http");
    size_t room = sizeof(request.base_url) - sizeof("https");
    size_t length = strnlen(rest, room);

    if (strncmp(request.base_url, "http://", strlen("http://")) != 0)
        return;
    memmove(rest + 1, rest, length);
    rest[0] = 's';
    rest[length + 1] = '\0';
}

static bool has_body(const HttpRequest &request)
{
    switch (request.method) {
    case HTTP_METHOD_POST:
    case HTTP_METHOD_NOTIFY: return true;
    case HTTP_METHOD_SUBSCRIBE:
    case HTTP_METHOD_UNSUBSCRIBE:
        return HTTP_parse_header_chunked(request.header) != 0;
    default: return false;
    }
}

// Returns the body, which may be null; request.body borrows its text.
static UpnpString *read_body(HttpRequest &request)
{
    UpnpString *body = nullptr;

    if (!request.tls)
        body = HTTP_receive_body(request.socket, request.header);
    else if (cb_tls_http_receive_body)
        body = cb_tls_http_receive_body(request.tls_session, request.header);
    else
        return nullptr;

    request.body = upnp_string_get_cstring(body);
    request.content_length = upnp_string_get_length(body);
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, function, "received doc = %s",
                  request.body ? request.body : "- NO BODY RECEIVED -");
    return body;
}

static bool is_refused_at_remote_port(const HttpRequest          &request,
                                      const http_handlers::Match &match)
{
    return !match.remote_allowed && request.at_remote_port &&
           g_remote_dns_name[0] == '\0';
}

// A refused request gives 0 and leaves the connection to the close decision.
static int32_t call_handler(HttpRequest &request)
{
    http_handlers::Match match;
    UpnpString          *body = nullptr;
    int32_t              result = 0;

    if (!http_handlers::find(request, match)) {
        HTTP_send_file_not_found(&request);
        return 0;
    }
    if (match.read_body && has_body(request))
        body = read_body(request);

    // The program may have shut down while the body came in.
    if (http_handlers::is_empty())
        HTTP_send_file_not_found(&request);
    else if (is_refused_at_remote_port(request, match))
        HTTP_send_unauthorized(&request);
    else
        result = match.handler(&request);

    request.body = nullptr;
    upnp_string_safe_free(&body);
    return result;
}

static int32_t serve(HttpRequest &request, HttpServerEntry *server)
{
    if (!read_head(request))
        return 1;
    if (is_blind_upload(request))
        return HTTP_send_error_code(&request, 400);
    answer_expectation(request);

    read_first_line(request);
    strip_host(request.url);
    HTTP_unescape_url(request.url);
    replace_well_known_url(request);
    request.dlna_version = dlna_version_of(request.header);
    request.close_connection = is_to_close(request);
    identify_client(request);

    request.from_remote_listener =
        static_cast<int32_t>(shared::load(server->remoteAccess));
    http_remote::recognise_port(request);
    if (!is_admitted(request)) {
        HTTP_send_access_restriced(&request);
        return 0;
    }
    if (request.from_remote_listener)
        http_remote::use_public_base_url(request);
    if (request.tls)
        use_https(request);
    request.protected_content = 0;
    return call_handler(request);
}

int32_t HTTP_send_receive(HttpConnection *connection)
{
    if (!connection)
        return 1;
    auto *request =
        static_cast<HttpRequest *>(upnp_calloc_impl(1, sizeof(HttpRequest)));
    if (!request)
        return 1;

    fill_from_connection(*request, *connection);
    int32_t result = serve(*request, connection->server);
    connection->file_cache = request->file_cache;

    // A handler that took the socket over decides alone.
    if (request->socket != -1 && request->close_connection)
        result = 1;
    upnp_free_impl(request);
    return result;
}
