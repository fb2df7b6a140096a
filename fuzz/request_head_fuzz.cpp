// request_head_fuzz.cpp - any bytes as what a client sends on a connection:
// served as the server does it, from the head to the response.
//
// The first byte chooses the listener, for the local network or for remote
// access.

#include "clientdb/upnp_client_db.h"
#include "clientdb/upnp_client_table.h"
#include "fuzz/fuzz.h"
#include "http/http_auth.h"
#include "http/http_header.h"
#include "runtime/upnp_mem.h"

#include <cstring>

using fuzz::require;

static constexpr int32_t LOCAL_PORT = 9000;
static constexpr int32_t REMOTE_PORT = 9001;
static constexpr int32_t NO_SOCKET = 1000;  // a number that is not open
static constexpr int     MOST_REQUESTS = 4;

static constexpr char types[] = ">>\nNA:Own\n>>\nNA:Generic\n"
                                ">>\nNA:Dlna\nHH:DLNADOC\nXM:DLNA15\n"
                                ">>\nNA:Red\nHH:redsonic\nDX:REDSONIC\nDB:FIX\n"
                                ">>\nNA:Old\nH2:Old/1\nHP:1.0RESPONSE\n"
                                ">>\nNA:Fixed\nHH:Fixed\nDB:FIXPC\n>>\n";

static int32_t answer(HttpRequest *request)
{
    static constexpr char page[] = "a page";  // and a byte behind it

    require(strnlen(request->url, HTTP_URL_SIZE) < HTTP_URL_SIZE);
    require(strnlen(request->header, HTTP_HEAD_SIZE) < HTTP_HEAD_SIZE);
    require(request->http_version == 10 || request->http_version == 11);
    require(!request->body || strlen(request->body) <=
                                  static_cast<size_t>(request->content_length));
    request->content_length = sizeof(page) - 1;
    request->duration_ms = 60000;
    return HTTP_send(request, page);
}

static int32_t add_line(HttpRequest *request)
{
    HTTP_set_server_info(request);
    return 0;
}

static bool start()
{
    fuzz::load_client_types(types, sizeof(types));
    upnp_http_register_handler(answer, 0x3F, nullptr, 1, 1);
    upnp_http_register_handler(answer, HTTP_METHOD_GET, "/local", 0, 0);
    upnp_http_register_header_handler(add_line);
    upnp_http_set_default_url("/index.html");
    HTTP_set_username_and_pwd("user", "AAAAAAAA", 0);
    upnp_http_register_cookie_handler(
        [](char *token) -> int32_t { return *token != '0'; });
    return true;
}

// The machine is known, so that no MAC is looked up, and its type is open.
static void meet_client()
{
    ClientEntry *entry = upnp_client_db_add_new_client();

    entry->ip = upnp_strdup_impl("0.0.0.0");
    entry->connected = 1;
}

static void forget_public_address()
{
    if (g_remote_base_url)
        upnp_free_impl(g_remote_base_url);
    g_remote_base_url = nullptr;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool is_started = start();
    int64_t           used = upnp_mem_used();
    HttpServerEntry   server = {};
    HttpConnection    connection = { &server, NO_SOCKET, nullptr, 0, 0 };

    if (!is_started || size == 0)
        return 0;
    strcpy(server.ip, "127.0.0.1");
    server.remoteAccess = data[0] & 1;
    server.httpPort = server.remoteAccess ? REMOTE_PORT : LOCAL_PORT;
    HTTP_set_dns_and_remote_port(data[0] & 2 ? "example.org" : nullptr,
                                 REMOTE_PORT);
    fuzz::Text text = fuzz::stretch(data + 1, size - 1);
    wire::in = { text.bytes.get(), text.size, SIZE_MAX, 0 };
    wire::out.clear();
    meet_client();

    for (int i = 0; i < MOST_REQUESTS; ++i) {
        if (HTTP_send_receive(&connection) != 0)
            break;
    }
    require(wire::out.empty() || wire::out.starts_with("HTTP/1."));
    exit_client_table();
    forget_public_address();
    require(upnp_mem_used() == used);
    return 0;
}
