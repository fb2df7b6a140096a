// http_body.cpp - receives bodies into memory and into files.
//
// The peer announces sizes and need not keep them: memory of an announced size
// is only reserved, and touched as far as data really come.

#include "http/http_body.h"

#include "files/upnp_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_socket.h"

#include <algorithm>
#include <stdio.h>
#include <sys/socket.h>

static constexpr int32_t READ_FLAGS = MSG_NOSIGNAL | MSG_WAITALL;

// Bytes read of a chunk-size line at most. The last one makes room for the
// NUL, so that it is lost.
static constexpr uint32_t LINE_BYTES = 20;

// One read of a body that ends with the connection.
static constexpr uint32_t END_BLOCK_BYTES = 8191;

static constexpr uint32_t FILE_BLOCK_BYTES = 131072;

namespace {
// A file that a body is written to.
struct FileBody {
    int32_t   socket;
    UpnpFile *file;
    char     *block;  // FILE_BLOCK_BYTES
    int64_t   limit;  // bytes of the body; 0 for no limit
};
}

// --- Chunks and reads -------------------------------------------------------

// Reads a line up to its LF. Returns the result of the last read: 0 for a line
// that the peer's close ends, -1 for a failure.
static int32_t read_size_line(int32_t socket, char (&line)[LINE_BYTES])
{
    uint32_t count = 0;
    int32_t  got;

    do {
        got = upnp_recv(socket, line + count, 1, READ_FLAGS);
        if (got < 1)
            break;
    } while (line[count++] != '\n' && count < LINE_BYTES);
    line[std::min(count, LINE_BYTES - 1)] = '\0';
    return got;
}

// Drops the CR LF behind a chunk, whatever stands there.
static void skip_line_end(int32_t socket)
{
    char end[2];

    if (upnp_recv(socket, end, 2, READ_FLAGS) == 1)
        upnp_recv(socket, end, 1, READ_FLAGS);
}

// Reads until size bytes have come or the peer stops. Returns what came.
static uint32_t read_up_to(int32_t socket, char *buffer, uint32_t size)
{
    uint32_t count = 0;

    while (count < size) {
        int32_t got =
            upnp_recv(socket, buffer + count, size - count, READ_FLAGS);
        if (got <= 0)
            break;
        count += static_cast<uint32_t>(got);
    }
    return count;
}

// Whether a body without a length ends with the connection.
static bool ends_with_connection(const char *header)
{
    return upnp_http_has_connection_close(header) ||
           upnp_istrstr(header, "HTTP/1.0");
}

// --- Into memory ------------------------------------------------------------

// Appends one chunk to *body. False when out of memory.
static bool append_chunk(int32_t socket, uint32_t size, UpnpString **body)
{
    auto *block = static_cast<char *>(upnp_malloc_impl(size));
    if (!block)
        return false;

    uint32_t came = read_up_to(socket, block, size);
    *body = upnp_string_add(*body, block, came);
    upnp_free_impl(block);
    return *body != nullptr;
}

static UpnpString *read_chunks(int32_t socket)
{
    UpnpString *body = nullptr;
    char        line[LINE_BYTES];
    int32_t     size;

    do {
        if (read_size_line(socket, line) == -1)
            break;
        size = upnp_hexToi(line);
        if (size > 0 &&
            !append_chunk(socket, static_cast<uint32_t>(size), &body))
            break;
        skip_line_end(socket);
    } while (size != 0);
    return body;
}

// A record made here and not by upnp_string_create, which would clear the
// whole buffer before anything has come.
static UpnpString *read_length(int32_t socket, uint32_t length)
{
    auto *body =
        static_cast<UpnpString *>(upnp_malloc_impl(sizeof(UpnpString)));
    if (!body)
        return nullptr;

    body->capacity = length + 1;
    body->buffer = static_cast<char *>(upnp_malloc_impl(body->capacity));
    if (!body->buffer) {
        upnp_free_impl(body);
        return nullptr;
    }
    body->length = read_up_to(socket, body->buffer, length);
    body->buffer[body->length] = '\0';
    return body;
}

static UpnpString *read_to_end(int32_t socket)
{
    auto *block = static_cast<char *>(upnp_malloc_impl(END_BLOCK_BYTES));
    if (!block)
        return nullptr;

    UpnpString *body = nullptr;
    int32_t     got;
    while ((got = upnp_recv(socket, block, END_BLOCK_BYTES, READ_FLAGS)) > 0) {
        body = upnp_string_add(body, block, static_cast<uint32_t>(got));
        if (!body)
            break;
    }
    upnp_free_impl(block);
    return body;
}

