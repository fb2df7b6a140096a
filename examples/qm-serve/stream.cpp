// stream.cpp - sends complete responses: a head, and a text or a file behind
// it.

#include "qm-serve/stream.h"

#include "runtime/upnp_mem.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <ctime>
#include <unistd.h>

static constexpr uint32_t BLOCK_BYTES = 65536;

// clang-format off
static constexpr struct {
    int         status;
    const char *reason;
} reasons[] = {
    { 200, "OK" },
    { 301, "Moved Permanently" },
    { 403, "Forbidden" },
    { 404, "Not Found" },
    { 405, "Method Not Allowed" },
    { 500, "Internal Server Error" },
};
// clang-format on

static const char *reason_of(int status)
{
    for (const auto &row : reasons) {
        if (row.status == status)
            return row.reason;
    }
    return "";
}

// "Sun, 06 Nov 1994 08:49:37 GMT", as RFC 9110, 5.6.7 wants it.
static std::string http_date(time_t time)
{
    char text[48] = "";
    tm   parts = {};

    gmtime_r(&time, &parts);
    strftime(text, sizeof(text), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return text;
}

static std::string response_head(const HttpRequest *request, int status,
                                 const char *type, int64_t length,
                                 const std::string &more)
{
    const char *connection = request->close_connection ? "close" : "keep-alive";

    // clang-format off
    return "HTTP/1.1 " + std::to_string(status) + " " +
               reason_of(status) + "\r\n"
           "Date: " + http_date(time(nullptr)) + "\r\n"
           "Server: qm-serve\r\n"
           "Content-Type: " + type + "\r\n"
           "Content-Length: " + std::to_string(length) + "\r\n"
           "Connection: " + connection + "\r\n" +
           more +
           "\r\n";
    // clang-format on
}

// The method bit does not tell HEAD from OPTIONS, which takes a body.
static bool wants_body(const HttpRequest *request)
{
    return strncmp(request->header, "HEAD ", 5) != 0;
}

static bool send_all(HttpRequest *request, const void *data, size_t length)
{
    return upnp_send_ssl(request, data, static_cast<int64_t>(length)) >= 0;
}

static int32_t send_text(HttpRequest *request, std::string head,
                         const std::string &body)
{
    if (wants_body(request))
        head += body;
    return send_all(request, head.data(), head.size()) ? 0 : 1;
}

// Sends length bytes of the file, and not one more if it grows meanwhile. One
// that shrinks cannot be made good: the length is announced already.
static int32_t send_blocks(HttpRequest *request, int fd, int64_t length)
{
    void   *block = upnp_malloc_impl(BLOCK_BYTES);
    int32_t result = 1;

    if (!block)
        return 1;

    while (length > 0) {
        size_t  wanted = std::min<uint64_t>(length, BLOCK_BYTES);
        ssize_t count = read(fd, block, wanted);

        if (count < 1 || !send_all(request, block, count))
            goto out;
        length -= count;
    }
    result = 0;

out:
    upnp_free_impl(block);
    return result;
}

int32_t serve::send_page(HttpRequest *request, const std::string &html)
{
    return send_text(request,
                     response_head(request, 200, "text/html; charset=utf-8",
                                   static_cast<int64_t>(html.size()), ""),
                     html);
}

int32_t serve::send_status(HttpRequest *request, int status, const char *more)
{
    std::string body = std::to_string(status) + " " + reason_of(status) + "\n";

    return send_text(request,
                     response_head(request, status, "text/plain",
                                   static_cast<int64_t>(body.size()),
                                   more ? more : ""),
                     body);
}

int32_t serve::send_file(HttpRequest *request, int fd,
                         const struct stat &status, const char *type)
{
    std::string head =
        response_head(request, 200, type, status.st_size,
                      "Last-Modified: " + http_date(status.st_mtime) + "\r\n");

    if (!send_all(request, head.data(), head.size()))
        return 1;
    return wants_body(request) ? send_blocks(request, fd, status.st_size) : 0;
}
