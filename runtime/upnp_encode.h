// upnp_encode.h - base64, URL escapes, and the scramble of stored passwords.
//
// Each new text is a tracked block: caller frees with upnp_free_impl. Null is
// returned for a null argument and when out of memory. Malformed input is no
// error.
//
// Threads: any; but see upnp_string_encrypt.
#ifndef RUNTIME_UPNP_ENCODE_H
#define RUNTIME_UPNP_ENCODE_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Base64 (RFC 4648, section 4) ------------------------------------------

// Decodes up to the first "=", skipping all that is not in the alphabet. Data
// with a NUL in it cannot be told from shorter data.
UPNP_API char *upnp_string_from_base64(const char *text);

// Encodes a text. With one byte left over behind the groups of three "==" is
// appended, with two left over NOTHING: "ab" gives "YWI", which is a prefix of
// the padded form.
UPNP_API char *upnp_string_to_base64(const char *text);

// Encodes n bytes, properly padded.
UPNP_API char *upnp_bin_to_base64(const void *bytes, uint32_t n);

// --- URL escapes -----------------------------------------------------------

// Decodes %XX, where a digit that is none counts as 0, and "+", which is a
// blank. An escape cut off by the end of text gives nothing.
UPNP_API char *upnp_string_from_encoded_url(const char *text);

// Escapes all but letters, digits and "$.:?@_". With raw 0 text goes through
// upnp_strdup_to_utf8 first. A byte from C0 up and the byte behind it fold
// into one escape, so that a character of Latin-1 is told by its Latin-1 code:
// e-acute is "%E9". At the end of text such a byte is dropped.
UPNP_API char *upnp_string_to_encoded_url(const char *text, int32_t raw);

// --- Scramble --------------------------------------------------------------

// A scrambled text is "::", one digit, the key, and hexadecimal digits. It only
// hides a password from a glance: the key stands in the text.

// Zeroes the size bytes at out and scrambles text into them. An empty text
// stays empty; one that begins with "::" is copied, cut at size. Only the first
// 128 bytes are taken, and of these only ASCII can be got back. The digits are
// written WHATEVER SIZE SAYS: out needs 2 * length + 4 bytes. Seeds the
// generator of rand for the whole process. Null arguments or a size of 0 do
// nothing.
UPNP_API void upnp_string_encrypt(const char *text, char *out, uint32_t size);

// The inverse. Zeroes the size bytes at out, which then hold the text. A text
// that does not begin with "::" leaves them empty; one of less than 3 bytes,
// null arguments or a size of 0 leave them as they are. All digits pass through
// out: with a size below 2 * length the result is wrong.
UPNP_API void upnp_string_decrypt(const char *text, char *out, uint32_t size);

UPNP_C_END
#endif
