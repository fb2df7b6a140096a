// upnp_server.cpp - the state of the servers, and who asks for it.

#include "server/upnp_server.h"

#include "runtime/upnp_shared.h"
#include "server/server_rows.h"
#include "ssdp/upnp_ssdp.h"

#include <algorithm>

int32_t g_server_running;
int32_t g_nInterfaceCount;
char    g_IPaddress[UPNP_MAX_INTERFACES][UPNP_IP_SIZE];
int32_t g_localPort;

HttpServerEntry server::plain_rows[UPNP_MAX_INTERFACES];
HttpServerEntry server::remote_rows[UPNP_MAX_INTERFACES];

constinit std::atomic<int32_t> server::in_restart;
int32_t                        server::remote_port;
char                           server::address_text[128];
void (*server::restart_callback)(void);

bool server::is_served(HttpServerEntry &row)
{
    return shared::load(row.ip[0]) != '\0';
}

void M_Search(void)
{
    for (HttpServerEntry &row : server::plain_rows) {
        if (server::is_served(row))
            SSDP_m_search(&row);
    }
}

char *getHttpServer(void)
{
    return server::address_text;
}

HttpServerEntry *getHTTPServerData(uint32_t index)
{
    int32_t rows = std::min<int32_t>(shared::load(g_nInterfaceCount),
                                     UPNP_MAX_INTERFACES);

    if (rows < 0 || index >= static_cast<uint32_t>(rows))
        return nullptr;
    return &server::plain_rows[index];
}

void server_set_remote_port(int32_t port)
{
    server::remote_port = port;
}

void server_set_cp_callback(void (*callback)(void))
{
    server::restart_callback = callback;
}
