// remote.cpp - the listeners for clients from outside, over TLS.
//
// The library takes requests without a token for those of its public name,
// which this program does not have: here every request is looked at again.

#include "qm-serve/remote.h"

#include "common/secret.h"
#include "config/upnp_ini_file.h"
#include "http/http_auth.h"
#include "http/http_body.h"
#include "http/http_links.h"
#include "http/http_pages.h"
#include "qm-serve/file_cache.h"
#include "qm-serve/stream.h"
#include "runtime/upnp_encode.h"
#include "runtime/upnp_mem.h"
#include "server/upnp_server.h"
#include "tls/session_tokens.h"
#include "tls/tls_provider.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <strings.h>
#include <sys/stat.h>

// Keys of the program's own properties.
static constexpr uint32_t KEY_PORT = 105;
static constexpr uint32_t KEY_USER = 108;
static constexpr uint32_t KEY_PASSWORD = 109;
static constexpr uint32_t KEY_ENTRY_TIME = 110;

// What the library keeps: a password takes two bytes a character.
static constexpr size_t MAX_USER_BYTES = 63;
static constexpr size_t MAX_PASSWORD_BYTES = 30;
static constexpr size_t SCRAMBLED_BYTES = 2 * MAX_PASSWORD_BYTES + 4;

// That of the library's cookies.
static constexpr int64_t SESSION_MS = 86'400'000;

static constexpr char login_url[] = "/auth/ott";

namespace {
struct Property {
    uint32_t    key;
    const char *name, *standard, *comment;
};

struct Settings {
    int32_t     port, entry_seconds;
    std::string certificate, key, user, password;
};
}

// clang-format off
static constexpr Property properties[] = {
    { KEY_PORT, "remoteport", "0",
      "Port for clients from outside, over TLS. Default: 0, none" },
    { serve::KEY_CERTIFICATE, "cert", nullptr,
      "PEM file of its certificate. Default: one that is made in \"appdata\"" },
    { serve::KEY_PRIVATE_KEY, "key", nullptr, "PEM file of the private key to it" },
    { KEY_USER, "user", nullptr, "Name that lets clients from outside in" },
    { KEY_PASSWORD, "password", nullptr, "Password that belongs to it" },
    { KEY_ENTRY_TIME, "entrytime", "0",
      "Seconds that the URL which is printed at the start lets anybody from "
      "outside in. Default: 0, not at all" },
};
// clang-format on

// Filled before the server starts, then only read.
static int32_t     port;         // 0: no listeners
static std::string credentials;  // user and password in base64; may be empty
static std::string entry;

// --- Settings ---------------------------------------------------------------

static std::string text_property(uint32_t key)
{
    const char *text = upnp_ini_file_getString(key);

    return text ? text : "";
}

static Settings read_settings()
{
    Settings    settings = { upnp_ini_file_getInt(KEY_PORT),
                             upnp_ini_file_getInt(KEY_ENTRY_TIME),
                             text_property(serve::KEY_CERTIFICATE),
                             text_property(serve::KEY_PRIVATE_KEY),
                             text_property(KEY_USER),
                             text_property(KEY_PASSWORD) };
    std::string stem = text_property(INI_APPDATA) + "/qm-serve";

    if (settings.certificate.empty() && settings.key.empty()) {
        settings.certificate = stem + ".crt";
        settings.key = stem + ".key";
    }
    return settings;
}

static bool is_visible(char c)
{
    return c > ' ' && c <= '~';
}

static bool can_be_kept(const Settings &settings)
{
    const std::string &user = settings.user;
    const std::string &password = settings.password;

    return user.size() <= MAX_USER_BYTES && user.find(':') == user.npos &&
           password.size() <= MAX_PASSWORD_BYTES &&
           !password.starts_with("::") &&
           std::all_of(password.begin(), password.end(), is_visible);
}

// What is wrong with the settings; null for nothing.
static const char *find_fault(const Settings &settings)
{
    if (settings.port < 1 || settings.port > UINT16_MAX)
        return "is no port";
    if (settings.user.empty() != settings.password.empty())
        return "takes -user and -password together";
    if (settings.user.empty() && settings.entry_seconds < 1)
        return "takes -user and -password, or -entrytime: it is not for "
               "everybody";
    if (!can_be_kept(settings))
        return "takes a user name of 63 bytes without \":\", and a password of "
               "30 visible ASCII characters that does not begin with \"::\"";
    if (settings.certificate.empty() || settings.key.empty())
        return "takes -cert and -key together";
    return nullptr;
}

