// connection_manager.cpp - the service ConnectionManager:1.

#include "qm-serve/connection_manager.h"

#include "http/http.h"
#include "qm-serve/client_access.h"
#include "qm-serve/didl.h"
#include "qm-serve/media_type.h"
#include "qm-serve/soap.h"
#include "server/upnp_cms.h"

static constexpr char service[] =
    "urn:schemas-upnp-org:service:ConnectionManager:1";

using namespace serve;

// A server is a source alone.
static int32_t get_protocol_info(const SoapCall &call)
{
    std::string source;

    for (const char *type : media_types()) {
        if (!source.empty())
            source += ',';
        source += protocol_info(type, "*");
    }
    return send_answer(call, { { "Source", source }, { "Sink", "" } });
}

static int32_t get_connection_ids(const SoapCall &call)
{
    return upnp_cms_get_current_connectionIDs(call.request);
}

static int32_t get_connection_info(const SoapCall &call)
{
    return upnp_cms_get_current_connection_info(call.request, nullptr);
}

// clang-format off
static constexpr SoapAction actions[] = {
    { "GetProtocolInfo",          get_protocol_info },
    { "GetCurrentConnectionIDs",  get_connection_ids },
    { "GetCurrentConnectionInfo", get_connection_info },
};
// clang-format on

static int32_t handle_control(HttpRequest *request)
{
    return call_action(request, service, actions);
}

void serve::register_connection_manager()
{
    upnp_http_register_handler(admitted_at_home<handle_control>,
                               HTTP_METHOD_POST, "/ConnectionManager/Control",
                               1, 1);
    upnp_http_register_handler(admitted_at_home<refuse_subscription>,
                               HTTP_METHOD_SUBSCRIBE | HTTP_METHOD_UNSUBSCRIBE,
                               "/ConnectionManager/Event", 1, 1);
}
