// http_body.h - bodies on a plain socket: received into memory or a file, sent
// in chunks; and the fields of a head that tell how a body comes.
//
// The same calls serve requests and responses. A field is found by searching
// the whole head, so that what stands in a URL or behind another name counts
// too. A read waits as long as the socket lets it: no call sets a timeout.
//
// Threads: nothing is shared; each call works on its own socket and head.
#ifndef HTTP_HTTP_BODY_H
#define HTTP_HTTP_BODY_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Receiving --------------------------------------------------------------

// Reads the body behind a head. Chunked coding (RFC 9112, 7.1) goes before a
// Content-Length, which goes before reading to the end of the connection. The
// last is done with strict 0 always, with strict 1 only where the head says
// HTTP/1.0 or Connection: close; otherwise there is no body and nothing is
// read.
//
// A chunk-size line has at most 19 bytes: the twentieth is lost, and the rest
// of a longer line is read as data. A negative size is no data. Trailers are
// not read. A Content-Length is taken modulo 2^32; 0 and what is then negative
// count as no length. An announced size costs memory only as far as it comes.
//
// A body that the peer cuts off is returned as far as it came: an announced
// one of which nothing came is an empty record, no null. Null without a body,
// for a null head and when out of memory. Caller frees with upnp_string_free.
UPNP_API UpnpString *http_read_body(int32_t socket, char *header,
                                    int32_t strict);

// The same with strict 1.
UPNP_API UpnpString *HTTP_receive_body(int32_t socket, char *header);

// Appends the body behind a head to a file, which is created if need be. 1, or
// 0 on failure, for a null argument and for a head without a body; what came
// by then stays in the file.
//
// limit_mb bounds the body in MiB; 0 and less mean no limit. A Content-Length
// above it fails before anything is read; a chunk is counted once it is
// stored, at its announced size.
//
// With a Content-Length the file is read in whole blocks of 131072 bytes, so
// the call waits until the peer closes or a receive timeout ends it, and one
// byte more than announced fails: uploads that keep the connection use chunks.
// A chunked body that the peer closes early still gives 1.
UPNP_API int32_t HTTP_receive_file(int32_t socket, char *header,
                                   const char *path, int32_t limit_mb);

// --- Sending in chunks ------------------------------------------------------

// Sends a whole 200 head for a chunked body that closes the connection. A null
// content_type is UTF-8 text/xml. 0, or 1 if the send fails; out of memory
// gives 0 too, with nothing sent.
UPNP_API int32_t HTTP_send_chunked_header(int32_t     socket,
                                          const char *content_type);

// Sends part as one chunk and empties it for the next one. A null or empty
// part sends nothing, since an empty chunk would end the body. 0, or 1 if a
// send fails: part then keeps its text.
UPNP_API int32_t HTTP_send_chunked_part(int32_t socket, UpnpString *part);

// Ends the body. 0, or 1 if the send fails.
UPNP_API int32_t HTTP_send_chunked_end(int32_t socket);

// --- Fields of a head -------------------------------------------------------

// The Content-Type, up to the end of its line; null for a null head, without
// the field or its CR LF. Caller frees with upnp_free_impl.
UPNP_API char *HTTP_parse_header_mime_type(char *header);

// 1 if the head holds "Transfer-Encoding" and "chunked\r\n", in any case.
UPNP_API int32_t HTTP_parse_header_chunked(const char *header);

// The Content-Length; 0 without one, for a negative one and a null head.
UPNP_API int64_t HTTP_parse_header_size(const char *header);

// 1 if the Connection field begins with "close" in any case, or if "close"
// follows anywhere behind it in the head; else 0, also for null.
UPNP_API int32_t upnp_http_has_connection_close(const char *header);

// The value behind name, such as "host:", in any case; null if it is absent or
// empty. Borrowed from header: it goes on to the end of the head.
UPNP_API char *HTTP_get_header_param(const char *header, const char *name);

// Moves *text over blanks and tabs, if anything but CR or NUL follows them;
// an empty value leaves it where it was. May be null.
UPNP_API void http_skip_spaces(char **text);

UPNP_C_END
#endif
