// ssdp_roles.cpp - what each role announces, answers and takes back.

#include "ssdp/ssdp_packet.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_thread.h"
#include "runtime/upnp_udn.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_hold.h"
#include "ssdp/upnp_ssdp.h"

#include <span>
#include <string.h>

namespace {

// Entries in the order in which receivers see them. Null is the bare UDN.
using Entries = std::span<const char *const>;

struct Role {
    int32_t (*in_force)(void);
    char *(*udn)(void);
    const char *path;      // of the device description
    int32_t     pause_ms;  // after each packet, to spare slow receivers
    Entries     alive;
    Entries     byebye;  // shorter, or in another order, on purpose
};

// Where a set of packets goes.
struct Route {
    int32_t     socket;
    const char *local_ip;
    int32_t     http_port;
    const char *ip;
    int32_t     port;
};

}

static constexpr char all[] = "ssdp:all";
static constexpr char root[] = "upnp:rootdevice";

// clang-format off
static constexpr const char *server_alive[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:MediaServer:1",
    "urn:schemas-upnp-org:service:ContentDirectory:1",
    "urn:schemas-upnp-org:service:ConnectionManager:1",
    "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1",
};
static constexpr const char *server_byebye[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:MediaServer:1",
    "urn:schemas-upnp-org:service:ContentDirectory:1",
    "urn:schemas-upnp-org:service:ConnectionManager:1",
};
static constexpr const char *renderer_alive[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:MediaRenderer:1",
    "urn:schemas-upnp-org:service:ConnectionManager:1",
    "urn:schemas-upnp-org:service:AVTransport:1",
    "urn:schemas-upnp-org:service:RenderingControl:1",
};
static constexpr const char *renderer_byebye[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:MediaRenderer:1",
    "urn:schemas-upnp-org:service:RenderingControl:1",
    "urn:schemas-upnp-org:service:ConnectionManager:1",
    "urn:schemas-upnp-org:service:AVTransport:1",
};
static constexpr const char *ruis_alive[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:RemoteUIServer:1",
    "urn:schemas-upnp-org:service:RemoteUIServer:1",
};
static constexpr const char *ruis_byebye[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:RemoteUIServer:1",
};
static constexpr const char *ruic_alive[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:RemoteUIClient:1",
    "urn:schemas-upnp-org:service:RemoteUIClient:1",
};
static constexpr const char *ruic_byebye[] = {
    nullptr, root,
    "urn:schemas-upnp-org:device:RemoteUIClient:1",
};
static constexpr const char *mtp_alive[] = {
    nullptr, root,
    "urn:microsoft-com:device:mtp:1",
    "urn:microsoft-com:service:MtpNullService:1",
};
static constexpr const char *mtp_byebye[] = {
    nullptr, root,
};

static constexpr Role media_server = {
    upnp_ssdp_getMediaServer, upnp_get_server_udn,
    "/QMSDeviceDescription.xml", 0, server_alive, server_byebye,
};
static constexpr Role renderer = {
    upnp_ssdp_getRenderer, upnp_get_renderer_udn,
    "/QMRDeviceDescription.xml", 10, renderer_alive, renderer_byebye,
};
static constexpr Role remoteui_server = {
    upnp_ssdp_getRemoteUIServer, upnp_get_ruis_udn,
    "/RemoteUIServerDescription.xml", 10, ruis_alive, ruis_byebye,
};
static constexpr Role remoteui_client = {
    upnp_ssdp_getRemoteUIClient, upnp_get_ruic_udn,
    "/RemoteUIClientDescription.xml", 0, ruic_alive, ruic_byebye,
};
static constexpr Role media_transfer = {
    upnp_ssdp_getMTP, upnp_get_mtp_udn,
    "/MediaTransferProtocolDescription.xml", 0, mtp_alive, mtp_byebye,
};
// clang-format on

// In the order in which they are sent.
static constexpr const Role *roles[] = { &media_server, &renderer,
                                         &remoteui_server, &remoteui_client,
                                         &media_transfer };

static constexpr int32_t RUIS_PASSES = 2;
static constexpr int32_t RUIS_PAUSE_MS = 210;

static bool matches(const char *type, const char *udn, const char *target)
{
    return strcmp(target, all) == 0 || strcmp(target, type ? type : udn) == 0;
}

static void send_role(const Role &role, const Route &to, const char *target,
                      bool as_announcement)
{
    auto       *send = as_announcement ? SSDP_notify_packet : SSDP_http_packet;
    const char *udn = role.udn();

    for (const char *type : role.alive) {
        if (!matches(type, udn, target))
            continue;
        send(to.ip, to.port, to.socket, to.local_ip, to.http_port, type, udn,
             role.path);
        if (role.pause_ms > 0)
            Sleep(role.pause_ms);
    }
}

static void send_role_byebye(const Role &role, const Route &to)
{
    for (const char *type : role.byebye)
        SSDP_byebye_packet(to.ip, to.port, to.socket, type, role.udn());
}

void SSDP_send_notify(int32_t socket, const char *localIp, int32_t httpPort,
                      const char *destIp, int32_t destPort,
                      const char *searchTarget, int32_t isAnnouncement)
{
    const Route to = { socket, localIp, httpPort, destIp, destPort };

    if (!searchTarget) {
        upnp_log_impl(UPNP_LOG_WARNING, LOG_SSDP, "SSDP_send_notify",
                      "called with invalid argument");
        return;
    }
    for (const Role *role : roles) {
        if (role->in_force())
            send_role(*role, to, searchTarget, isAnnouncement != 0);
    }
}

void SSDP_MediaTransferProtocol(int32_t socket, const char *localIp,
                                int32_t httpPort, const char *destIp,
                                int32_t destPort, const char *searchTarget,
                                int32_t isAnnouncement)
{
    const Route to = { socket, localIp, httpPort, destIp, destPort };

    if (searchTarget)
        send_role(media_transfer, to, searchTarget, isAnnouncement != 0);
}

void SSDP_send_byebye(int32_t socket, const char *destIp, int32_t destPort)
{
    const Route to = { socket, nullptr, 0, destIp, destPort };

    for (const Role *role : roles) {
        if (role->in_force())
            send_role_byebye(*role, to);
    }
}

// --- The remote UI server on all interfaces ---------------------------------

static void announce_ruis(const Route &to)
{
    send_role(remoteui_server, to, all, true);
}

static void take_back_ruis(const Route &to)
{
    send_role_byebye(remoteui_server, to);
}

// The count is read anew for each turn: a restart may change it meanwhile.
static void on_all_interfaces(void (*send)(const Route &to))
{
    for (int32_t pass = 0; pass < RUIS_PASSES; ++pass) {
        for (int32_t i = 0; i < shared::load(g_nInterfaceCount); ++i) {
            HttpServerEntry *row = getHTTPServerData(static_cast<uint32_t>(i));
            ssdp::Hold       hold;
            char             ip[UPNP_IP_SIZE];

            if (!row ||
                !ssdp::join(hold, row, &HttpServerEntry::heartbeatSocket))
                continue;
            shared::copy_text_out(ip, row->ip, sizeof(ip));
            send({ hold.own, ip, shared::load(row->httpPort), SSDP_GROUP,
                   SSDP_PORT });
            ssdp::leave(hold);
        }
        Sleep(RUIS_PAUSE_MS);
    }
}

void SSDP_ruis_send_announcement(void)
{
    on_all_interfaces(announce_ruis);
}

void SSDP_ruis_send_byebye(void)
{
    on_all_interfaces(take_back_ruis);
}
