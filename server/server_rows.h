// server_rows.h - the listener tables and what the server's units share.
//
// The rows live as long as the process: threads of an earlier start may still
// look at theirs. Row i serves g_IPaddress[i].
#ifndef SERVER_SERVER_ROWS_H
#define SERVER_SERVER_ROWS_H

#include "server/upnp_server.h"

#include <atomic>

namespace server {

extern HttpServerEntry plain_rows[UPNP_MAX_INTERFACES];
extern HttpServerEntry remote_rows[UPNP_MAX_INTERFACES];

extern std::atomic<int32_t> in_restart;  // 1 between a restart's stop and start
extern int32_t              remote_port;
extern char                 address_text[128];
extern void (*restart_callback)(void);

// Whether the row is in use.
bool is_served(HttpServerEntry &row);

// Creates the global lock unless there is one; removes it, waiting until no
// thread uses it any more.
void create_global_lock();
void remove_global_lock();

// Looks for the file that an unclean end has left, and creates it for this
// run: 1 if it was there. Without effect, and 0, once it has its name.
uint32_t check_byebye_file();

// Removes the file of a run that ends cleanly.
void remove_byebye_file();

}

#endif
