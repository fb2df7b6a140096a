// upnp_client_identify.h - finding the client type behind a request.
#ifndef CLIENTDB_UPNP_CLIENT_IDENTIFY_H
#define CLIENTDB_UPNP_CLIENT_IDENTIFY_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// The client type id of the machine at ip that sent this head; 1 is the
// generic profile.
UPNP_API int32_t upnp_client_db_add_by_ip(const char *base_url, const char *ip,
                                          const char *header);

UPNP_C_END
#endif
