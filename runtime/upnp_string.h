// upnp_string.h - heap text that grows, and work on plain texts.
//
// Two kinds of text come from the heap. A UpnpString record is released with
// upnp_string_free or upnp_string_safe_free. A plain tracked text (char *) is
// released with upnp_free_impl. Each function says which of the two it gives.
//
// A function that grows a record returns the record to use from then on:
// callers always store the result back. A null record starts a new one; a null
// result means out of memory, and the old record is then gone.
//
// Threads: a record belongs to one thread at a time; nothing else is shared.
// Case folds A to Z; the comparisons of whole texts ask the C locale.
#ifndef RUNTIME_UPNP_STRING_H
#define RUNTIME_UPNP_STRING_H

#include "runtime/upnp_api.h"
#include <stdarg.h>
#include <stdint.h>

UPNP_C_BEGIN

typedef struct UpnpString {
    uint32_t length;    // bytes of text, without the NUL
    uint32_t capacity;  // bytes allocated; always more than length
    char    *buffer;    // NUL-terminated; owned by the record
} UpnpString;

// --- Records ---------------------------------------------------------------

// A new record that holds text, which may be null, in capacity bytes, or more
// if the text needs more. The bytes behind the text are 0.
UPNP_API UpnpString *upnp_string_create(const char *text, uint32_t capacity);

// Appends text; a null text appends nothing. A new record gets 256 bytes to
// spare; a full one doubles.
UPNP_API UpnpString *upnp_string_concat(UpnpString *str, const char *text);

// Appends n bytes, which may hold NUL; null bytes append nothing.
UPNP_API UpnpString *upnp_string_add(UpnpString *str, const void *bytes,
                                     uint32_t n);

// Appends the text of other, which may be null and may be str itself.
UPNP_API UpnpString *upnp_string_concat_string(UpnpString       *str,
                                               const UpnpString *other);

// Appends text converted to UTF-8 (to_utf8 not 0) or from UTF-8 to Latin-1.
// A failed conversion, a null text included, frees str and returns null.
UPNP_API UpnpString *upnp_string_concat_and_convert(UpnpString *str,
                                                    const char *text,
                                                    int32_t     to_utf8);

// Formats into a new record, at any length. Null when out of memory, which is
// told on standard error.
UPNP_API UpnpString *upnp_string_vsprintf(const char *format, va_list args)
    UPNP_PRINTF(1, 0);

// Formats and appends. If the formatting fails str comes back unchanged.
UPNP_API UpnpString *upnp_string_sprintf(UpnpString *str, const char *format,
                                         ...) UPNP_PRINTF(2, 3);

// Takes n bytes off the end, at most all. str must not be null. Returns str.
UPNP_API UpnpString *upnp_string_cut(UpnpString *str, uint32_t n);

// Takes n bytes off the front, at most all. May be null.
UPNP_API void upnp_string_shift_left(UpnpString *str, uint32_t n);

// Makes the text empty and keeps the buffer. May be null.
UPNP_API void upnp_string_empty(UpnpString *str);

// 1 for a null record, one without a buffer or an empty text; else 0.
UPNP_API int32_t upnp_string_is_empty(const UpnpString *str);

// Bytes of text; 0 for a null record or one without a buffer.
UPNP_API uint32_t upnp_string_get_length(const UpnpString *str);

// The text itself, or null for a null record.
// Borrowed: valid until the record grows or is freed.
UPNP_API char *upnp_string_get_cstring(const UpnpString *str);

// A tracked copy of the text, null if there is none.
// Caller frees with upnp_free_impl.
UPNP_API char *upnp_string_copy_cstring(const UpnpString *str);

// Frees buffer and record. May be null.
UPNP_API void upnp_string_free(UpnpString *str);

// Frees *str and stores null there. May be null.
UPNP_API void upnp_string_safe_free(UpnpString **str);

// Frees str and returns a new record in which every find is replaced. With a
// null find or replacement the record is freed and the result is null; a
// record without a buffer gives null and is not freed.
UPNP_API UpnpString *upnp_string_replace2(UpnpString *str, const char *find,
                                          const char *replacement);

// --- Plain tracked texts: caller frees with upnp_free_impl ------------------

// a and then b. A null or empty side leaves a copy of the other; null if a is
// null or empty and b is null, and when out of memory.
UPNP_API char *upnp_string_append(const char *a, const char *b);

// Replaces every find, left to right, without overlap, by exact case; a null
// replacement deletes. Null for a null text and when out of memory. If nothing
// is to be replaced the result is a copy with copy not 0, and text ITSELF with
// copy 0: compare before freeing.
UPNP_API char *upnp_string_replace_or_copy(const char *text, const char *find,
                                           const char *replacement,
                                           int32_t     copy);

// The same, always a new text.
UPNP_API char *upnp_string_replace(const char *text, const char *find,
                                   const char *replacement);

// A copy of text without any find.
UPNP_API char *upnp_string_delete(const char *text, const char *find);

// --- Changes in place; null and empty texts come back as they are -----------

// Overwrites trailing white space with NUL. Returns text.
UPNP_API char *upnp_string_strip_trailing_whitespaces(char *text);

// Turns each backslash into a slash. Returns path.
UPNP_API char *to_unix_path(char *path);

// --- Searches and comparisons -----------------------------------------------

// The first needle in haystack, in any case, or null. Null for null or empty
// texts and for a needle of more than 1024 bytes. Time is linear, nothing is
// allocated. Borrowed from haystack.
UPNP_API char *upnp_istrstr(const char *haystack, const char *needle);

// Whether text begins with prefix, in any case. An empty prefix always
// matches; a null argument never.
UPNP_API int32_t upnp_starts_with(const char *text, const char *prefix);

// Whether text ends in suffix, in any case. An empty suffix never matches,
// although upnp_starts_with accepts an empty prefix.
UPNP_API int32_t upnp_ends_with(const char *text, const char *suffix);

// 1 if the texts are equal, with or without regard to case. Two nulls are
// equal if nulls_equal is not 0; one null never equals a text.
UPNP_API int32_t upnp_util_strings_equal(const char *a, const char *b,
                                         int32_t case_sensitive,
                                         int32_t nulls_equal);

// 1 if text is null or holds only white space.
UPNP_API int32_t upnp_util_string_is_empty(const char *text);

// 1 if text is an optional "-" and digits. No digit at all counts as numeric:
// "" and "-" give 1. Null gives 0.
UPNP_API int32_t upnp_isnumeric(const char *text);

// Index of the first byte of text that stands in separators, the text's length
// if there is none, -1 for null.
UPNP_API int32_t upnp_string_find_separator(const char *text,
                                            const char *separators);

// --- Scanners ---------------------------------------------------------------

// 1 for tab, line feed, carriage return and blank, and for no other byte.
UPNP_API int32_t upnp_is_white_space(int32_t c);

// The first byte that is not white space; null for null. Borrowed from text.
UPNP_API char *upnp_skip_white_space(const char *text);

// Letters, digits, "-", "." and "_"; a value also holds "+", "," and "/".
UPNP_API int32_t upnp_is_valid_name_char(int32_t c);
UPNP_API int32_t upnp_is_valid_value_char(int32_t c);

// Count of leading name or value characters; 0 for null.
UPNP_API int32_t upnp_find_name_end(const char *text);
UPNP_API int32_t upnp_find_value_end(const char *text);

// Fold one byte, A to Z only. Bytes above 0x7F come back as they are, as
// negative numbers.
UPNP_API int32_t upnp_tolower(int32_t c);
UPNP_API int32_t upnp_toupper(int32_t c);

UPNP_C_END
#endif
