// http_auth.cpp - who may come in through the remote-access listener.

#include "http/http_auth.h"

#include "http/http_header.h"
#include "http/http_remote.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_encode.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_text.h"
#include "runtime/upnp_string.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

static constexpr char session_name[] = "RAMSessionID";
static constexpr char cookie_start[] = "Cookie: RAMSessionID=";

// "/ra?token" opens a session, which begins at the second page.
static constexpr char entry_url[] = "/ra?";
static constexpr char first_page[] = "/webbrowse";

static constexpr time_t COOKIE_SECONDS = 86400;

// Room for "user:password".
static constexpr uint32_t PAIR_BYTES = 1024;

namespace {
struct Credentials {
    char user[64];
    char password[64];  // scrambled
};

enum class Source { NONE, ENTRY_URL, COOKIE, URL_PARAMETER };

struct Found {
    Source           source;
    std::string_view token;  // lies in the request; may be empty
};
}

int32_t g_remote_port;
int32_t g_remote_dns_set;
char    g_remote_dns_name[128];
char   *g_remote_base_url;

// Set before the start.
static Credentials       credentials;
static Credentials       second_credentials;  // asked for by nobody
static int32_t           dtcp_port;
static HttpCookieHandler cookie_handler;

template <size_t Size> static void store(char (&field)[Size], const char *text)
{
    snprintf(field, Size, "%s", text ? text : "");
}

// The token of the cookie. It needs the end of its line, and its cookie is the
// first of the line.
static std::string_view cookie_token(const char *header)
{
    const char *cookie = strstr(header, cookie_start);

    if (!cookie)
        return {};
    std::string_view value = cookie + strlen(cookie_start);
    size_t           end = value.find("\r\n");
    if (end == value.npos)
        return {};
    value = value.substr(0, end);
    return value.substr(0, value.find(';'));
}

// The token behind its name in a URL. One byte stands between them, and all
// that follows belongs to the token, other parameters included.
static std::string_view parameter_token(const char *name)
{
    std::string_view rest = name + strlen(session_name);

    if (rest.empty())
        return {};
    rest.remove_prefix(1);
    return rest.substr(0, rest.find('\r'));
}

static Found find_token(const HttpRequest &request)
{
    if (const char *entry = strstr(request.url, entry_url))
        return { Source::ENTRY_URL, entry + strlen(entry_url) };

    std::string_view cookie = cookie_token(request.header);
    if (!cookie.empty())
        return { Source::COOKIE, cookie };

    if (const char *name = strstr(request.url, session_name))
        return { Source::URL_PARAMETER, parameter_token(name) };
    return { Source::NONE, {} };
}

static void set_cookie(HttpRequest &request, const char *token)
{
    UpnpString *date = nullptr;
    UpnpString *line = nullptr;

    if (strstr(request.response_headers, "Set-Cookie:"))
        return;
    upnp_date_formatGMT(time(nullptr) + COOKIE_SECONDS, &date);
    if (!date)
        return;

    // Cookies have the older form, "Fri, 02-Jan-2009 03:04:05 GMT".
    date->buffer[strlen("Fri, 02")] = '-';
    date->buffer[strlen("Fri, 02-Jan")] = '-';
    line = upnp_string_sprintf(nullptr, "Set-Cookie: %s=%s; expires=%s\r\n",
                               session_name, token, date->buffer);
    if (line)
        HTTP_add_header(&request, line->buffer);
    upnp_string_free(line);
    upnp_string_free(date);
}

// What stands behind the n-th c of text; null if there are fewer.
static const char *behind(const char *text, char c, int n)
{
    for (; text && n > 0; --n) {
        text = strchr(text, c);
        if (text)
            ++text;
    }
    return text;
}

// Whether the first three numbers of both addresses are the same. The listener
// has its own in base_url, "http://10.0.0.5:9000/".
static bool ra_has_same_network(const HttpRequest &request)
{
    static constexpr char function[] = "ra_has_same_network";
    const char           *host = behind(request.base_url, '/', 2);
    const char           *end = behind(host, '.', 3);
    size_t                compared = end ? static_cast<size_t>(end - host) : 0;
    bool same = end && strncmp(request.client_ip, host, compared) == 0;

    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, function,
                  "remote-access: ClientIP=%s InternalIP=%s", request.client_ip,
                  request.base_url);
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, function, "nReturn=%d (compared %d)",
                  same, static_cast<int>(compared));
    return same;
}

