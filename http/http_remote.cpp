// http_remote.cpp - requests from outside the local network.

#include "http/http_remote.h"

#include "http/http_auth.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

// The page by which a client tells under what address it sees this server.
static constexpr char entry_page[] = "/auth/ott";

CriticalSection http_remote::base_url_lock = { PTHREAD_MUTEX_INITIALIZER, 0,
                                               0 };

// "http://10.0.0.5:9000/" has port 9000.
static int32_t port_of(const char *base_url)
{
    const char *colon = strchr(base_url + strlen("http://"), ':');

    return colon ? static_cast<int32_t>(strtol(colon + 1, nullptr, 10)) : 0;
}

// Finds the value of the Host header, which may be empty; whether there is one.
// The byte behind the colon is taken for a blank, whatever it is.
static bool find_host(const char *header, std::string_view &host)
{
    const char *found = upnp_istrstr(header, "Host:");

    if (!found)
        return false;
    std::string_view line = found;
    line = line.substr(0, line.find("\r\n"));
    size_t start = line.find_first_not_of(' ', strlen("Host: "));
    host = line.substr(std::min(start, line.size()));
    return true;
}

static void remember_base_url(std::string_view host)
{
    static constexpr char format[] = "http://%.*s/";
    uint32_t size = static_cast<uint32_t>(sizeof(format) + host.size());
    char    *base_url = static_cast<char *>(upnp_malloc_impl(size));

    if (!base_url)
        return;
    snprintf(base_url, size, format, static_cast<int>(host.size()),
             host.data());
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, "HTTP_send_receive",
                  "g_remote_base_url=%s", base_url);

    EnterCriticalSection(&http_remote::base_url_lock);
    char *old = g_remote_base_url;
    g_remote_base_url = base_url;
    LeaveCriticalSection(&http_remote::base_url_lock);
    if (old)
        upnp_free_impl(old);
}

// A text that does not fit is cut.
UPNP_PRINTF(2, 3)
static void set_base_url(HttpRequest &request, const char *format, ...)
{
    va_list args;

    va_start(args, format);
    vsnprintf(request.base_url, sizeof(request.base_url), format, args);
    va_end(args);
}

void http_remote::recognise_port(HttpRequest &request)
{
    request.at_remote_port = 0;
    if (g_remote_port == 0 || port_of(request.base_url) != g_remote_port)
        return;

    request.at_remote_port = 1;
    if (!strstr(request.url, entry_page)) {
        request.session_required = 1;
        return;
    }
    std::string_view host;
    if (find_host(request.header, host))
        remember_base_url(host);
}

// The name may be a whole URL base, such as "http://host/path/", or one that
// ends in "?" and takes no port.
void http_remote::use_public_base_url(HttpRequest &request)
{
    std::string_view name = g_remote_dns_name;

    if (!g_remote_dns_set)
        return;
    if (g_remote_port < 1)
        set_base_url(request, name.ends_with('/') ? "%s" : "%s/", name.data());
    else if (name.ends_with('?'))
        set_base_url(request, "%s/", name.data());
    else
        set_base_url(request, "%s:%d/", name.data(), g_remote_port);
}
