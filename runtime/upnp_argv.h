// upnp_argv.h - command lines as argument vectors, and back.
//
// A vector is an array of capacity slots, each a tracked text or null.
//
// Threads: any; nothing is shared.
#ifndef RUNTIME_UPNP_ARGV_H
#define RUNTIME_UPNP_ARGV_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

enum {
    QR_ARGV_OK           = 0,
    QR_ARGV_BAD_ARGUMENT = 2,  // no output, or no slot from first on
    QR_ARGV_FAILED       = 8   // out of memory, or nothing but white space
};

// Splits text into words and stores the vector in *argv_out. The words fill
// the slots from first on; those below stay null for the caller to fill.
// *count_out gets the number of words. A word that begins with a double quote
// runs to the next one, or to the end of text; any other ends at white space.
// Words that do not fit are dropped. A null or empty text gives an empty
// vector. Unless the result is QR_ARGV_OK the outputs are null and 0.
// Caller frees with qr_util_release_argv_str.
UPNP_API int32_t qr_util_create_argv_str(const char *text, uint8_t first,
                                         uint8_t capacity, char ***argv_out,
                                         uint32_t *count_out);

// Frees the slots below capacity and the vector, and stores null in
// *argv_pointer. A null pointer, or one to null, does nothing.
UPNP_API void qr_util_release_argv_str(char ***argv_pointer, uint8_t capacity);

// Appends count words, from slot first on (behind 255 comes 0), to the record
// in *str_pointer, with a blank before each but one that starts the text. A
// word with a blank is put between double quotes, a null or empty one is "";
// quotes inside a word stay. Null arguments or a count of 0 do nothing. When
// out of memory *str_pointer is null.
UPNP_API void qr_string_argv_to_string(char *const *argv, uint8_t count,
                                       uint8_t first, UpnpString **str_pointer);

UPNP_C_END
#endif
