// client_list.h - the machines that the library knows, and which of them are
// settled. Threads: any.
#ifndef QM_SERVE_CLIENT_LIST_H
#define QM_SERVE_CLIENT_LIST_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace serve {

struct Client {
    int32_t     type;  // id for upnp_client_db_*
    std::string mac;
    std::string ip;  // may be empty
    bool        is_enabled;
    std::string name;
};

// The machine that was identified last stands first.
std::vector<Client> known_clients();

// The machine with that MAC.
std::optional<Client> find_client(const std::string &mac);

// Gives a machine its type and setting for good: no request changes them any
// more, and they are stored. False if that failed.
bool settle(const Client &client);

// Forgets the machine with that MAC. False if there is none.
bool forget_client(const std::string &mac);

// Takes the machines that are stored for settled, which they are. For the
// start, before any request.
void settle_stored_clients();

// Whether the machine of that address is settled.
bool is_settled(const std::string &ip);

}

#endif
