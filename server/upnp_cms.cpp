// upnp_cms.cpp - the ConnectionManager actions that every device answers alike.

#include "server/upnp_cms.h"

#include "documents/upnp_xml.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_string.h"
#include "server/soap_text.h"
#include "server/upnp_error.h"
#include "ssdp/upnp_ssdp.h"

#include <stdlib.h>
#include <string.h>

// Both answers are one line, with blanks where line ends would be.
static constexpr char connection_ids[] = SOAP_ENVELOPE
    "  <s:Body>"
    "    <u:GetCurrentConnectionIDsResponse"
    " xmlns:u=\"urn:schemas-upnp-org:service:ConnectionManager:1\">"
    "      <ConnectionIDs>0</ConnectionIDs>"
    "    </u:GetCurrentConnectionIDsResponse>"
    "  </s:Body>"
    "</s:Envelope>";

static constexpr char connection_info_format[] = SOAP_ENVELOPE
    "  <s:Body>"
    "    <u:GetCurrentConnectionInfoResponse"
    " xmlns:u=\"urn:schemas-upnp-org:service:ConnectionManager:1\">"
    "      <RcsID>%d</RcsID>"
    "      <AVTransportID>%d</AVTransportID>"
    "      <ProtocolInfo>%s</ProtocolInfo>"
    "      <PeerConnectionManager></PeerConnectionManager>"
    "      <PeerConnectionID>%d</PeerConnectionID>"
    "      <Direction>Output</Direction>"
    "      <Status>Unknown</Status>"
    "    </u:GetCurrentConnectionInfoResponse>"
    "  </s:Body>"
    "</s:Envelope>";

// The text ends with a NUL, and so has the byte more that HTTP_send may take.
static int32_t send_text(HttpRequest *request, const char *text, size_t length)
{
    request->content_length = static_cast<int64_t>(length);
    request->mime_type = soap::mime_type;
    return HTTP_send(request, text);
}

// The ConnectionID of an action; -1 if there is none or if it is no number.
static long long connection_id_of(const char *body)
{
    XmlNode    *action = upnp_xml_parse(body);
    const char *text = upnp_xml_find_tag_value(action, "ConnectionID");
    long long   id = -1;

    if (text && *text && upnp_isnumeric(text))
        id = strtoll(text, nullptr, 10);
    upnp_xml_release(action);
    return id;
}

int32_t upnp_cms_get_current_connectionIDs(HttpRequest *request)
{
    if (!request)
        return 1;
    return send_text(request, connection_ids, strlen(connection_ids));
}

int32_t upnp_cms_get_current_connection_info(HttpRequest *request,
                                             const char  *protocolInfo)
{
    if (!request)
        return 1;

    long long connection = connection_id_of(request->body);
    if (connection < 0) {
        upnp_log_impl(UPNP_LOG_INFO, LOG_XML,
                      "upnp_cms_get_current_connection_info",
                      "ConnectionID parameter invalid or not specified");
        return upnp_send_error(request, 402);
    }

    int         id = upnp_ssdp_getRenderer() && connection == 0 ? 0 : -1;
    UpnpString *text =
        upnp_string_sprintf(nullptr, connection_info_format, id, id,
                            protocolInfo ? protocolInfo : "", -1);
    if (!text)
        return 1;
    int32_t result = send_text(request, text->buffer, text->length);
    upnp_string_free(text);
    return result;
}
