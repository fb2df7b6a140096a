// upnp_client_query.h - what a client type needs, one question per quirk.
//
// Every question takes a client type id and is a search in the type's text.
// None can fail: an id outside the table, a type that was not filled and an
// absent key all have the empty answer, 0 or null.
//
// Threads: any, between upnp_client_db_init and upnp_client_db_exit. No lock
// is taken and nothing is cached; the flags allocate nothing.
#ifndef CLIENTDB_UPNP_CLIENT_QUERY_H
#define CLIENTDB_UPNP_CLIENT_QUERY_H

#include "clientdb/upnp_client_db.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Flags: 1 or 0 ----------------------------------------------------------

// Whether keyword stands anywhere in the type's text, with regard to case, so
// that "DB:FIX" also finds "DB:FIXPC". Null: 0. All flags below ask this, with
// a word of their own.
UPNP_API int32_t upnp_client_db_supports_option(int32_t     id,
                                                const char *keyword);

// Who it is.
UPNP_API int32_t upnp_client_db_is_psp(int32_t id);  // its name begins with PSP
UPNP_API int32_t upnp_client_db_is_musicclient(int32_t id);  // plays only music
UPNP_API int32_t upnp_client_db_wmc_compliant(int32_t id);
UPNP_API int32_t upnp_client_db_redsonic_compliant(int32_t id);
UPNP_API int32_t upnp_client_can_not_register_device(int32_t id);

// Answers in HTTP.
// HTTP/1.0 responses, always or to proxied requests.
UPNP_API int32_t upnp_client_db_needs_1_0_response(int32_t id);
UPNP_API int32_t upnp_client_db_needs_1_0_proxyresponse(int32_t id);
UPNP_API int32_t upnp_client_db_supports_chunked(int32_t id);
UPNP_API int32_t upnp_client_db_allways_close_connection(int32_t id);
// A content length for live streams, plain or in the style of the PSP.
UPNP_API int32_t upnp_client_db_needs_content_length_for_live(int32_t id);
UPNP_API int32_t upnp_client_db_needs_psp_style_content_length(int32_t id);
// No byte range in the time seek response header.
UPNP_API int32_t upnp_client_db_nobytes_in_timeseek_response(int32_t id);
// The fourth field of protocolInfo in the response headers.
UPNP_API int32_t upnp_client_db_needs_4th_field(int32_t id);
UPNP_API int32_t upnp_client_db_supports_icy_data(int32_t id);

// Addresses and ids.
UPNP_API int32_t upnp_client_db_needs_absolute_uris(int32_t id);
UPNP_API int32_t upnp_client_db_noproxyurl(int32_t id);  // no proxy addresses
UPNP_API int32_t upnp_client_db_needs_4_x_style_IDs(int32_t id);

// Actions and events.
UPNP_API int32_t upnp_client_db_allow_update(int32_t id);
UPNP_API int32_t upnp_client_db_suppress_events(int32_t id);
UPNP_API int32_t upnp_client_supports_featurelist_soap(int32_t id);
UPNP_API int32_t
upnp_client_db_restrict_upload_to_known_protocolinfos(int32_t id);

// Search and sort.
UPNP_API int32_t upnp_client_db_validated_sort(int32_t id);
UPNP_API int32_t upnp_client_db_validated_search_criteria(int32_t id);
UPNP_API int32_t upnp_client_db_ignore_sort(int32_t id);
UPNP_API int32_t upnp_client_db_no_utf8_sort(int32_t id);
UPNP_API int32_t upnp_client_db_philips_search(int32_t id);
UPNP_API int32_t upnp_client_db_give_roku_search(int32_t id);

// Descriptions of items.
UPNP_API int32_t upnp_client_db_allow_unlimited_xml(int32_t id);
UPNP_API int32_t upnp_client_db_max_didl_255(int32_t id);
UPNP_API int32_t upnp_client_db_no_utf(int32_t id);  // no UTF-8 text
UPNP_API int32_t upnp_client_db_add_time_to_date(int32_t id);
UPNP_API int32_t upnp_client_db_no_artist_role_composer(int32_t id);
UPNP_API int32_t upnp_client_db_exact_protocolinfo(int32_t id);
UPNP_API int32_t upnp_client_db_needs_duration(int32_t id);
UPNP_API int32_t upnp_client_db_nobitrate(int32_t id);
UPNP_API int32_t upnp_client_db_force_videobitrate(int32_t id);
UPNP_API int32_t upnp_client_db_force_res(int32_t id);  // needs a resolution
UPNP_API int32_t upnp_client_db_force_mp4_profile(int32_t id);
UPNP_API int32_t upnp_client_db_viera_divxprofile(int32_t id);

