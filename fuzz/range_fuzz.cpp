// range_fuzz.cpp - any bytes as a request head, of which the range, the time
// seek, the transfer mode and the content features are asked.

#include "fuzz/fuzz.h"
#include "http/http_header_parts.h"
#include "http/http_range.h"
#include "runtime/upnp_mem.h"

#include <algorithm>
#include <cstring>

using fuzz::require;

static void read_range(HttpRequest *request)
{
    HTTP_get_range_header(request);
    require(request->range_start >= HTTP_RANGE_REFUSED ||
            !request->is_time_seek);
    require(request->seek_start == request->range_start ||
            request->seek_start == HTTP_RANGE_NONE);
    require(!request->is_time_seek || !request->protected_range);
}

static void write_head(HttpRequest *request)
{
    http_header::Asked asked = http_header::read_head(request->header);
    int32_t            status = http_header::check_head(request, asked);
    UpnpString        *line = nullptr;

    require(status == 200 || status == 400 || status == 406);
    require(http_header::partial_text(request, &line));
    require(!line || strcmp(line->buffer + line->length - 2, "\r\n") == 0);
    upnp_string_free(line);

    http_header::add_dlna_lines(request, asked);
    size_t length = strlen(request->response_headers);
    require(length < HTTP_HEAD_SIZE &&
            (length == 0 || request->response_headers[length - 1] == '\n'));
}

// Clock times come out as they went in, hours apart.
static void read_time(const char *text)
{
    char    clock[32];
    int32_t ms = HTTP_parse_time_range(text, nullptr);

    require(ms >= 0 || ms == HTTP_RANGE_MALFORMED);
    ms = std::max(ms, 0) % (60 * 3600000);
    upnp_range_to_string(ms, clock, sizeof(clock));
    require(HTTP_parse_time_range(clock, nullptr) == ms);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Far too large to be cleared for each input.
    static HttpRequest request;
    fuzz::Text         text = fuzz::stretch(data, size);
    int64_t            used = upnp_mem_used();
    size_t             length = std::min<size_t>(text.size, HTTP_HEAD_SIZE - 1);

    memcpy(request.header, text.bytes.get(), length);
    request.header[length] = '\0';
    const char *target = strchr(request.header, '/');
    size_t      target_length = target ? strcspn(target, " \r\n") : 0;
    target_length = std::min<size_t>(target_length, HTTP_URL_SIZE - 1);
    memcpy(request.url, target ? target : "", target_length);
    request.url[target_length] = '\0';
    request.response_headers[0] = '\0';
    request.socket = -1;
    request.seek_clock_format = 0;
    request.duration_ms = 3723500;
    request.total_size = 1000000;

    read_range(&request);
    write_head(&request);
    read_time(request.header);
    require(upnp_mem_used() == used);
    return 0;
}
