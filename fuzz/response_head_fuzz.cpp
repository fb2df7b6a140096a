// response_head_fuzz.cpp - any bytes as what a server answers: heads, interim
// ones among them, and the body behind the last.

#include "fuzz/fuzz.h"
#include "http/http.h"
#include "http/http_body.h"
#include "http/http_client.h"
#include "http/http_client_parts.h"
#include "runtime/upnp_mem.h"

#include <cstring>

using fuzz::require;

static void ask(char *head)
{
    char *value = HTTP_get_header_param(head, "location:");
    char *type = HTTP_parse_header_mime_type(head);

    require(!value || (value > head && *value));
    require(!type || !strstr(type, "\r\n"));
    require(HTTP_parse_header_size(head) >= 0);
    HTTP_parse_header_response(head);
    upnp_http_has_connection_close(head);
    HTTP_unescape_url(value);
    if (type)
        upnp_free_impl(type);
}

static void read_body(const char *head, size_t size, int32_t strict)
{
    const wire::In start = wire::in;
    UpnpString    *body = http_read_body(-1, const_cast<char *>(head), strict);

    if (body)
        require(body->length <= size && body->buffer[body->length] == '\0');
    upnp_string_free(body);
    wire::in = start;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Text text = fuzz::stretch(data, size);
    int64_t    used = upnp_mem_used();
    char      *head = http_client::create_head();

    wire::in = { text.bytes.get(), text.size, SIZE_MAX, 0 };
    if (http_client::read_head(-1, head, "", "no head")) {
        require(strnlen(head, HTTP_HEAD_SIZE) < HTTP_HEAD_SIZE);
        read_body(head, text.size, 0);
        read_body(head, text.size, 1);
        ask(head);
    }
    upnp_free_impl(head);
    require(upnp_mem_used() == used);
    return 0;
}
