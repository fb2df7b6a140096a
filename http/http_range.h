// http_range.h - which part of a resource a client asks for, in bytes or time.
//
// A bad or refused range is told by the reserved values of the range fields
// (http.h); HTTP_send and the file handlers answer by them.
// Threads: each call works on its own request only.
#ifndef HTTP_HTTP_RANGE_H
#define HTTP_HTTP_RANGE_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// What a file handler keeps to turn times into bytes. A handler's own record
// begins like this one and may be longer: one tracked block.
typedef struct HttpTimeSeek {
    void *handler_words[7];  // the handler's own, never touched
    void *heap;              // tracked block or null, freed with the record
} HttpTimeSeek;

// Frees a time-seek record and its tracked block. May be null.
UPNP_API void upnp_timeseek_free(HttpTimeSeek *seek);

// Reads Range, Range.dtcp.com, TimeSeekRange.dlna.org or X-Seek-Range, the
// first of them that the head has, and fills range_start, range_end,
// seek_start, seek_end, is_time_seek, protected_range and, for times with
// colons, seek_clock_format. Bytes win over time; of a list of ranges the
// first one counts, and suffix ranges are malformed. The operation flags in a
// DLNA URL ("-OP" and two digits: time, bytes) decide what is refused.
// A null request does nothing.
UPNP_API void HTTP_get_range_header(HttpRequest *request);

// Milliseconds of "600.000" or "0:10:00.000" (DLNA npt time), up to the first
// character that is no part of it; blanks are passed over. The digits behind
// the point count as whole milliseconds. A time with colons sets
// *clock_format, which may be null, to 1; without a fraction it comes out a
// thousand times too large. -2 if there is no digit, 0 for null, and
// 0x7FFFFFFF when the 32-bit result is negative.
UPNP_API int32_t HTTP_parse_time_range(const char *text, int32_t *clock_format);

// Writes "1:2:3.500". Hours wrap at 60 like minutes: 60 hours become 0.
// Returns the length of the text, also when size cuts it; a size of 0 writes
// nothing.
UPNP_API int32_t upnp_range_to_string(int64_t ms, char *out, uint32_t size);

UPNP_C_END
#endif
