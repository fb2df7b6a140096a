// upnp_client_db.h - the client database: client types and the machines met.
//
// A client type is one section of the resource "clients.db", kept as text and
// known by its position, its id: 0 is the server's own machine, 1 the generic
// profile. clientdb/upnp_client_query.h asks what a type needs. A client is a
// machine met on the network; its record ties its addresses to a type.
//
// Threads: the types, the MIME table and the views are filled at the start and
// then only read, without a lock. The client table and the records in it
// belong to whoever holds the database's lock. Before init and after exit
// every call works as well.
#ifndef CLIENTDB_UPNP_CLIENT_DB_H
#define CLIENTDB_UPNP_CLIENT_DB_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Client type ids are below this; the last one is never filled.
enum { UPNP_CLIENT_TYPES = 200 };

// One machine. The texts are tracked, owned by the record, and may be null.
typedef struct ClientEntry {
    int32_t id;       // client type; 1 in a new record
    char   *ip;       // IPv4 address, dotted
    char   *header1;  // texts by which its requests are recognised
    char   *header2;
    char   *friendly_name;  // the type's name, or what the device calls itself
    char   *mac;            // "AA:BB:CC:DD:EE:FF"
    char   *icon_url;       // from the device description
    char   *icon_mime_type;
    char   *udn;        // with its "uuid:"
    int32_t enabled;    // 1: may use the server
    int32_t connected;  // 1: seen since the start; never stored
    int32_t fix_level;  // 0: id may change, 1: settled, 2: settled for ip
    char   *view;       // name of its tree view; null: the default view
    struct ClientEntry *next;
} ClientEntry;

// One device that SSDP has shown, so that it is looked at only once.
typedef struct ClientUdnEntry {
    char                  *udn;  // tracked, owned
    struct ClientUdnEntry *next;
} ClientUdnEntry;

// The heads of the two lists. The client table begins with the machine that
// was identified last.
UPNP_API extern ClientEntry    *g_pClients;
UPNP_API extern ClientUdnEntry *g_pDiscoveredUDNs;

// Name of the default view.
UPNP_API extern char g_strTreeDefaultView[128];

// --- Life -------------------------------------------------------------------

// Reads the types from "clients.db" and the machines from the directory of the
// property "appdata", forgetting the machines first if the property
// "clearclientsonrestart" is set. Without the resource there are no types, and
// every question gets the answer for an unknown one. A second call reads all
// of it anew. At most 198 sections fit: the 199th is a critical error.
UPNP_API void upnp_client_db_init(void);

// Frees machines, types, MIME table and views. No thread may be asking about
// a type.
UPNP_API void upnp_client_db_exit(void);

// --- Settings, made by the program at its start -----------------------------

// Adds a special MIME type and the extension it stands for, both cut at the
// first comma, blank, control character or byte above 0x7F, to at most 9 and
// 63 bytes. A pair that is there already is not added, and a table of 100 rows
// takes no more. Null for either: nothing.
UPNP_API void upnp_client_db_add_mime_table(const char *extension_text,
                                            const char *mime_text);

// Registers the name of a tree view. Null: nothing.
UPNP_API void upnp_client_db_add_view(const char *view);

// Sets g_strTreeDefaultView, cut to 127 characters. Null: nothing.
UPNP_API void upnp_client_db_set_defaultview(const char *view);

// Whether machines that nobody knows may use the server; 1 at load. Returns
// value.
UPNP_API int32_t upnp_client_db_set_autoenable(int32_t value);

UPNP_C_END
#endif
