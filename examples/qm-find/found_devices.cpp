// found_devices.cpp - the devices that the network tells of.
//
// A device announces itself several times over, once for each of its types and
// services and on each network. The packet that names its device type is the
// one that counts.

#include "qm-find/found_devices.h"

#include "common/ssdp_text.h"
#include "qm-find/console.h"
#include "ssdp/upnp_ssdp.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string_view>

using find::printable;
using ssdp_text::field;
using ssdp_text::is_same;

// More devices than these are a flood and no network.
static constexpr int MOST_DEVICES = 1024;

namespace {
struct Udn {
    char text[128];
};
}

// The devices that are there, guarded by devices_lock as the output is.
static Udn        devices[MOST_DEVICES];
static int        count;
static std::mutex devices_lock;

// --- The table ---------------------------------------------------------------

static Udn *find_locked(std::string_view udn)
{
    return std::find_if(devices, devices + count, [=](const Udn &row) {
        return std::string_view(row.text) == udn;
    });
}

// False for a device that is known already, or one too many.
static bool add_locked(std::string_view udn)
{
    if (find_locked(udn) != devices + count || count == MOST_DEVICES)
        return false;
    devices[count].text[udn.copy(devices[count].text, sizeof(Udn) - 1)] = '\0';
    ++count;
    return true;
}

static bool remove_locked(std::string_view udn)
{
    Udn *row = find_locked(udn);

    if (row == devices + count)
        return false;
    *row = devices[--count];
    return true;
}

// --- Packets -----------------------------------------------------------------

static void greet(std::string_view packet, std::string_view udn,
                  std::string_view type)
{
    std::lock_guard guard(devices_lock);

    if (!add_locked(udn))
        return;
    printf("found\t%s\t%s\t%s\t%s\n", printable(udn).c_str(),
           printable(type).c_str(),
           printable(field(packet, "LOCATION")).c_str(),
           printable(field(packet, "SERVER")).c_str());
    fflush(stdout);
}

static void take_leave(std::string_view udn)
{
    std::lock_guard guard(devices_lock);

    if (!remove_locked(udn))
        return;
    printf("gone\t%s\n", printable(udn).c_str());
    fflush(stdout);
}

static bool is_device_type(std::string_view type)
{
    return type.starts_with("urn:") && type.find(":device:") != type.npos;
}

// Any byebye of a device takes all of it back.
static int32_t handle_packet(const char *text, HttpServerEntry *, const char *,
                             int32_t)
{
    std::string_view packet = text;
    std::string_view line = ssdp_text::first_line(packet);
    std::string_view usn = field(packet, "USN");
    std::string_view udn = usn.substr(0, usn.find("::"));
    bool             is_notify = line.starts_with("NOTIFY ");
    bool             is_answer =
        line.starts_with("HTTP/1.") && line.find(" 200") != line.npos;

    if (!udn.starts_with("uuid:") || udn.size() >= sizeof(Udn))
        return 0;
    if (is_notify && is_same(field(packet, "NTS"), "ssdp:byebye"))
        take_leave(udn);
    else if (is_answer && is_device_type(field(packet, "ST")))
        greet(packet, udn, field(packet, "ST"));
    else if (is_notify && is_same(field(packet, "NTS"), "ssdp:alive") &&
             is_device_type(field(packet, "NT")))
        greet(packet, udn, field(packet, "NT"));
    return 0;
}

void find::print_devices()
{
    upnp_ssdp_register_handler(handle_packet, "found devices");
}
