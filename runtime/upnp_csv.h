// upnp_csv.h - a text split at its commas.
//
// Threads: any; nothing is shared.
#ifndef RUNTIME_UPNP_CSV_H
#define RUNTIME_UPNP_CSV_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Splits text into an array of tracked texts, one more than there are commas;
// nothing is trimmed, and a field may be empty. *count_out, which may be null,
// gets their count. When memory runs out half-way the array ends in a null
// entry, which is counted. Null, with *count_out as it was, for a null text and
// when out of memory before that. Caller frees with util_split_csv_release.
UPNP_API char **util_split_csv_split(const char *text, uint32_t *count_out);

// Frees the first count entries and the array. Null entries and a null array
// are allowed.
UPNP_API void util_split_csv_release(char **array, uint32_t count);

UPNP_C_END
#endif
