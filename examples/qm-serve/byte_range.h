// byte_range.h - the bytes of a file that a request asks for.
#ifndef QM_SERVE_BYTE_RANGE_H
#define QM_SERVE_BYTE_RANGE_H

#include "http/http.h"

#include <cstdint>

namespace serve {

// Whether a request has to do with times of the file, so that duration_ms must
// be known before it is answered.
bool asks_for_time(const HttpRequest *request);

// Reads the range of a request for a file of size bytes and sets range_start,
// range_end, total_size and content_length in bytes. Times are turned into
// bytes in proportion to duration_ms; seek_start and seek_end stay times.
// Returns the status to answer with: 200 for the whole file, 206 for a part
// of it, or 400, 406 or 416, with nothing but the range fields set.
int32_t resolve_range(HttpRequest *request, int64_t size);

}

#endif
