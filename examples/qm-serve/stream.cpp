// stream.cpp - answers requests: with a text, a file or an error.

#include "qm-serve/stream.h"

#include "http/http_header.h"
#include "http/http_pages.h"
#include "qm-serve/byte_range.h"
#include "qm-serve/remote.h"
#include "runtime/upnp_mem.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

static constexpr int64_t  SENDFILE_BYTES = 1 << 20;
static constexpr uint32_t BLOCK_BYTES = 65536;

// A peer that takes nothing for so long is given up.
static constexpr int STALL_MS = 60'000;

// What is read, at most and at a time, of a body that nobody wants.
static constexpr int32_t  LINGER_MS = 1'000;
static constexpr uint32_t LINGER_BYTES = 1 << 20;

namespace {
// The rest of a file's part that is to be sent.
struct Part {
    int     fd;
    off_t   offset;
    int64_t length;
};

enum class Sent { ALL, NOT_POSSIBLE, FAILED };
}

// --- File data --------------------------------------------------------------

static bool wait_until_writable(int socket)
{
    pollfd waiting = { socket, POLLOUT, 0 };
    int    count;

    do
        count = poll(&waiting, 1, STALL_MS);
    while (count == -1 && errno == EINTR);
    return count == 1;
}

// Sends without copying. A file that has shrunk meanwhile cannot be made good:
// the length is announced already. Some file systems cannot be sent from.
static Sent send_by_kernel(int socket, Part &part)
{
    while (part.length > 0) {
        auto step = static_cast<size_t>(std::min(part.length, SENDFILE_BYTES));
        ssize_t count = sendfile(socket, part.fd, &part.offset, step);

        if (count > 0)
            part.length -= count;
        else if (count == 0)
            return Sent::FAILED;
        else if (errno == EINVAL || errno == ENOSYS)
            return Sent::NOT_POSSIBLE;
        else if (errno == EAGAIN ? !wait_until_writable(socket)
                                 : errno != EINTR)
            return Sent::FAILED;
    }
    return Sent::ALL;
}

static bool send_by_blocks(HttpRequest *request, Part &part)
{
    void *block = upnp_malloc_impl(BLOCK_BYTES);

    if (!block)
        return false;
    while (part.length > 0) {
        auto step = static_cast<size_t>(
            std::min(part.length, static_cast<int64_t>(BLOCK_BYTES)));
        ssize_t count = pread(part.fd, block, step, part.offset);

        if (count == -1 && errno == EINTR)
            continue;
        if (count < 1 || upnp_send_ssl(request, block, count) < 0)
            break;
        part.offset += count;
        part.length -= count;
    }
    upnp_free_impl(block);
    return part.length <= 0;
}

// TLS needs the data in memory.
static bool send_part(HttpRequest *request, Part part)
{
    Sent sent = request->tls ? Sent::NOT_POSSIBLE
                             : send_by_kernel(request->socket, part);

    return sent == Sent::NOT_POSSIBLE ? send_by_blocks(request, part)
                                      : sent == Sent::ALL;
}

// Tells the size of a file to a client that asked beyond it (RFC 9110, 14.4).
static int32_t refuse_range(HttpRequest *request, int32_t status, int64_t size)
{
    if (status == 416) {
        std::string line =
            "Content-Range: bytes */" + std::to_string(size) + "\r\n";
        HTTP_add_header(request, line.c_str());
    }
    return HTTP_send_error_code(request, status);
}

static int32_t send_html(HttpRequest *request, const char *html, size_t length)
{
    request->mime_type = "text/html; charset=utf-8";
    request->content_length = static_cast<int64_t>(length);
    return HTTP_send(request, html);
}

// --- Answers ----------------------------------------------------------------

// Links with a token are for nobody else: no cache and no other site gets them.
int32_t serve::send_page(HttpRequest *request, const std::string &html)
{
    UpnpString *page = nullptr;
    int32_t     result;

    if (!*request->session_param)
        return send_html(request, html.data(), html.size());

    page = with_session(request, html);
    if (!page)
        return send_error(request, 500);
    HTTP_set_no_cache(request);
    HTTP_add_header(request, "Referrer-Policy: no-referrer\r\n");
    result = send_html(request, upnp_string_get_cstring(page),
                       upnp_string_get_length(page));
    upnp_string_free(page);
    return result;
}

int32_t serve::send_file(HttpRequest *request, int fd,
                         const struct stat &status, const char *type)
{
    int32_t answer = resolve_range(request, status.st_size);

    if (answer >= 400)
        return refuse_range(request, answer, status.st_size);

    request->mime_type = type;
    if (HTTP_send_header(request, answer) != 0)
        return 1;
    if (request->method == HTTP_METHOD_HEAD)
        return 0;
    // The head may have taken the length back.
    return send_part(request, { fd, answer == 206 ? request->range_start : 0,
                                request->content_length })
               ? 0
               : 1;
}

// The page for 404 has a body, which a HEAD must not get, and which the library
// does not send through TLS.
int32_t serve::send_error(HttpRequest *request, int32_t status)
{
    return status == 404 && request->method == HTTP_METHOD_GET && !request->tls
               ? HTTP_send_file_not_found(request)
               : HTTP_send_error_code(request, status);
}

int32_t serve::send_options(HttpRequest *request, const char *methods)
{
    std::string line = std::string("Allow: ") + methods + "\r\n";

    HTTP_add_header(request, line.c_str());
    request->mime_type = "text/plain";
    request->content_length = 0;
    return HTTP_send_header(request, 200);
}

// Closing a socket that still holds data resets the connection, and the peer
// may lose the answer with it. So what comes is read, within limits, until the
// peer has closed.
static void read_to_close(int32_t socket)
{
    auto    *block = static_cast<char *>(upnp_malloc_impl(BLOCK_BYTES));
    uint32_t bytes = 0;
    int32_t  count;

    if (!block)
        return;
    shutdown(socket, SHUT_WR);
    setSockOptReceiveTimeout(socket, LINGER_MS);
    do {
        count = upnp_recv(socket, block, BLOCK_BYTES, 0);
        bytes += static_cast<uint32_t>(std::max(count, 0));
    } while (count > 0 && bytes < LINGER_BYTES);
    upnp_free_impl(block);
}

int32_t serve::close_with(HttpRequest *request, const char *status,
                          const std::string &lines)
{
    std::string head = std::string("HTTP/1.1 ") + status +
                       "\r\nContent-Length: 0\r\nConnection: close\r\n" +
                       lines + "\r\n";

    request->close_connection = 1;
    upnp_send_ssl(request, head.c_str(), static_cast<int64_t>(head.size()));
    if (!request->tls)
        read_to_close(request->socket);
    return 1;
}

int32_t serve::refuse(HttpRequest *request, int32_t status)
{
    request->close_connection = 1;
    HTTP_send_error_code(request, status);
    if (!request->tls)
        read_to_close(request->socket);
    return 1;
}
