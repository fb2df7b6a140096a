// http_client_open.cpp - connects to the host of a URL.

#include "http/http_client.h"

#include "http/http_client_parts.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_socket.h"
#include "runtime/upnp_watchdog_owner.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

static constexpr char open_name[] = "HTTP_open_ttl";

namespace {
struct Scheme {
    std::string_view start;
    uint16_t         port;
};

struct Endpoint {
    char     ip[UPNP_IP_SIZE];
    uint16_t port;
};
}

static constexpr Scheme schemes[] = {
    { http_client::http_scheme, 80 },
    { "ftp://", 21 },
};

static const Scheme *find_scheme(std::string_view url)
{
    for (const Scheme &scheme : schemes) {
        if (url.starts_with(scheme.start))
            return &scheme;
    }
    return nullptr;
}

// Drops the user part in front of a host: the text behind it takes the place
// of rest, which is freed. Null when out of memory.
static char *drop_user(char *rest)
{
    const char *user_end = strpbrk(rest, "@/");

    if (!user_end || *user_end != '@')
        return rest;
    char *host = upnp_strdup_impl(user_end + 1);
    upnp_free_impl(rest);
    if (!host)
        upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, open_name, "Out of memory");
    return host;
}

// Ends host behind its name, and returns the port that the name brings.
static uint16_t cut_port(char *host, uint16_t default_port)
{
    char    *end = host + strcspn(host, ":/");
    uint32_t digits = 0;
    uint32_t port = *end == ':' ? upnp_atoui2(end + 1, &digits) : 0;

    *end = '\0';
    return digits > 0 ? static_cast<uint16_t>(port) : default_port;
}

// Finds the address and the port of a URL; false, with a log line, on failure.
static bool find_endpoint(const char *url, Endpoint *endpoint)
{
    if (!url) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, open_name,
                      "No url specified");
        return false;
    }
    const Scheme *scheme = find_scheme(url);
    if (!scheme) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, open_name,
                      "Malformed url: %s", url);
        return false;
    }
    char *host = upnp_strdup_impl(url + scheme->start.size());
    if (!host) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, open_name,
                      "Failed to parse hostname from url: %s", url);
        return false;
    }
    host = drop_user(host);
    if (!host)
        return false;

    endpoint->port = cut_port(host, scheme->port);
    upnp_gethostbyname(host, endpoint->ip);
    upnp_free_impl(host);
    return true;
}

// Connects under the watchdog. It gets a descriptor of its own: the number of
// one that it closes may at once be another thread's, while ours stays ours.
// Child programs inherit neither of the two.
static bool connect_in_time(int32_t socket, const Endpoint &to, int32_t ms)
{
    bool           closed = false;
    int32_t        watched = fcntl(socket, F_DUPFD_CLOEXEC, 0);
    SocketTimeout *watch =
        watchdog::enforce(static_cast<uint32_t>(ms), watched, &closed);
    int32_t failed = upnp_socket_connect(socket, to.ip, to.port) != 0;

    if (watch)
        failed = watchdog::release(watch, failed, &closed);
    // close, since upnp_close_socket would shut down the connection as well.
    if (watched != -1 && !closed)
        close(watched);
    return !failed;
}

static bool connect_to(int32_t socket, const Endpoint &to)
{
    int32_t seconds = HTTP_get_connection_timeout();

    if (seconds == 0)
        return upnp_socket_connect(socket, to.ip, to.port) == 0;

    auto ms = static_cast<int32_t>(static_cast<uint32_t>(seconds) * 1000u);
    setSockOptSendTimeout(socket, ms);
    setSockOptReceiveTimeout(socket, ms);
    return connect_in_time(socket, to, ms);
}

int32_t HTTP_open(const char *url)
{
    return HTTP_open_ttl(url, 0);
}

int32_t HTTP_open_ttl(const char *url, int32_t ttl)
{
    Endpoint to;

    if (!find_endpoint(url, &to))
        return -1;

    int32_t socket = upnp_socket_create_tcp();
    if (socket == -1) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, open_name,
                      "Failed to open tcp socket");
        return -1;
    }
    setSockOptNoSignal(socket);
    if (ttl != 0)
        setSockOptTTL(socket, ttl);

    if (!connect_to(socket, to)) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, open_name,
                      "Failed to connect to ip=%s on port=%d", to.ip, to.port);
        upnp_close_socket(&socket);
        return -1;
    }
    return socket;
}
