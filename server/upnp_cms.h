// upnp_cms.h - the ConnectionManager actions that every device answers alike
// (UPnP ConnectionManager:1). A device has one connection, which is always
// there.
//
// The program calls these from its handler, with the request of the action.
// They answer it in full; 0, or 1 for a null request and when nothing or only
// a part could be sent.
//
// Threads: a request belongs to its connection's thread.
#ifndef SERVER_UPNP_CMS_H
#define SERVER_UPNP_CMS_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// GetCurrentConnectionIDs: always the one id 0.
UPNP_API int32_t upnp_cms_get_current_connectionIDs(HttpRequest *request);

// GetCurrentConnectionInfo. protocolInfo goes into the answer as it is,
// unescaped; null is empty. Any ConnectionID of 0 and more is answered, though
// only connection 0 of a renderer has the RcsID and AVTransportID 0: all others
// have -1. Error 402 if the body has none, or one that is no number; "-" is 0.
UPNP_API int32_t upnp_cms_get_current_connection_info(HttpRequest *request,
                                                      const char *protocolInfo);

UPNP_C_END
#endif
