// upnp_client_mac.cpp - MAC lookups of peers, with a memory of those in vain.

#include "clientdb/client_match.h"
#include "clientdb/client_state.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_thread.h"

#include <algorithm>
#include <string.h>

static constexpr uint64_t FAILURE_MS = 30000;
static constexpr size_t   FAILURES = 64;

namespace {
struct Failure {
    char     ip[UPNP_IP_SIZE];  // empty: the row is free
    uint64_t since_ms;
};
}

static Failure failures[FAILURES];  // guarded by client_db_lock

// A failure that is not over. A clock that was set back ends it, too.
static bool is_recent(const Failure &row, uint64_t now_ms)
{
    return row.ip[0] && now_ms - row.since_ms < FAILURE_MS;
}

static bool has_failed_locked(const char *ip, uint64_t now_ms)
{
    return std::any_of(failures, failures + FAILURES, [=](const Failure &row) {
        return is_recent(row, now_ms) && strcmp(row.ip, ip) == 0;
    });
}

// The row of the same address, else one that is free or over, else the oldest.
static Failure &row_for_locked(const char *ip, uint64_t now_ms)
{
    Failure *best = failures;

    for (Failure &row : failures) {
        if (strcmp(row.ip, ip) == 0)
            return row;
        if (!is_recent(*best, now_ms))
            continue;
        if (!is_recent(row, now_ms) || row.since_ms < best->since_ms)
            best = &row;
    }
    return *best;
}

bool clientdb::peer_mac(const char *ip, char *mac)
{
    lock();
    bool has_failed = has_failed_locked(ip, getSystemTime());
    unlock();

    if (has_failed)
        return false;
    if (GetMACaddress(ip, mac))
        return true;

    // A text too long for an address is looked up each time.
    size_t length = strlen(ip);
    if (length >= UPNP_IP_SIZE)
        return false;

    lock();
    uint64_t now_ms = getSystemTime();
    Failure &row = row_for_locked(ip, now_ms);
    memcpy(row.ip, ip, length + 1);
    row.since_ms = now_ms;
    unlock();
    return false;
}