// Copies the public address, cut to size. False if no client has told it yet.
static bool copy_public_base_url(char *out, size_t size)
{
    EnterCriticalSection(&http_remote::base_url_lock);
    bool known = g_remote_base_url != nullptr;
    if (known)
        snprintf(out, size, "%s", g_remote_base_url);
    LeaveCriticalSection(&http_remote::base_url_lock);
    return known;
}

static void lead_through_public_address(HttpRequest &request, const char *token)
{
    char public_base_url[sizeof(request.base_url)];

    request.session_param[0] = '\0';
    if (!copy_public_base_url(public_base_url, sizeof(public_base_url)))
        return;
    if (!ra_has_same_network(request))
        store(request.base_url, public_base_url);
    snprintf(request.session_param, sizeof(request.session_param), "%s=%s",
             session_name, token);
}

// False if the request shows a token that is not good. None at all is left to
// the credentials.
static bool passes_session(HttpRequest &request)
{
    Found found = find_token(request);
    char *token;
    bool  good;

    if (found.source == Source::NONE)
        return true;
    token = found.token.empty() ? nullptr : mem::new_text(found.token);
    if (!token)
        return false;

    if (found.source == Source::ENTRY_URL)
        store(request.url, first_page);
    good = cookie_handler && cookie_handler(token);
    if (good) {
        if (found.source == Source::ENTRY_URL)
            set_cookie(request, token);
        lead_through_public_address(request, token);
    }
    upnp_free_impl(token);
    return good;
}

// Out of memory lets the request pass: a server short of it would otherwise
// lock its owner out. The text is looked for in the whole head.
static bool passes_credentials(const HttpRequest &request)
{
    char *password = nullptr;
    char *pair = nullptr;
    char *encoded = nullptr;
    bool  passes = true;

    if (!*credentials.user || !*credentials.password)
        return true;

    // Zeroed, since a text too short to be scrambled leaves it untouched.
    password = static_cast<char *>(upnp_calloc_impl(1, PAIR_BYTES));
    pair = static_cast<char *>(upnp_malloc_impl(PAIR_BYTES));
    if (!password || !pair)
        goto out;

    upnp_string_decrypt(credentials.password, password, PAIR_BYTES);
    snprintf(pair, PAIR_BYTES, "%s:%s", credentials.user, password);
    encoded = upnp_string_to_base64(pair);
    passes = !encoded || strstr(request.header, encoded);

out:
    if (encoded)
        upnp_free_impl(encoded);
    if (pair)
        upnp_free_impl(pair);
    if (password)
        upnp_free_impl(password);
    return passes;
}

void HTTP_set_dns_and_remote_port(const char *name, int32_t port)
{
    store(g_remote_dns_name, name);
    size_t length = strlen(g_remote_dns_name);

    if (length >= 2 && g_remote_dns_name[length - 1] == '/')
        g_remote_dns_name[length - 1] = '\0';
    g_remote_dns_set = length > 0;
    g_remote_port = port;
}

int32_t HTTP_get_remote_port(void)
{
    return g_remote_port;
}

void http_dtcp_set_port(int32_t port)
{
    dtcp_port = port;
}

void HTTP_set_username_and_pwd(const char *user, const char *password,
                               int32_t second)
{
    Credentials &pair = second ? second_credentials : credentials;

    if (user || second)
        store(pair.user, user);
    if (password || second)
        store(pair.password, password);
}

void upnp_http_register_cookie_handler(HttpCookieHandler handler)
{
    cookie_handler = handler;
}

int32_t HTTP_has_authorization(HttpRequest *request)
{
    if (!request)
        return 0;
    if (request->session_required) {
        if (!passes_session(*request))
            return 0;
        if (!*g_remote_dns_name)
            return 1;
    }
    return passes_credentials(*request);
}
