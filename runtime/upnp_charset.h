// upnp_charset.h - conversions between UTF-8, Latin-1 and UTF-16.
//
// Texts are kept in UTF-8, but file names, tags and client heads come in
// anything. Only the first 256 code points are handled with care. No locale is
// asked and no input is refused: malformed bytes are converted, dropped or
// passed on as each function says.
//
// Each new text is a tracked block: caller frees with upnp_free_impl. Null is
// returned for a null argument and when out of memory. UTF-16 texts are units
// in host byte order behind which a zero unit stands, without a byte order
// mark.
//
// Threads: any.
#ifndef RUNTIME_UPNP_CHARSET_H
#define RUNTIME_UPNP_CHARSET_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Latin-1 and UTF-8 -----------------------------------------------------

// UTF-8 from a text of unknown origin: sequences of the shape of UTF-8 (2 to 6
// bytes) stay as they are, every other high byte is taken for Latin-1. A second
// application changes nothing.
UPNP_API char *upnp_strdup_to_utf8(const char *text);

// Latin-1 from UTF-8. A character of three bytes or more becomes "?"; one of
// two bytes beyond Latin-1 vanishes, and so does any stray byte. The byte
// behind C2 or C3 counts whatever it is, so that malformed input may even put
// a NUL into the result.
UPNP_API char *upnp_strdup_from_utf8(const char *text);

// UTF-8 from Latin-1, without a look whether text is UTF-8 already. Null also
// for an empty text.
UPNP_API char *upnp_util_convert_enhanced_ascii_to_utf8(const char *text);

// --- UTF-16 ----------------------------------------------------------------

// UTF-16 from UTF-8 of up to three bytes a character; longer sequences and
// malformed ones give units without a meaning, and bytes that are missing at
// the end count as 0.
UPNP_API uint16_t *upnp_string_utf8_to_utf16(const char *text);

// UTF-8 from UTF-16 bytes of any alignment that end in a zero unit. A byte
// order mark is obeyed and skipped; without one they are little-endian.
// Surrogates are logged and dropped.
UPNP_API char *upnp_string_utf16_to_utf8(const void *bytes);

// Count of units before the zero unit; 0 for null.
UPNP_API uint32_t upnp_wcslen(const uint16_t *units);

// --- Shift-JIS -------------------------------------------------------------

// 1 if text holds a byte from 81 to 9F, or if more than half of it are bytes
// from A0 up; else 0. 0 for null and for an empty text.
UPNP_API int32_t upnp_util_is_shift_jis(const char *text);

// Always null: the library has no converter.
UPNP_API char *upnp_util_convert_shift_jis_to_utf8(void);

// Stores the code page that the program works with, 932 until set. The library
// itself makes no use of it.
UPNP_API void upnp_util_set_code_page(int32_t code);

UPNP_C_END
#endif
