// upnp_client_table.h - the table of the machines met: its records and life.
//
// Threads: any; each call takes the database's lock, unless it says that the
// caller holds it. The lock is not nested: release it before another call.
#ifndef CLIENTDB_UPNP_CLIENT_TABLE_H
#define CLIENTDB_UPNP_CLIENT_TABLE_H

#include "clientdb/upnp_client_db.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// A new record at the head of g_pClients, with id 1 and enabled as
// upnp_client_db_set_autoenable says, all else 0. Null when out of memory.
// Borrowed from the table. The caller holds the lock.
UPNP_API ClientEntry *upnp_client_db_add_new_client(void);

// Frees a record and its texts, without taking it out of a list. May be null.
UPNP_API void client_table_free(ClientEntry *entry);

// Empties the client table, or the list of the devices seen.
UPNP_API void exit_client_table(void);
UPNP_API void exit_client_udn_table(void);

// Forgets both lists WITHOUT freeing them, and reads the stored table.
UPNP_API void init_client_table(void);

// Replaces the table by what "clients.data" holds. A missing file leaves it
// empty.
UPNP_API void client_table_read(void);

// Writes "clients.data" anew. Call it after each change, with the lock
// released.
UPNP_API void client_table_write(void);

// Forgets every machine and every device seen, and deletes "clients.data".
// The two are one call under two names.
UPNP_API void reset_clients(void);
UPNP_API void clear_clients(void);

UPNP_C_END
#endif
