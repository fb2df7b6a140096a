// upnp_number.h - numbers to and from text.
//
// The readers skip no white space and stop at the first byte that is no digit;
// nothing to read gives 0. A count_out may be null, else it gets the number of
// digits read. Numbers that do not fit wrap.
//
// Threads: any; nothing is shared.
#ifndef RUNTIME_UPNP_NUMBER_H
#define RUNTIME_UPNP_NUMBER_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Hexadecimal -----------------------------------------------------------

// The value of one digit of either case; 0 for any other byte.
UPNP_API int32_t hexchar_to_i(int32_t c);

// Reads at most max_digits digits. text must not be null.
UPNP_API uint64_t upnp_hexStringToNumber(const char *text, uint32_t max_digits);

// Read at most 8 digits. "ffffffff" is -1 for the second. text must not be
// null.
UPNP_API uint32_t upnp_hexStringToLong(const char *text);
UPNP_API int32_t  upnp_hexToi(const char *text);

// Writes 8 lower-case digits and a NUL to the 9 bytes at out and returns 8; 0
// for a null out.
UPNP_API int32_t upnp_longToHexString(uint32_t value, char *out);

// --- Decimal ---------------------------------------------------------------

// Read digits, without a sign. text may be null.
UPNP_API uint32_t upnp_atoui2(const char *text, uint32_t *count_out);
UPNP_API uint32_t upnp_atoui(const char *text);
UPNP_API uint64_t upnp_atoui64(const char *text, uint32_t *count_out);

// The same as upnp_atoui64. In spite of the name it takes no sign.
UPNP_API uint64_t upnp_string_to_longlong(const char *text,
                                          uint32_t   *count_out);

// Reads digits behind an optional sign. A plus directly before a minus is
// accepted, and the number is negative. text may be null.
UPNP_API int64_t upnp_ascii_to_long_long(const char *text);

// Write value to the size bytes at out, cut to fit, with a NUL behind it and in
// the last byte. Return the length of the whole text; 0 for a null out or a
// size of 0.
UPNP_API int32_t upnp_uint64_to_string(uint64_t value, char *out,
                                       uint32_t size);
UPNP_API int32_t upnp_longlong_to_string(int64_t value, char *out,
                                         uint32_t size);

UPNP_C_END
#endif
