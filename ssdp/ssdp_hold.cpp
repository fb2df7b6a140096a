// ssdp_hold.cpp - one thread's hold on one socket of a listener row.

#include "ssdp/ssdp_hold.h"

#include "runtime/upnp_shared.h"
#include "runtime/upnp_socket.h"

#include <fcntl.h>
#include <unistd.h>

static bool take(ssdp::Hold &hold, HttpServerEntry *entry,
                 int32_t HttpServerEntry::*field, int32_t sock)
{
    hold.entry = entry;
    hold.field = field;
    hold.generation = shared::load(entry->generation);
    hold.shown = sock;
    hold.own = fcntl(sock, F_DUPFD_CLOEXEC, 0);
    return hold.own != -1;
}

bool ssdp::show(Hold &hold, HttpServerEntry *entry,
                int32_t HttpServerEntry::*field, int32_t sock)
{
    if (!take(hold, entry, field, sock)) {
        upnp_close_socket(&sock);
        return false;
    }
    if (!shared::replace(entry->*field, -1, sock)) {
        leave(hold);
        upnp_close_socket(&sock);
        return false;
    }
    return true;
}

bool ssdp::join(Hold &hold, HttpServerEntry *entry,
                int32_t HttpServerEntry::*field)
{
    int32_t sock = shared::load(entry->*field);

    if (sock == -1 || !take(hold, entry, field, sock))
        return false;
    // A stop in between may have given the number back.
    if (!is_valid(hold)) {
        leave(hold);
        return false;
    }
    return true;
}

bool ssdp::is_valid(const Hold &hold)
{
    return shared::load(hold.entry->*hold.field) == hold.shown &&
           shared::load(hold.entry->generation) == hold.generation;
}

void ssdp::leave(Hold &hold)
{
    if (hold.own != -1)
        ::close(hold.own);
    hold.own = -1;
}

void ssdp::close(Hold &hold)
{
    int32_t shown = hold.shown;

    if (shared::load(hold.entry->generation) == hold.generation &&
        shared::replace(hold.entry->*hold.field, shown, -1))
        upnp_close_socket(&shown);
    leave(hold);
}
