// client_list.cpp - the machines that the library knows, and which of them are
// settled.

#include "qm-serve/client_list.h"

#include "clientdb/upnp_client_admin.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>

using namespace serve;

using Text = std::unique_ptr<UpnpString, decltype(&upnp_string_free)>;

// A type that no machine has: the last one is never filled.
static constexpr int32_t NO_TYPE = UPNP_CLIENT_TYPES - 1;

// Lines of a description, and the one that ends it.
enum { TYPE, MAC, IP, UDN, ENABLED, NAME, LINES };
static constexpr char end_line[] = "##########";

static std::mutex            settled_lock;
static std::set<std::string> settled;  // MACs; guarded by settled_lock

static int32_t number(const std::string &text)
{
    return static_cast<int32_t>(strtol(text.c_str(), nullptr, 10));
}

// Names come from the network and may hold line ends, so that a description is
// read from its beginning to its end line whatever stands between.
std::vector<Client> serve::known_clients()
{
    Text list(upnp_get_connected_client_list(), upnp_string_free);
    std::vector<Client>      clients;
    std::vector<std::string> lines;

    if (!list)
        return clients;
    std::istringstream text(upnp_string_get_cstring(list.get()));
    for (std::string line; std::getline(text, line);) {
        if (line != end_line) {
            lines.push_back(line);
            continue;
        }
        if (lines.size() >= LINES)
            clients.push_back({ number(lines[TYPE]), lines[MAC], lines[IP],
                                lines[ENABLED] == "1", lines[NAME] });
        lines.clear();
    }
    return clients;
}

std::optional<Client> serve::find_client(const std::string &mac)
{
    for (const Client &client : known_clients()) {
        if (client.mac == mac)
            return client;
    }
    return {};
}

static bool add(const Client &client, int32_t type)
{
    Text result(
        upnp_client_add(client.mac.c_str(), type, client.is_enabled, nullptr),
        upnp_string_free);

    return result != nullptr;
}

// The library settles a machine only when its type changes, so that one that
// keeps its type loses it for a moment. A machine that is not settled is not
// stored, and a denied one would be let in after the next start.
bool serve::settle(const Client &client)
{
    {
        std::scoped_lock lock(settled_lock);
        settled.insert(client.mac);
    }
    return add(client, NO_TYPE) && add(client, client.type);
}

bool serve::forget_client(const std::string &mac)
{
    bool is_known = find_client(mac).has_value();
    Text result(upnp_client_delete(mac.c_str()), upnp_string_free);

    std::scoped_lock lock(settled_lock);
    settled.erase(mac);
    return is_known;
}

void serve::settle_stored_clients()
{
    std::scoped_lock lock(settled_lock);

    for (const Client &client : known_clients())
        settled.insert(client.mac);
}

bool serve::is_settled(const std::string &ip)
{
    std::vector<Client> clients = known_clients();
    std::scoped_lock    lock(settled_lock);

    return std::any_of(
        clients.begin(), clients.end(), [&](const Client &client) {
            return client.ip == ip && settled.contains(client.mac);
        });
}