// Media.
// Whether a moov atom behind the media data is all right: also for an id
// outside the table, as only the word "XM:moov_not_supported" denies it.
UPNP_API int32_t upnp_client_db_supports_moov_at_the_end(int32_t id);
UPNP_API int32_t upnp_client_db_no_keyframe_seek(int32_t id);
UPNP_API int32_t upnp_client_db_no_additional_AAC_320_for_AAC_192(int32_t id);
UPNP_API int32_t upnp_client_db_give_no_transcoded_pictures(int32_t id);
UPNP_API int32_t upnp_client_db_add_albumart_as_res(int32_t id);
UPNP_API int32_t upnp_client_db_can_not_work_with_embedded_albumart(int32_t id);
UPNP_API int32_t upnp_client_db_needs_philips_srt_style(int32_t id);

// --- Numbers ----------------------------------------------------------------

// The DLNA level: 10 or 15, -1 for a type that wants no DLNA, 0 when nothing
// is said. Only the first "XM:DLNA" of the type counts.
UPNP_API int32_t upnp_client_db_DLNA_version(int32_t id);

// The decimal number behind keyword; 0 for null.
UPNP_API int32_t upnp_client_db_get_value(int32_t id, const char *keyword);

// --- Texts: caller frees with upnp_free_impl --------------------------------
// Null when out of memory, too.

// Name of the device description to serve, at most 1023 bytes of one line.
UPNP_API char *upnp_client_db_get_description_file(int32_t id);

// Web browse setting and default view, at most 1023 bytes. Lines that end in
// CR LF keep their CR here.
UPNP_API char *upnp_client_db_get_webbrowse(int32_t id);
UPNP_API char *upnp_client_db_get_default_view(int32_t id);

// The list of transcoding profiles, of any length, without white space at its
// end.
UPNP_API char *upnp_client_db_get_supported_transcoding_profiles(int32_t id);

// The scaling of album art, up to "#", at most 63 bytes: "XM:AASCALE=160#"
// gives "160". May be empty.
UPNP_API char *upnp_client_db_albumart_scaling(int32_t id);

// The parameters that a "TP:name,parameters" line gives for name, of which 27
// bytes count, as the key with its comma has at most 31. Null name: null.
UPNP_API char *upnp_client_db_get_extra_params(int32_t id, const char *name);

// All types that have a name, as "000,First,001,Second"; null if none has one.
UPNP_API char *upnp_client_db_get_table(void);

// --- MIME types: borrowed, valid until upnp_client_db_exit ------------------

// The MIME type that this type wants for files with extension; null if it has
// no wish, or for null. Only the first place where the extension stands is
// looked at, in any case.
UPNP_API const char *
upnp_client_db_needs_special_mime_type(int32_t id, const char *extension);

// The first special MIME type with which text begins; null if there is none.
UPNP_API const char *upnp_client_db_get_from_mime_type_table(const char *text);

// The extension of a special MIME type, which must be equal; else null.
UPNP_API const char *
upnp_client_db_special_mime_type_get_extension(const char *mime_type);

// --- The machines of a type: these take the database's lock -----------------

// 1 if a machine of the type with the id 19 is known, whatever that type is.
UPNP_API int32_t upnp_client_db_have_netgear_rtp_client(void);

// The view of the first machine of this type; null for the default view.
// Caller frees with upnp_free_impl.
UPNP_API char *upnp_client_db_get_updated_view(int32_t id);

// The name of the first machine of this type that has one, or null.
// Caller frees with upnp_free_impl.
UPNP_API char *upnp_client_get_friendlyname(int32_t id);

// --- For identification -----------------------------------------------------

// Copies the value of a two-letter key, "NA:" say, from the text of a section
// into buffer, and ends it with NUL. A value ends at a control character, at a
// byte above 0x7F, or with size - 1 bytes; while g_server_running is not 1 it
// ends behind its first byte. It begins three bytes behind the start of the
// key, however long the key is. Returns 1 if a byte was copied; else 0, with
// buffer empty. Null for buffer, section or key, and size 0, give 0; buffer
// has room for one byte even then.
UPNP_API int32_t upnp_client_db_getKeyword(const char *section, char *buffer,
                                           uint32_t size, const char *key);

UPNP_C_END
#endif
