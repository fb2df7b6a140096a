// upnp_media_name.h - titles, file names, addresses and URLs inside texts.
//
// Results are tracked texts that the caller frees with upnp_free_impl, unless
// said otherwise; null when out of memory. Threads: no state is kept.
#ifndef RUNTIME_UPNP_MEDIA_NAME_H
#define RUNTIME_UPNP_MEDIA_NAME_H

#include "runtime/upnp_api.h"
#include <stdint.h>
#include <stdio.h>

UPNP_C_BEGIN

// --- File names ----------------------------------------------------------------

// The name in path without directory and extension, "No Title" if nothing
// remains; null for null.
UPNP_API char *upnp_build_title_from_filename(const char *path);

// What follows the last "." of the whole text, "bin" without one or for null.
UPNP_API char *upnp_get_extension(const char *path);

// A copy with "#" for each blank and each of / \ ? : *; null for null.
UPNP_API char *upnp_remove_bad_chars(const char *text);

// Writes "#" over each of / \ * ? < > : | " in the first n bytes, and over NUL
// too: n must not pass the end of the text. Null or an n of 0 does nothing.
UPNP_API void upnp_util_convert_string_to_filename(char *text, uint32_t n);

// A copy without the bytes that stand in chars. Null for a null text; a null
// chars or an empty text gives a plain copy.
// The block has the length of text: when no byte was removed the result has NO
// NUL, so a caller goes by the length of what it handed in.
UPNP_API char *upnp_remove_illegal_chars(const char *text, const char *chars);

// --- URLs inside a path of this server ----------------------------------------------

// "base/httpproxy/embedded" and the encoded URL, with "." and the extension if
// that has fewer than 5 bytes. base and extension may be null; null for a null
// url.
UPNP_API char *upnp_util_create_embedded_url(const char *base, const char *url,
                                             const char *extension);

// The encoded URL in such a text, without its extension; null if there is none.
UPNP_API char *upnp_util_get_embedded_url(const char *text);

// --- Addresses -----------------------------------------------------------------

// The first run of digits and dots in text, with its index and its length;
// null, and both 0, if there is none. The form of an address is not checked.
// Borrowed from text.
UPNP_API char *upnp_extract_ipaddress(const char *text, uint32_t *start_out,
                                      uint32_t *length_out);

// A copy of that run; *port_out, which may be null, is the number behind a ":"
// that follows it, else 0. Null if there is no address.
UPNP_API char *upnp_copy_ipaddress_and_port(const char *text,
                                            uint32_t   *port_out);
UPNP_API char *upnp_copy_ipaddress(const char *text);

// --- Debugging -----------------------------------------------------------------

// Prints n bytes in hexadecimal, 16 on each line behind indent blanks. 0, or
// -1 for a null pointer or an n of 0.
UPNP_API int32_t upnp_hexdump(const void *bytes, uint32_t n, FILE *stream,
                              int32_t indent);

UPNP_C_END
#endif
