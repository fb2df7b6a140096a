// http_exchange.h - one request to a device and its answer, read piece by
// piece.
//
// The library's own exchanges hold whole bodies of any size, and do not tell
// the status. These are the same requests, with an answer that is bounded and
// judged.
#ifndef QM_FIND_HTTP_EXCHANGE_H
#define QM_FIND_HTTP_EXCHANGE_H

#include <cstdint>
#include <optional>
#include <string>

namespace find {

struct Exchange {
    std::string url;          // of clean_url
    int32_t     socket = -1;  // owned; close_exchange takes it back
    int32_t     status = 0;   // of the answer
    std::string head;         // of the answer
    bool        is_chunked = false;
    int64_t     bytes_left = 0;  // of the body or the chunk; -1: to the end
};

// Connects to the host of a URL. As all that returns bool here, it says on
// standard error what went wrong.
bool open_exchange(Exchange &exchange, const std::string &url);
void close_exchange(Exchange &exchange);

// Reads the head of the answer, once the request has been sent.
bool read_answer(Exchange &exchange);

// open_exchange, a GET with more header lines (may be null), read_answer.
bool ask(Exchange &exchange, const std::string &url, const char *extra);

// Reads some bytes of the body: their number, 0 at its end, -1 if it is cut
// off. Nothing may be read behind the end.
int32_t read_body(Exchange &exchange, char *buffer, uint32_t size);

// Reads all of a body that a program of this size has any use for.
std::optional<std::string> read_document(Exchange &exchange);

// Whether the status tells of success.
bool has_succeeded(const Exchange &exchange);
bool complain_of_status(const Exchange &exchange);

// The document at a URL.
std::optional<std::string> fetch(const std::string &url);

}

#endif
