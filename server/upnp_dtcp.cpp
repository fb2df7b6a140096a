// upnp_dtcp.cpp - the slots through which a content-protection module plugs in.

#include "server/upnp_dtcp.h"

DtcpStart         cb_dtcp_start;
DtcpAddress       cb_dtcp_address;
DtcpNetworkChange cb_dtcp_network_change;
DtcpStop          cb_dtcp_stop;
DtcpContentType   cb_dtcp_content_type;

WmdrmHook cb_IsWmdrmRequest;
WmdrmHook cb_HTTP_get_content;
WmdrmHook cb_wmdrm_upnp_soap_authorized;
WmdrmHook cb_wmdrm_upnp_soap_validated;
WmdrmHook cb_wmdrm_upnp_soap_registered;

void server_set_dtcp_callbacks(DtcpStart start, DtcpAddress address,
                               DtcpNetworkChange network_change, DtcpStop stop,
                               DtcpContentType content_type)
{
    cb_dtcp_start = start;
    cb_dtcp_address = address;
    cb_dtcp_network_change = network_change;
    cb_dtcp_stop = stop;
    cb_dtcp_content_type = content_type;
}

void server_set_wmdrm_callbacks(WmdrmHook is_wmdrm_request,
                                WmdrmHook get_content,
                                WmdrmHook soap_authorized,
                                WmdrmHook soap_validated,
                                WmdrmHook soap_registered)
{
    cb_IsWmdrmRequest = is_wmdrm_request;
    cb_HTTP_get_content = get_content;
    cb_wmdrm_upnp_soap_authorized = soap_authorized;
    cb_wmdrm_upnp_soap_validated = soap_validated;
    cb_wmdrm_upnp_soap_registered = soap_registered;
}
