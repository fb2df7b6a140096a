// client_announcements.cpp - devices that announce themselves are looked at.
//
// The library fetches a description once, but starts a thread for each packet,
// and believes what a packet says. So one of the many packets of a device is
// handed on, once in a while, and only if it leads back to who sent it: a
// packet must not make this server fetch pages from elsewhere. A description
// would also replace the type that an operator has chosen.

#include "qm-serve/client_announcements.h"

#include "clientdb/upnp_client_identify.h"
#include "common/ssdp_text.h"
#include "qm-serve/client_list.h"
#include "runtime/upnp_string.h"
#include "runtime/upnp_udn.h"
#include "ssdp/upnp_ssdp.h"

#include <chrono>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>

using std::chrono::steady_clock;

using namespace serve;

// Each listen thread hears a packet, and devices send it several times. A
// device that could not be reached is tried again when it announces itself
// anew.
static constexpr auto QUIET_TIME = std::chrono::seconds(10);

namespace {
struct Followed {
    std::string              usn;
    steady_clock::time_point until;  // the row is free from then on
};
}

// Threads at a time, roughly; guarded by followed_lock.
static Followed   followed[32];
static std::mutex followed_lock;

static bool is_alive(std::string_view packet)
{
    return ssdp_text::first_line(packet).starts_with("NOTIFY * HTTP/1.") &&
           ssdp_text::is_same(ssdp_text::field(packet, "NTS"), "ssdp:alive") &&
           ssdp_text::is_same(ssdp_text::field(packet, "NT"),
                              "upnp:rootdevice");
}

// The library takes the first "http://" of a packet, and the first "uuid:"
// behind the first "USN:".
static bool leads_to(const char *packet, const std::string &ip)
{
    std::string_view location = ssdp_text::field(packet, "LOCATION");
    std::string      base = "http://" + ip;

    return location.data() == upnp_istrstr(packet, "http://") &&
           (location.starts_with(base + ":") ||
            location.starts_with(base + "/"));
}

static bool names_device(const char *packet, std::string_view usn)
{
    const char *mark = upnp_istrstr(packet, "USN:");
    size_t      colon = usn.find("::");

    return mark && usn.data() == upnp_istrstr(mark, "uuid:") &&
           colon != usn.npos && usn.substr(0, colon) != upnp_get_server_udn();
}

// Takes note of a device. False if that was done just now, and when there are
// too many.
static bool claim(std::string_view usn)
{
    std::lock_guard guard(followed_lock);
    auto            now = steady_clock::now();
    Followed       *free_row = nullptr;

    for (Followed &row : followed) {
        if (row.until <= now)
            free_row = &row;
        else if (row.usn == usn)
            return false;
    }
    if (free_row)
        *free_row = { std::string(usn), now + QUIET_TIME };
    return free_row != nullptr;
}

static int32_t handle_packet(const char *packet, HttpServerEntry *,
                             const char *ip, int32_t)
{
    if (!is_alive(packet))
        return 0;

    std::string_view usn = ssdp_text::field(packet, "USN");
    if (leads_to(packet, ip) && names_device(packet, usn) && claim(usn) &&
        !is_settled(ip))
        upnp_client_db_add_by_ssdp_alive(packet);
    return 0;
}

void serve::follow_announcements()
{
    upnp_ssdp_register_handler(handle_packet, "client announcements");
}
