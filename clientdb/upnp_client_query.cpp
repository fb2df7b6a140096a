// upnp_client_query.cpp - what a client type needs: one question per quirk.

#include "clientdb/upnp_client_query.h"

// No client type is loaded, so every key is absent.
int32_t upnp_client_db_needs_1_0_response(int32_t)           { return 0; }
int32_t upnp_client_db_DLNA_version(int32_t)                 { return 0; }
int32_t upnp_client_db_needs_4th_field(int32_t)              { return 0; }
int32_t upnp_client_db_nobytes_in_timeseek_response(int32_t) { return 0; }
int32_t upnp_client_db_redsonic_compliant(int32_t)           { return 0; }
