// upnp_sort.h - the order of UTF-8 texts in lists.
//
// A cheap order that sorts the accented Latin letters with their base letters.
// It asks no locale and allocates nothing, since it runs inside sorts.
//
// Threads: any; nothing is shared.
#ifndef RUNTIME_UPNP_SORT_H
#define RUNTIME_UPNP_SORT_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// The next character, by the length that the first byte tells (1 to 4), or the
// NUL if it comes before that. Null and empty texts come back as they are.
// Borrowed from text.
UPNP_API char *upnp_utf8_next_char(const char *text);

// The sort key of the character that begins with these two bytes: the base
// letter, in upper case, of an accented letter from C0 to FC of Latin-1, else
// the first byte as a signed number. A-ring sorts as Z, at the end of a Nordic
// alphabet.
UPNP_API int32_t upnp_get_utf8_sortchar(int32_t first, int32_t second);

// -1, 0 or 1 for the order of a and b, in any case; null sorts first, and high
// characters without a base letter sort before ASCII. This is an order and no
// test for equality: an accented letter equals its base, and so do two
// different characters of two bytes with the same first byte.
UPNP_API int32_t upnp_utf8_stricmp(const char *a, const char *b);

UPNP_C_END
#endif
