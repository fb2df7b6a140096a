// upnp_dtcp.h - the slots through which a content-protection module plugs in.
//
// server_set_dtcp_callbacks fills them; a null slot means no module.
#ifndef SERVER_UPNP_DTCP_H
#define SERVER_UPNP_DTCP_H

#include "server/upnp_server.h"

extern DtcpStart         cb_dtcp_start;
extern DtcpAddress       cb_dtcp_address;
extern DtcpNetworkChange cb_dtcp_network_change;
extern DtcpStop          cb_dtcp_stop;
extern DtcpContentType   cb_dtcp_content_type;

#endif
