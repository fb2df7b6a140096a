// http_send.cpp - sending on a request, and whole responses from memory.

#include "http/http.h"

#include "http/http_header.h"
#include "http/http_pages.h"
#include "http/http_range.h"
#include "runtime/upnp_socket.h"

// The status by which a range of a resource in memory is refused, or 0.
static int32_t range_refusal(const HttpRequest &request)
{
    int64_t start = request.range_start;
    int64_t end = request.range_end;

    if (start == HTTP_RANGE_MALFORMED || end == HTTP_RANGE_MALFORMED)
        return 400;
    if (start == HTTP_RANGE_REFUSED || end == HTTP_RANGE_REFUSED)
        return 406;
    if ((end >= 0 && start > end) || start > request.content_length ||
        end > request.content_length)
        return 416;
    return request.is_time_seek ? 400 : 0;
}

// Narrows the response to the range asked for. An end that equals the size
// stays, so that one byte more is announced and sent.
static void apply_range(HttpRequest &request)
{
    if (request.range_end < 0)
        request.range_end = request.total_size - 1;
    request.content_length = request.range_end - request.range_start + 1;
}

int32_t upnp_send_ssl(HttpRequest *request, const void *data, int64_t length)
{
    if (!request)
        return -1;
    if (!request->tls)
        return upnp_send(request->socket, data, length);
    if (!cb_tls_send)
        return -1;

    int32_t sent = cb_tls_send(request->tls_session, data, length);
    if (sent == -2)
        request->close_connection = 1;
    return sent;
}

int32_t HTTP_send(HttpRequest *request, const void *data)
{
    const char *bytes = static_cast<const char *>(data);
    int32_t     status = 200;

    if (!request)
        return 1;
    request->total_size = request->content_length;
    HTTP_get_range_header(request);
    if (int32_t refusal = range_refusal(*request))
        return HTTP_send_error_code(request, refusal);

    if (request->range_start >= 0) {
        apply_range(*request);
        status = 206;
    }
    if (int32_t failure = HTTP_send_header(request, status))
        return failure;
    if (request->method == HTTP_METHOD_HEAD || request->content_length < 0)
        return 0;
    if (status == 206)
        bytes += request->range_start;
    return upnp_send_ssl(request, bytes, request->content_length) == -1;
}
