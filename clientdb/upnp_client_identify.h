// upnp_client_identify.h - which client type is behind a request or a device.
//
// Four sources tell: the head of a request, the device description that an
// SSDP announcement leads to, the parameters of a Browse, and an operator
// (clientdb/upnp_client_admin.h), who beats all others. Nothing here fails a
// request: whoever is not recognised gets id 1, the generic profile.
//
// How long a record keeps its type is its fix_level. 0: every request is
// looked at anew. 1: the type stays. 2: the type is taken at once by requests
// that hold one of the record's headers; others are looked at anew, and change
// the record only for a type that is itself fixed.
//
// Threads: any, between upnp_client_db_init and upnp_client_db_exit. The
// database's lock is not held during lookups in the network.
#ifndef CLIENTDB_UPNP_CLIENT_IDENTIFY_H
#define CLIENTDB_UPNP_CLIENT_IDENTIFY_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// The client type id of the machine at ip that sent this head, request line
// included. A machine that is new gets a record, unless its MAC address cannot
// be found: that lookup may take half a second, and one that failed is not
// made again for 30 seconds.
//
// base_url is the listener's own, "http://10.0.0.5:9000/". If ip stands
// anywhere in it, also as a piece of a longer address, requests of the server
// itself are known by their target or text and give 0, without a record.
// 0 also for a null argument and an empty ip or header.
UPNP_API int32_t upnp_client_db_add_by_ip(const char *base_url, const char *ip,
                                          const char *header);

// Finds the type whose "HH:" (in any case), or in a type without one whose
// "H2:" (with regard to case), stands in headers. The last type that matches
// wins, unless one with "DB:FIX" comes first; the type 0 wins only with it.
// Returns 1 if there is one, with the outputs filled; else 0, with only
// *out_fix_level changed, to 0. Any output may be null. The texts are the
// type's "HH:", "H2:" and "NA:", empty if absent and null when out of memory;
// a fixed type matched by "H2:" gives it for both headers.
// Caller frees the texts with upnp_free_impl. Takes no lock.
UPNP_API int32_t upnp_client_db_check_header(
    const char *headers, int32_t *out_id, int32_t *out_fix_level,
    char **out_header1, char **out_header2, char **out_name);

// Fetches a device description and looks for the first type whose "DD:" stands
// in it, and whose "D3:", or else "D2:", if it has one, stands there too.
// Returns 0 if nothing was fetched, also for a null url; else 1. *out_name and
// the icon's texts, those of the first icon, are stored if the description
// has them; the other outputs if a type matches, which a caller tells by
// *out_id. Any output may be null.
// Caller frees the texts with upnp_free_impl. Waits for the network.
UPNP_API int32_t upnp_client_db_check_device_description(
    const char *url, char **out_name, char **out_h2, char **out_hh,
    char **out_icon_url, char **out_icon_mime_type, int32_t *out_id,
    int32_t *out_fix_level);

// Finds the first type whose "HB:" stands in headers, in any case, and whose
// "MB:" names no other value for one of the six parameters; a null parameter
// is not compared. Stores its id in *out_id, which is else left alone, and
// settles the first record of ip that has another type. out_id and ip may be
// null; null headers match nothing.
UPNP_API void
upnp_client_db_match_by_browse(const char *browse_flag, const char *object_id,
                               const char *filter, const char *starting_index,
                               const char *request_count,
                               const char *sort_criteria, int32_t *out_id,
                               const char *ip, const char *headers);

// Takes the text of an "ssdp:alive" announcement and follows it up on a thread
// of its own: the device is fetched once, as long as the list of the devices
// seen is kept, and typed by its description. Returns at once. Null: nothing.
UPNP_API void upnp_client_db_add_by_ssdp_alive(const char *packet);

// The function of that thread. Takes over packet, a tracked text that may be
// null, and ends the calling thread.
UPNP_API void *upnp_client_db_check_client(void *packet);

// Whether the machine at ip may use the server: 1 or 0. An address of the
// server itself may; so may a machine that is not known, or null, as long as
// upnp_client_db_set_autoenable says so.
UPNP_API int32_t upnp_client_db_access_allowed(const char *ip);

UPNP_C_END
#endif
