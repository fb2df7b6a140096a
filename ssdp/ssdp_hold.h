// ssdp_hold.h - one thread's hold on one socket of a listener row.
//
// The row shows the socket to the rest of the process, and a stop closes it
// there. The thread itself sends and receives on a descriptor of its own for
// the same socket, so that it never touches a number that a stop has given back
// and the system has handed out anew.
#ifndef SSDP_SSDP_HOLD_H
#define SSDP_SSDP_HOLD_H

#include "http/http.h"

namespace ssdp {

struct Hold {
    HttpServerEntry *entry;
    int32_t HttpServerEntry::*field;  // which socket of the row
    uint32_t generation;              // of the row when the hold was taken
    int32_t  shown;  // the number that the row shows
    int32_t  own;    // this thread's descriptor; -1 for none
};

// Shows a new socket in the row and takes a hold on it. False, with the socket
// closed, when the row shows a socket already or descriptors have run out.
bool show(Hold &hold, HttpServerEntry *entry,
          int32_t HttpServerEntry::*field, int32_t sock);

// Takes a hold on the socket that the row shows; false when there is none.
bool join(Hold &hold, HttpServerEntry *entry, int32_t HttpServerEntry::*field);

// Whether the row still shows this socket, and no stop has come between.
bool is_valid(const Hold &hold);

// Gives the hold back and leaves the row as it is.
void leave(Hold &hold);

// Gives the hold back, and closes the socket if the row still shows it.
void close(Hold &hold);

}

#endif
