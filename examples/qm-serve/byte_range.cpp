// byte_range.cpp - the bytes of a file that a request asks for.

#include "qm-serve/byte_range.h"

#include "http/http_range.h"

#include <algorithm>

// TimeSeekRange, X-Seek-Range, getAvailableSeekRange.
bool serve::asks_for_time(const HttpRequest *request)
{
    return upnp_istrstr(request->header, "seek");
}

// The status of a range that the library could not read or does not allow; a
// time needs a duration.
static int32_t refusal(const HttpRequest *request)
{
    int64_t start = request->range_start;
    int64_t end = request->range_end;

    if (start == HTTP_RANGE_MALFORMED || end == HTTP_RANGE_MALFORMED)
        return 400;
    if (start == HTTP_RANGE_REFUSED || end == HTTP_RANGE_REFUSED ||
        (request->is_time_seek && request->duration_ms < 1))
        return 406;
    return 0;
}

// In two steps, since size * ms may not fit in 64 bits.
static int64_t byte_at(int64_t ms, int64_t size, int64_t duration)
{
    return size / duration * ms + size % duration * ms / duration;
}

// The end of a time is the first one that is not asked for any more, but one
// byte at least goes out.
static void turn_into_bytes(HttpRequest *request, int64_t size)
{
    int64_t duration = request->duration_ms;
    int64_t start = byte_at(request->range_start, size, duration);
    int64_t behind = byte_at(request->range_end + 1, size, duration);

    request->range_start = std::min(start, size - 1);
    request->range_end = std::max(behind - 1, request->range_start);
}

int32_t serve::resolve_range(HttpRequest *request, int64_t size)
{
    int64_t limit;

    HTTP_get_range_header(request);
    if (int32_t status = refusal(request))
        return status;

    request->total_size = size;
    request->content_length = size;
    if (request->range_start < 0)
        return 200;

    limit = request->is_time_seek ? request->duration_ms : size;
    if (request->range_start >= limit ||
        (request->range_end >= 0 && request->range_start > request->range_end))
        return 416;

    // An end beyond the file is its end (RFC 9110, 14.1.2). For a time, the
    // head then names the duration.
    if (request->range_end < 0 || request->range_end >= limit) {
        request->range_end = limit - 1;
        request->seek_end = HTTP_RANGE_NONE;
    }
    if (request->is_time_seek)
        turn_into_bytes(request, size);
    request->content_length = request->range_end - request->range_start + 1;
    return 206;
}
