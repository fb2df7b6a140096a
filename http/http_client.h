// http_client.h - requests to other devices: pages, SOAP actions, files.
//
// One connection per call: nothing is pooled, no redirect is followed, nothing
// is tried again. The low layer writes one request on a socket of the caller's;
// the high layer connects, talks, reads the response and closes. IPv4 and
// plain HTTP only.
//
// Threads: any. The user agent and the connection timeout are for the whole
// process and set at start-up.
#ifndef HTTP_HTTP_CLIENT_H
#define HTTP_HTTP_CLIENT_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Settings ---------------------------------------------------------------

// The User-Agent of all requests, cut to 127 characters; null is the empty
// one. Does nothing once an agent is set, be it by this call or by the first
// request without one, which sets "qrConnect Quorel/6.0 DLNADOC/1.50".
UPNP_API void HTTP_set_default_user_agent(const char *text);

// Lets the next HTTP_set_default_user_agent win.
UPNP_API void HTTP_make_user_agent_settable(void);

// Seconds for connecting and for each wait on a connection; 30 at load, 0
// waits for ever. The first returns the old value.
UPNP_API int32_t HTTP_set_connection_timeout(int32_t seconds);
UPNP_API int32_t HTTP_get_connection_timeout(void);

// --- Requests on a connected socket ------------------------------------------

// Each sends the head of one request: 0, or 1 on failure - a url that does not
// begin with "http://" (in lower case) or has fewer than 9 characters, no
// memory, a failed send. The target is what stands behind the first "/" of the
// url, the Host its host and port, at most 255 characters.
//
// extra, which may be null, is more header lines, each with its CR LF. A
// "User-Agent" in it takes the place of the default one.
UPNP_API int32_t HTTP_get_request(int32_t socket, const char *url,
                                  const char *extra);
UPNP_API int32_t HTTP_head_request(int32_t socket, const char *url,
                                   const char *extra);
UPNP_API int32_t HTTP_head_or_get_request(const char *method, int32_t socket,
                                          const char *url, const char *extra);

// A GET of HTTP/1.0, cut to 1023 bytes.
UPNP_API int32_t HTTP_get_request_1_0(int32_t socket, const char *url,
                                      const char *extra);

// The head of a SOAP action (UPnP Device Architecture 1.0, 3.2.1) for this
// body, which the caller sends. Fails for a url without a "/" behind its host.
// Null texts count as empty.
UPNP_API int32_t HTTP_post_request(int32_t socket, const char *url,
                                   const char *soap_action, const char *body);

// The head of a POST of length bytes, which keeps the connection; length 0
// writes no Content-Length and closes it. expect not 0 asks for a 100 Continue
// (RFC 9110, 10.1.1). Fails for a null content_type and a negative length.
//
// The head is cut to 1023 bytes; NUL bytes then go out up to its full length,
// which must be below 8192.
UPNP_API int32_t HTTP_post_header(int32_t socket, const char *url,
                                  const char *content_type, int64_t length,
                                  int32_t expect, const char *extra);

// --- Whole exchanges --------------------------------------------------------

// A socket connected to the host of a URL, -1 on failure. "http://" has port
// 80 and "ftp://" 21 unless the URL names one, which is taken modulo 65536. A
// user part is dropped. A host that is not found counts as 127.0.0.1. ttl is
// the time to live of the packets, 0 the system's.
// Caller closes with upnp_close_socket.
UPNP_API int32_t HTTP_open(const char *url);
UPNP_API int32_t HTTP_open_ttl(const char *url, int32_t ttl);

// Values of mode.
enum {
    HTTP_TALK_POST = 1,  // a SOAP action
    HTTP_TALK_GET  = 2
};

// One exchange: the body of the response, whatever its status - but null for a
// 404, without a body and for every failure. Interim responses (1xx) are
// passed over. soap_action and body are those of HTTP_post_request. A
// timeout_ms above 0 bounds each wait in the place of the connection timeout.
// Caller frees with upnp_string_free.
UPNP_API UpnpString *_HTTP_talk(int32_t mode, const char *url,
                                const char *soap_action, const char *body,
                                int32_t timeout_ms);
UPNP_API UpnpString *HTTP_talk(int32_t mode, const char *url,
                               const char *soap_action, const char *body);
UPNP_API UpnpString *HTTP_get(const char *url);
UPNP_API UpnpString *HTTP_get_with_timeout(const char *url, int32_t timeout_ms);

// The same for a SOAP action at path. A path with a leading "/" takes the
// place of base_url's own path, any other is joined to base_url with a "/".
// The URL is cut to 1023 characters. Null for a null argument.
UPNP_API UpnpString *HTTP_soap_action(const char *base_url, const char *path,
                                      const char *soap_action,
                                      const char *body);

// Posts length bytes of text/xml; headers, which may be null, is more header
// lines. 1 if the request went out and a head came back, whatever its status;
// else 0, also for a url without a "/" behind its host, a negative length, and
// a null body with a length. The head is cut to 1023 bytes.
//
// *answer and *answer_length get the body and its bytes without the NUL behind
// them, and stay as they were if there is none; both may be null. Caller frees
// *answer with upnp_free_impl.
UPNP_API int32_t HTTP_post(const char *url, const char *headers,
                           const char *body, int32_t length, char **answer,
                           uint32_t *answer_length);

// Appends what a GET answers to a file, created if need be, whatever the
// status of the response: 0, or 14 on failure.
//
// For a file that is there, the rest is asked for by a Range line that is the
// last line of the request: its head then lacks the empty line at its end, and
// a peer that waits for one does not answer.
UPNP_API int32_t HTTP_download_file(const char *url, const char *path);

// Posts a file, with more header lines behind the request line (extra) and at
// the end of the head (headers). Of the arguments only answer may be null.
//
// 1 for a response of status 401, which asks for credentials; 0 for all else,
// success and failure alike. *answer gets the body of the response, which the
// caller frees with upnp_string_free, and stays as it was without one.
UPNP_API int32_t HTTP_post_file(const char *url, const char *headers,
                                const char *path, const char *extra,
                                UpnpString **answer);

// The status of a response head: the number behind its first blank, 0 if there
// is none. 500 for a null or empty head and for one without a blank.
UPNP_API int32_t HTTP_parse_header_response(const char *head);

UPNP_C_END
#endif
