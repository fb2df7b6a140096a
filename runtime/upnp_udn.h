// upnp_udn.h - who this device is: its UDNs and its friendly name.
#ifndef RUNTIME_UPNP_UDN_H
#define RUNTIME_UPNP_UDN_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Tells several servers on one machine apart; 0 at load. Set before the first
// UDN is asked for.
UPNP_API extern int32_t g_nInstance;

// "uuid:..." of each device role. Stable for one machine (its first MAC) and
// one INI file (its path), made at the first call and kept from then on.
// Borrowed for good. Any thread.
UPNP_API char *upnp_get_server_udn(void);
UPNP_API char *upnp_get_renderer_udn(void);
UPNP_API char *upnp_get_renderer2_udn(void);
UPNP_API char *upnp_get_ruis_udn(void);
UPNP_API char *upnp_get_ruic_udn(void);
UPNP_API char *upnp_get_mtp_udn(void);

// A copy of name_template in which each "%HOSTNAME%" is the host's name, up to
// its first dot and cut to max_host_length bytes; a length of 4 or less leaves
// the text as it is. Null for null and, with a log line, when out of memory.
// Caller frees with upnp_free_impl.
UPNP_API char *upnp_util_create_friendlyname(const char *name_template,
                                             uint32_t    max_host_length);

UPNP_C_END
#endif