// The INI file holds the password, too, and so is for its owner alone.
static bool set_password(const Settings &settings)
{
    std::string pair = settings.user + ":" + settings.password;
    char        scrambled[SCRAMBLED_BYTES];
    const char *path = upnp_ini_file_get_ini_path();
    char       *encoded;

    if (settings.user.empty())
        return true;
    encoded =
        upnp_bin_to_base64(pair.data(), static_cast<uint32_t>(pair.size()));
    if (!encoded)
        return false;
    credentials = encoded;
    upnp_free_impl(encoded);

    upnp_string_encrypt(settings.password.c_str(), scrambled,
                        sizeof(scrambled));
    HTTP_set_username_and_pwd(settings.user.c_str(), scrambled, 0);
    HTTP_set_access_restriced_message(
        nullptr, "<a href=\"/auth/ott\">Log in</a> to see this page.");
    if (path)
        chmod(path, S_IRUSR | S_IWUSR);
    return true;
}

static bool make_entry(const Settings &settings)
{
    char token[tls::TOKEN_SIZE];

    upnp_http_register_cookie_handler(tls::is_valid_token);
    if (settings.entry_seconds < 1)
        return true;
    if (!tls::issue_token(token, settings.entry_seconds * int64_t{ 1000 }))
        return false;
    entry = std::string("ra?") + token;
    return true;
}

// --- Requests ---------------------------------------------------------------

// "Authorization: Basic dXNlcjpwYXNz"; RFC 7617, 2.
static bool shows_password(const char *head)
{
    static constexpr std::string_view scheme = "Basic ";

    const char      *value = HTTP_get_header_param(head, "\nauthorization:");
    std::string_view line = value ? value : "";

    line = line.substr(0, line.find('\r'));
    if (strncasecmp(line.data(), scheme.data(), scheme.size()) != 0)
        return false;
    line.remove_prefix(
        std::min(line.find_first_not_of(' ', scheme.size()), line.size()));
    return secret::is_same(line, credentials);
}

// Whoever has the password gets a session, whose pages carry its token.
static int32_t log_in(HttpRequest *request)
{
    char token[tls::TOKEN_SIZE];

    serve::clear_modified(request);
    if (!request->from_remote_listener)
        return serve::send_error(request, 404);
    if (!shows_password(request->header))
        return serve::turn_stranger_away(request);
    if (!tls::issue_token(token, SESSION_MS))
        return serve::refuse(request, 500);
    return serve::close_with(request, "303 See Other",
                             std::string("Location: /ra?") + token +
                                 "\r\nCache-Control: no-store\r\n");
}

// --- Exported ---------------------------------------------------------------

void serve::create_remote_properties()
{
    for (const Property &row : properties)
        upnp_ini_file_create_property(row.key, row.name, row.standard,
                                      row.comment, 0, 0, 0, 1);
}

// Without a public address the library puts no token into pages. Here they are
// without an address anyway.
bool serve::open_remote()
{
    Settings    settings = read_settings();
    const char *fault = settings.port == 0 ? nullptr : find_fault(settings);

    if (settings.port == 0)
        return true;
    if (!fault &&
        !tls::set_up(settings.certificate.c_str(), settings.key.c_str()))
        fault = "cannot use or make its certificate and key";
    if (!fault && (!set_password(settings) || !make_entry(settings)))
        fault = "has no memory or no random numbers";
    if (fault) {
        fprintf(stderr, "qm-serve: -remoteport %s\n", fault);
        return false;
    }
    port = settings.port;
    tls::install();
    // Nothing is posted from outside: no stranger makes this process keep one.
    cb_tls_http_receive_body = nullptr;
    upnp_ini_file_setPropertyByKey(INI_ENABLETLS, "1");
    server_set_remote_port(port);
    HTTP_set_dns_and_remote_port("", port);
    g_remote_base_url = upnp_strdup_impl("https://localhost/");
    upnp_http_register_handler(log_in, HTTP_METHOD_GET | HTTP_METHOD_HEAD,
                               login_url, 0, 1);
    return true;
}

int32_t serve::remote_port()
{
    return port;
}

const std::string &serve::remote_entry()
{
    return entry;
}

bool serve::is_stranger(const HttpRequest *request)
{
    return request->from_remote_listener &&
           !tls::shows_token(request->header) &&
           !shows_password(request->header);
}

int32_t serve::turn_stranger_away(HttpRequest *request)
{
    clear_modified(request);
    request->close_connection = 1;
    if (credentials.empty())
        HTTP_send_unauthorized(request);
    else
        HTTP_send_access_restriced(request);
    return 1;
}

UpnpString *serve::with_session(HttpRequest *request, const std::string &html)
{
    return http_post_process_for_remote_access(
        request, upnp_string_create(html.c_str(), 0));
}

void serve::end_remote_sessions()
{
    tls::release();
}

void serve::close_remote()
{
    tls::release();
    tls::revoke_all_tokens();
    if (g_remote_base_url)
        upnp_free_impl(g_remote_base_url);
    g_remote_base_url = nullptr;
}
