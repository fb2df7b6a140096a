// client_state.h - what the units of the client database share.
#ifndef CLIENTDB_CLIENT_STATE_H
#define CLIENTDB_CLIENT_STATE_H

#include "clientdb/upnp_client_db.h"
#include "runtime/upnp_lock.h"

#include <stdint.h>

namespace clientdb {

constexpr uint32_t MIME_ROWS = 100;

// The text of each client type, null behind the last one. The last slot is
// always null, so that a walk up to the first null slot ends.
extern char *client_db_entries[UPNP_CLIENT_TYPES];

// The special MIME types, in two columns; a row with a null slot ends them.
extern char *client_mime_types[MIME_ROWS];
extern char *client_mime_extensions[MIME_ROWS];

// The registered views, each followed by "#"; null for none.
extern char *client_views;

extern int32_t client_autoenable;  // read and written atomically

// Guards g_pClients, g_pDiscoveredUDNs, the records behind them and
// g_strTreeDefaultView. It lives as long as the process: requests may come
// before init and behind exit, on many threads.
extern CriticalSection client_db_lock;

// Take and release client_db_lock.
void lock();
void unlock();

// The text of a client type: empty for a slot that is not filled, null for an
// id outside the table.
const char *section_of(int32_t id);

// Adds every pair that a "MT:" line of text names to the special MIME types.
void build_mime_table(const char *text);

// Frees the special MIME types.
void clear_mime_table();

// Moves entry, which stands behind previous, to the head of g_pClients. A null
// previous means that it is there already. The caller holds the lock.
void client_table_move_to_front(ClientEntry *entry, ClientEntry *previous);

// A copy of the default view of a type, if its name stands in client_views;
// else null. A piece of a registered name passes too.
// Caller frees with upnp_free_impl.
char *client_registered_default_view(int32_t id);

}

#endif
