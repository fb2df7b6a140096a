// http_auth.h - who may come in through the remote-access listener.
#ifndef HTTP_HTTP_AUTH_H
#define HTTP_HTTP_AUTH_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// How remote clients reach this server. Set before the start.
UPNP_API extern int32_t g_remote_port;           // public port; 0: none
UPNP_API extern int32_t g_remote_dns_set;        // 1: the name is not empty
UPNP_API extern char    g_remote_dns_name[128];  // public host or URL base
UPNP_API extern char   *g_remote_base_url;       // tracked text or null

// 1 if the request may be served on a remote-access listener, else 0.
UPNP_API int32_t HTTP_has_authorization(HttpRequest *request);

UPNP_C_END
#endif
