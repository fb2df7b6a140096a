// upnp_client_query.h - what a client type needs: one question per quirk.
#ifndef CLIENTDB_UPNP_CLIENT_QUERY_H
#define CLIENTDB_UPNP_CLIENT_QUERY_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Each takes a client type id. An unknown id or an absent key gives 0.
UPNP_API int32_t upnp_client_db_needs_1_0_response(int32_t id);
UPNP_API int32_t upnp_client_db_DLNA_version(int32_t id);
UPNP_API int32_t upnp_client_db_needs_4th_field(int32_t id);
UPNP_API int32_t upnp_client_db_nobytes_in_timeseek_response(int32_t id);
UPNP_API int32_t upnp_client_db_redsonic_compliant(int32_t id);

UPNP_C_END
#endif
