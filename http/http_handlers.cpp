// http_handlers.cpp - the lists of URL handlers and header handlers.
//
// The lists are filled before the server starts and then only read, so rows
// have no lock. Their heads are atomic: a request that reads a long body must
// see that the list was emptied meanwhile.

#include "http/http_handlers.h"

#include "http/http_tls.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <atomic>
#include <cstdio>
#include <cstring>

char g_default_url[HTTP_URL_SIZE];

static std::atomic<HttpHandlerEntry *>       url_handlers;
static std::atomic<HttpHeaderHandlerEntry *> header_handlers;

template <typename Row> static void free_list(std::atomic<Row *> &list)
{
    Row *row = list.exchange(nullptr);

    while (row) {
        Row *next = row->next;
        upnp_free_impl(row);
        row = next;
    }
}

static bool is_taken(uint32_t methods, const char *url)
{
    for (const HttpHandlerEntry *row = url_handlers; row; row = row->next)
        if ((row->methods & methods) && strcmp(row->url, url) == 0)
            return true;
    return false;
}

// Longer prefixes stand in front; of equal lengths the latest does.
static void insert_sorted(HttpHandlerEntry *row)
{
    HttpHandlerEntry *behind = url_handlers;
    HttpHandlerEntry *before = nullptr;

    while (behind && behind->url_length > row->url_length) {
        before = behind;
        behind = behind->next;
    }
    row->next = behind;
    if (before)
        before->next = row;
    else
        url_handlers = row;
}

// An unknown method has no bit and so passes every mask.
static bool matches(const HttpHandlerEntry &row, const HttpRequest &request)
{
    return (request.method & row.methods) == request.method &&
           memcmp(row.url, request.url, row.url_length) == 0;
}

bool http_handlers::find(const HttpRequest &request, Match &match)
{
    for (const HttpHandlerEntry *row = url_handlers; row; row = row->next) {
        if (!matches(*row, request))
            continue;
        match = { row->handler, row->read_body != 0, row->remote_allowed != 0 };
        return true;
    }
    return false;
}

bool http_handlers::is_empty()
{
    return !url_handlers;
}

void http_handlers::add_head_lines(HttpRequest *request)
{
    for (HttpHeaderHandlerEntry *row = header_handlers; row; row = row->next)
        row->handler(request);
}

void upnp_http_register_handler(HttpHandler handler, uint32_t methods,
                                const char *url, int32_t read_body,
                                int32_t remote_allowed)
{
    static constexpr char function[] = "upnp_http_register_handler";

    if (!url)
        url = "";
    if (!handler) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, function,
                      "Missing handler function for URL %s", url);
        return;
    }
    if (is_taken(methods, url)) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, function,
                      "handler already registered for URL %s", url);
        return;
    }
    auto *row = static_cast<HttpHandlerEntry *>(
        upnp_calloc_impl(1, sizeof(HttpHandlerEntry)));
    if (!row) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, function, "out of memory");
        return;
    }
    if (strlen(url) >= sizeof(row->url))
        upnp_log_impl(UPNP_LOG_WARNING, LOG_HTTP, function,
                      "URL to int32_t for registration %s", url);
    snprintf(row->url, sizeof(row->url), "%s", url);
    row->url_length = static_cast<uint32_t>(strlen(row->url));
    row->handler = handler;
    row->methods = methods;
    row->read_body = read_body != 0;
    row->remote_allowed = remote_allowed != 0;
    upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, function,
                  "registered a handler for %s %d", url,
                  static_cast<int32_t>(methods));
    insert_sorted(row);
}

void upnp_http_register_header_handler(HttpHandler handler)
{
    static constexpr char function[] = "upnp_http_register_header_handler";

    if (!handler) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, function,
                      "Missing handler function");
        return;
    }
    auto *row = static_cast<HttpHeaderHandlerEntry *>(
        upnp_calloc_impl(1, sizeof(HttpHeaderHandlerEntry)));
    if (!row) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, function, "out of memory");
        return;
    }
    row->handler = handler;
    row->next = header_handlers;
    header_handlers = row;
}

int32_t upnp_http_handler_is_registered(HttpHandler handler)
{
    for (const HttpHandlerEntry *row = url_handlers; row; row = row->next)
        if (row->handler == handler)
            return 1;
    return 0;
}

void http_unregister_all_handlers(void)
{
    http_tls::stop();
    free_list(url_handlers);
    free_list(header_handlers);
}

void upnp_http_set_default_url(const char *url)
{
    snprintf(g_default_url, sizeof(g_default_url), "%s", url ? url : "");
}
