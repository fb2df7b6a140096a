// ssdp_listen.cpp - hears what is sent to the SSDP group on one interface.

#include "ssdp/upnp_ssdp.h"

int32_t SSDP_listen_Impl(HttpServerEntry *)
{
    return 0;
}

void *SSDP_listen(void *entry)
{
    SSDP_listen_Impl(static_cast<HttpServerEntry *>(entry));
    return nullptr;
}
