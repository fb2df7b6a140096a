// client_match.h - what the sources of identification share.
#ifndef CLIENTDB_CLIENT_MATCH_H
#define CLIENTDB_CLIENT_MATCH_H

#include "clientdb/upnp_client_db.h"

#include <stdint.h>

namespace clientdb {

constexpr int32_t GENERIC_PROFILE = 1;

// How firmly a record holds its type: ClientEntry::fix_level.
enum FixLevel : int32_t {
    NOT_FIXED = 0,     // looked at anew at each request
    FIXED = 1,         // taken as it stands
    FIXED_FOR_IP = 2,  // until another fixed type shows itself
};

// A client type found for a machine. The texts are tracked, owned by the
// record, and null before one was found.
struct Match {
    int32_t id;
    int32_t fix_level;
    char   *header1;
    char   *header2;
    char   *name;
};

// Moves a match into a record and gives the record the default view of its
// type. The match is then empty. The caller holds the lock.
void take_over(ClientEntry *entry, Match &match);

// Frees the texts of a match.
void release(Match &match);

// Frees what slot holds, and stores text there, which may be null.
void set_text(char *&slot, char *text);

// What the "DB:" of a client type says.
int32_t fix_level_of(int32_t id);

// A copy of the value of a key in a client type, at most 127 bytes; empty for
// an absent key and for an id outside the table, null when out of memory.
// Caller frees with upnp_free_impl.
char *copy_keyword(int32_t id, const char *key);

// GetMACaddress, but an address for which it has failed fails at once for the
// next 30 seconds: a peer without a MAC, such as a routed one, would else wait
// for the lookup at each of its requests.
bool peer_mac(const char *ip, char *mac);

}

#endif
