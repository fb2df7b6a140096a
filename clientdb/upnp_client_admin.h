// upnp_client_admin.h - what an operator sees and changes of the machines met.
//
// Texts come as UpnpString records: caller frees with upnp_string_free. A
// change is written to "clients.data" before the call returns.
//
// Threads: any; each call but upnp_print_client takes the database's lock.
#ifndef CLIENTDB_UPNP_CLIENT_ADMIN_H
#define CLIENTDB_UPNP_CLIENT_ADMIN_H

#include "clientdb/upnp_client_db.h"
#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

// Appends a record's description to text and returns the record to use from
// then on; a null text starts a new one, a null entry appends nothing. Eleven
// lines: id, MAC, IP address, UDN, enabled, name, icon URL, MIME type of the
// icon, view, 1 if the type has a default view or else 0, "##########". A null
// field is an empty line, a null view the default view.
// Null when out of memory; text is then gone. Nobody may change entry
// meanwhile: no lock is taken.
UPNP_API UpnpString *upnp_print_client(UpnpString        *text,
                                       const ClientEntry *entry);

// The descriptions of all machines, also of those not seen since the start.
// Null if there are none, and when out of memory.
UPNP_API UpnpString *upnp_get_connected_client_list(void);

// An operator's setting for the machine with this MAC, in upper or lower case.
// A machine that is not known gets a record with this type and enabled; view
// is then not used. A known one takes enabled; if id is another type it takes
// this type with its marks, name and default view, and else the view: null
// leaves it, the default view's name clears it.
// Returns the record's description, or the text "invalid MAC address"; null
// for a null mac and when out of memory. An id outside the table is a type of
// which nothing is known.
UPNP_API UpnpString *upnp_client_add(const char *mac, int32_t id,
                                     int32_t enabled, const char *view);

// Forgets the first machine with exactly this MAC. Returns the text "deleted!"
// or "not found!"; null for null and when out of memory.
UPNP_API UpnpString *upnp_client_delete(const char *mac);

// Set enabled for every machine with exactly this name, UDN, MAC or address.
// Return the descriptions of those for which it was another value before; null
// if there are none, for a null key, and when out of memory.
UPNP_API UpnpString *upnp_client_enable_by_friendlyname(const char *name,
                                                        int32_t     enabled);
UPNP_API UpnpString *upnp_client_enable_by_udn(const char *udn,
                                               int32_t     enabled);
UPNP_API UpnpString *upnp_client_enable_by_mac(const char *mac,
                                               int32_t     enabled);
UPNP_API UpnpString *upnp_client_enable_by_ip(const char *ip, int32_t enabled);

UPNP_C_END
#endif