// --- Into a file ------------------------------------------------------------

// Reads at most size bytes once and writes them. Returns their number, 0 at the
// end of the connection, -1 for a failed read or a short write.
static int32_t store_block(const FileBody &to, uint32_t size)
{
    int32_t got = upnp_recv(to.socket, to.block, size, READ_FLAGS);
    if (got < 1)
        return got;
    return upnp_file_write(to.file, to.block, static_cast<uint32_t>(got)) == got
               ? got
               : -1;
}

// A chunk that the peer cuts off counts as stored.
static bool store_chunk(const FileBody &to, uint32_t size)
{
    while (size > 0) {
        int32_t got = store_block(to, std::min(size, FILE_BLOCK_BYTES));
        if (got == -1)
            return false;
        if (got == 0)
            break;
        size -= static_cast<uint32_t>(got);
    }
    return true;
}

static bool is_over_limit(const FileBody &to, int64_t bytes)
{
    return to.limit > 0 && bytes > to.limit;
}

static bool store_chunks(const FileBody &to)
{
    static constexpr char caller[] = "HTTP_receive_file";
    uint64_t              total = 0;
    char                  line[LINE_BYTES];
    int32_t               size;

    do {
        int32_t got = read_size_line(to.socket, line);
        if (got == -1) {
            upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, caller,
                          "HTTP_receive_file upnp_recv() returned error: %d",
                          got);
            return false;
        }
        if (got < 1)
            upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, caller,
                          "HTTP_receive_file upnp_recv() received 0 bytes: %d",
                          got);

        size = upnp_hexToi(line);
        if (size >= 1 && !store_chunk(to, static_cast<uint32_t>(size)))
            return false;
        // Sizes count as announced, so a negative one lowers the total.
        total += static_cast<uint64_t>(int64_t{ size });
        if (is_over_limit(to, static_cast<int64_t>(total)))
            return false;
        skip_line_end(to.socket);
    } while (size != 0);
    return true;
}

// Whole blocks are asked for, so that a peer that sends more than it announced
// is noticed; the last read then waits for the peer to close.
static bool store_length(const FileBody &to, int64_t length)
{
    int64_t count = 0;

    if (is_over_limit(to, length))
        return false;
    while (count < length) {
        int32_t got = store_block(to, FILE_BLOCK_BYTES);
        if (got < 1)
            return false;
        count += got;
    }
    return count == length;
}

static bool store_to_end(const FileBody &to)
{
    int64_t count = 0;
    int32_t got;

    while ((got = store_block(to, FILE_BLOCK_BYTES)) > 0) {
        count += got;
        if (is_over_limit(to, count))
            return false;
    }
    return got == 0;
}

static bool store_body(const FileBody &to, const char *header)
{
    if (HTTP_parse_header_chunked(header))
        return store_chunks(to);
    if (int64_t length = HTTP_parse_header_size(header))
        return store_length(to, length);
    return ends_with_connection(header) && store_to_end(to);
}

// --- Exported ---------------------------------------------------------------

UpnpString *http_read_body(int32_t socket, char *header, int32_t strict)
{
    if (!header)
        return nullptr;
    if (HTTP_parse_header_chunked(header))
        return read_chunks(socket);

    // Cut to 32 bits: 4294967297 announces one byte.
    auto length = static_cast<int32_t>(HTTP_parse_header_size(header));
    if (length > 0)
        return read_length(socket, static_cast<uint32_t>(length));
    if (strict && !ends_with_connection(header))
        return nullptr;
    return read_to_end(socket);
}

UpnpString *HTTP_receive_body(int32_t socket, char *header)
{
    return http_read_body(socket, header, 1);
}

int32_t HTTP_receive_file(int32_t socket, char *header, const char *path,
                          int32_t limit_mb)
{
    FileBody to = { socket, nullptr, nullptr, 0 };
    int32_t  result = 0;

    if (!header || !path)
        return 0;
    if (limit_mb > 0)
        to.limit = int64_t{ limit_mb } << 20;

    to.file = upnp_file_open_write(path);
    if (!to.file)
        return 0;
    upnp_file_seek(to.file, 0, SEEK_END);

    to.block = static_cast<char *>(upnp_malloc_impl(FILE_BLOCK_BYTES));
    if (!to.block)
        goto out;
    result = store_body(to, header) ? 1 : 0;
    upnp_free_impl(to.block);

out:
    upnp_file_close(to.file);
    return result;
}
