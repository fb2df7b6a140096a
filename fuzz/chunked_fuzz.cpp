// chunked_fuzz.cpp - any bytes as a chunked body, into memory or into a file;
// and any bytes sent in chunks, which come back whole.
//
// The first byte chooses what is done, how much a read gives, and whether the
// connection ends or fails.

#include "fuzz/fuzz.h"
#include "http/http_body.h"
#include "runtime/upnp_mem.h"

#include <string_view>

using fuzz::require;

static char head[] = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

// Whatever the sizes say, no more comes than was sent.
static void read_file(size_t size)
{
    disk::store(nullptr, 0);
    HTTP_receive_file(-1, head, "/memory/body", 1);
    require(disk::content.size() <= size);
}

static void read_memory(size_t size)
{
    UpnpString *body = HTTP_receive_body(-1, head);

    if (body)
        require(body->length <= size && body->buffer[body->length] == '\0');
    upnp_string_free(body);
}

static void send_and_read(const uint8_t *data, size_t size)
{
    std::string_view bytes(reinterpret_cast<const char *>(data), size);

    wire::out.clear();
    for (std::string_view part :
         { bytes.substr(0, size / 3), bytes.substr(size / 3) }) {
        UpnpString *text = upnp_string_add(nullptr, part.data(),
                                           static_cast<uint32_t>(part.size()));
        require(HTTP_send_chunked_part(-1, text) == 0 && text->length == 0);
        upnp_string_free(text);
    }
    require(HTTP_send_chunked_end(-1) == 0);

    std::string sent;
    sent.swap(wire::out);
    wire::in.next = sent.data();
    wire::in.left = sent.size();
    UpnpString *body = HTTP_receive_body(-1, head);
    require(wire::in.left == 0);
    require(body ? std::string_view(body->buffer, body->length) == bytes
                 : size == 0);
    upnp_string_free(body);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    int64_t used = upnp_mem_used();

    if (size == 0)
        return 0;
    uint8_t mode = *data++;
    size_t  most = mode >> 4 ? mode >> 4 : SIZE_MAX;
    wire::in = { data, --size, most, mode & 8 ? -1 : 0 };
    switch (mode & 7) {
    case 0: read_file(size); break;
    case 1: send_and_read(data, size); break;
    default: read_memory(size);
    }
    require(upnp_mem_used() == used);
    return 0;
}
