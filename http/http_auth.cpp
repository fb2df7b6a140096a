// http_auth.cpp - who may come in through the remote-access listener.

#include "http/http_auth.h"

int32_t g_remote_port;
int32_t g_remote_dns_set;
char    g_remote_dns_name[128];
char   *g_remote_base_url;

// Nobody can be authorized while no credentials can be set.
int32_t HTTP_has_authorization(HttpRequest *)
{
    return 0;
}
