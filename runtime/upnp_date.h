// upnp_date.h - dates and durations as text, and back.
//
// No function uses a locale: month and day names are English, so that HTTP
// dates are right on any system. Texts are ended by a NUL unless size is 0;
// then nothing is written. A text that does not fit is cut, and the result
// still is its full length.
//
// Threads: any. Local time is that of the process (TZ).
#ifndef RUNTIME_UPNP_DATE_H
#define RUNTIME_UPNP_DATE_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>
#include <time.h>

UPNP_C_BEGIN

// UTC minus local time in January 1970, in seconds: negative east of
// Greenwich. 1, which no zone has, means not computed yet. A program may store
// a value of its own before the first conversion.
UPNP_API extern int32_t g_timeZoneOffsetInSeconds;

// --- Text from a time ------------------------------------------------------

// Each returns the length of the text, or 0 for a year that cannot be told;
// buffer is untouched then.

// "2009-01-02T03:04:05" in local time. The name says date, the text has both.
UPNP_API int32_t upnp_format_time_to_localdate(time_t seconds, char *buffer,
                                               uint32_t size);

// "03:04:05" in local time.
UPNP_API int32_t upnp_format_time_to_localtime(time_t seconds, char *buffer,
                                               uint32_t size);

// "2009-01-02" in UTC.
UPNP_API int32_t upnp_date_convertToGMT(time_t seconds, char *buffer,
                                        uint32_t size);

// "2009-01-02T03:04:05" in UTC and in local time.
UPNP_API int32_t upnp_time_convertToGMT(time_t seconds, char *buffer,
                                        uint32_t size);
UPNP_API int32_t upnp_time_convertToLocaltime(time_t seconds, char *buffer,
                                              uint32_t size);

// --- HTTP dates (RFC 7231, 7.1.1.1) ----------------------------------------

// The present time, "Fri, 02 Jan 2009 03:04:05 GMT": 29 characters. The date is
// worked out once a day. A clock set back to an earlier day keeps the date that
// was worked out last, and its hour is then negative.
UPNP_API int32_t upnp_date_getGMT(char *buffer, uint32_t size);

// Stores the HTTP date of a time in *out, as a new record that the caller
// frees with upnp_string_free; null when that fails. What *out held is freed
// first. A null out does nothing.
UPNP_API void upnp_date_formatGMT(time_t seconds, UpnpString **out);

// Turns "2009-01-02T03:04:05" into "Fri, 02 Jan 2009 03:04:05 GMT" in place,
// in a buffer of size bytes: the numbers stay, no time zone is applied. The
// rest of the buffer is zeroed. A null text does nothing.
UPNP_API void convert_time_iso8601_to_rfc822(char *text, uint32_t size);

// --- Parsing ---------------------------------------------------------------

// Seconds since 1970 of YYYY-MM-DDThh:mm:ss, YYYY-MM-DD hh:mm:ss or a date
// alone, taken as UTC whatever zone the text names. Missing numbers are 0;
// nothing is checked. 0 for null.
UPNP_API uint32_t upnp_convert_date_time_string_to_numeric(const char *text);

// 1 if text begins with YYYY-MM-DD, months 01 to 12 and days 01 to 31 of any
// month; what follows is not looked at. 0 for null.
UPNP_API int32_t upnp_date_is_valid(const char *text);

// --- Durations, in milliseconds --------------------------------------------

// Milliseconds of h:mm:ss.fff; missing parts at the end are 0, and so is null.
// The digits behind the point count as whole milliseconds: .5 adds 5. The
// first wraps in 32 bits and takes any number; the second gives 0 when minutes
// or seconds are not from 0 to 59.
UPNP_API uint32_t upnp_convert_time_to_long(const char *text);
UPNP_API uint64_t upnp_convert_duration_string_to_numeric(const char *text);

// "01:01:01", the milliseconds dropped. buffer has room for 16 bytes. Returns
// the length of the text.
UPNP_API int32_t upnp_format_time(int32_t ms, char *buffer);

// "1:01:01.500", or "1:01:01" for whole seconds. Null when out of memory.
// Caller frees with upnp_free_impl.
UPNP_API char *upnp_duration_to_string(uint64_t ms);

UPNP_C_END
#endif
