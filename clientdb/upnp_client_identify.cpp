// upnp_client_identify.cpp - finding the client type behind a request.

#include "clientdb/upnp_client_identify.h"

static constexpr int32_t GENERIC_PROFILE = 1;

int32_t upnp_client_db_add_by_ip(const char *, const char *, const char *)
{
    return GENERIC_PROFILE;
}
