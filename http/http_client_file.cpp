// http_client_file.cpp - downloads into files and uploads from files.

#include "http/http_client.h"

#include "files/upnp_file.h"
#include "http/http.h"
#include "http/http_body.h"
#include "http/http_client_parts.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_socket.h"

#include <inttypes.h>
#include <stdio.h>
#include <string.h>

// Codes of the library's error table.
enum { SUCCESS = 0, FAILED = 14 };

static constexpr uint32_t FILE_BLOCK_BYTES = 4096;

static constexpr int32_t STATUS_UNAUTHORIZED = 401;

static constexpr char upload_format[] = "POST %s HTTP/1.1\r\n"
                                        "Accept: */*\r\n"
                                        "%s"
                                        "Host: %s\r\n"
                                        "Content-Length: %" PRId64 "\r\n"
                                        "%s"
                                        "\r\n";

// --- Downloads --------------------------------------------------------------

// Asks for the rest of what is there. The line has no CR LF of its own, on
// purpose: the request's last one ends it, and no empty line follows.
static bool ask_for_file(int32_t socket, const char *url, const char *path)
{
    UpnpFileStat stat;
    char         range[48] = "";

    if (upnp_file_stat(path, &stat) == 0)
        snprintf(range, sizeof(range), "Range: bytes=%" PRId64 "-", stat.size);
    return HTTP_get_request(socket, url, range) == 0;
}

static bool receive_file(int32_t socket, const char *path)
{
    char *head = http_client::create_head();

    if (!head)
        return false;
    bool done = http_client::read_head(socket, head, "HTTP_download_file",
                                       "received no header!") &&
                HTTP_receive_file(socket, head, path, 0);
    upnp_free_impl(head);
    return done;
}

int32_t HTTP_download_file(const char *url, const char *path)
{
    if (!url || !path)
        return FAILED;
    int32_t socket = HTTP_open(url);
    if (socket == -1)
        return FAILED;

    bool done = ask_for_file(socket, url, path) && receive_file(socket, path);
    upnp_close_socket(&socket);
    return done ? SUCCESS : FAILED;
}

// --- Uploads ----------------------------------------------------------------

// A copy of the header lines, with the default user agent if they have none
// and it is set. Null when out of memory.
static UpnpString *copy_headers(const char *headers)
{
    http_client::Agent agent;
    UpnpString        *copy = upnp_string_concat(nullptr, headers);

    if (copy && !strstr(headers, "User-Agent:") &&
        http_client::find_user_agent(&agent))
        copy = upnp_string_sprintf(copy, "User-Agent: %s\r\n", agent.text);
    return copy;
}

static bool send_file_head(int32_t socket, const char *url, const char *extra,
                           const char *headers, int64_t size)
{
    const char *slash = strchr(url + http_client::http_scheme.size(), '/');
    char        host[256];

    http_client::copy_host(url, host, sizeof(host));
    UpnpString *head =
        upnp_string_sprintf(nullptr, upload_format, slash ? slash : "/", extra,
                            host, size, headers);
    if (!head)
        return false;
    bool sent = http_client::send_text(socket, { head->buffer, head->length });
    upnp_string_free(head);
    return sent;
}

// Sends the file to its end, or as far as it can be read.
static bool send_file(int32_t socket, UpnpFile *file)
{
    char block[FILE_BLOCK_BYTES];

    while (!upnp_file_eof(file)) {
        int32_t got = upnp_file_read(file, block, sizeof(block));
        if (got < 1)
            break;
        if (!http_client::send_text(socket,
                                    { block, static_cast<size_t>(got) }))
            return false;
    }
    return true;
}

// Reads the response to an upload; whether it asks for credentials. A head
// that does not come counts as an error of the peer's.
static bool read_upload_answer(int32_t socket, const char *url,
                               UpnpString **answer)
{
    static constexpr char caller[] = "HTTP_post_file";
    char                 *head = http_client::create_head();

    if (!head)
        return false;
    if (HTTP_get_header(socket, head, HTTP_HEAD_SIZE) < 1)
        *head = '\0';

    int32_t status = HTTP_parse_header_response(head);
    if (status < 100 || status > 399)
        upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, caller,
                      "POST returned an error URL=%s\n    header:\n%s", url,
                      head);

    UpnpString *body = HTTP_receive_body(socket, head);
    if (body)
        upnp_log_impl(UPNP_LOG_INFO, LOG_HTTP, caller,
                      "POST answer, URL=%s\n body:\n%s", url, body->buffer);
    if (body && answer)
        *answer = body;
    else
        upnp_string_free(body);
    upnp_free_impl(head);
    return status == STATUS_UNAUTHORIZED;
}

int32_t HTTP_post_file(const char *url, const char *headers, const char *path,
                       const char *extra, UpnpString **answer)
{
    UpnpString *lines = nullptr;
    UpnpFile   *file = nullptr;
    int32_t     socket = -1;
    bool        refused = false;

    if (!url || !headers || !path || !extra ||
        !std::string_view(url).starts_with(http_client::http_scheme))
        return 0;

    lines = copy_headers(headers);
    if (!lines)
        return 0;
    file = upnp_file_open_read(path);
    if (!file)
        goto out;
    socket = HTTP_open(url);
    if (socket == -1)
        goto out;

    if (send_file_head(socket, url, extra, lines->buffer, file->size) &&
        send_file(socket, file))
        refused = read_upload_answer(socket, url, answer);

out:
    upnp_close_socket(&socket);
    upnp_file_close(file);
    upnp_string_free(lines);
    return refused ? 1 : 0;
}
