// http.h - the HTTP server: its records, listeners, handlers and request loop.
//
// Each listener has one accept thread, each connection one thread, which reads
// a head, calls the handler registered for the URL, and goes on with the next
// request until the connection closes.
//
// Threads: handlers and settings are plain data, filled before the server
// starts. A request belongs to its connection's thread; handlers run on many
// threads at once and guard what they share. HTTP heads stay text: a header is
// found by searching the whole head.
#ifndef HTTP_HTTP_H
#define HTTP_HTTP_H

#include "files/upnp_file.h"
#include "runtime/upnp_api.h"
#include "runtime/upnp_socket.h"
#include "runtime/upnp_string.h"
#include <stdint.h>
#include <time.h>

UPNP_C_BEGIN

// Bits of the methods. 0 is a method that the library does not know.
enum {
    HTTP_METHOD_GET         = 1,
    HTTP_METHOD_HEAD        = 2,  // OPTIONS has this bit too
    HTTP_METHOD_POST        = 4,
    HTTP_METHOD_SUBSCRIBE   = 8,
    HTTP_METHOD_UNSUBSCRIBE = 16,
    HTTP_METHOD_NOTIFY      = 32
};

enum {
    HTTP_URL_SIZE  = 1024,  // bytes of a request target with its NUL
    HTTP_HEAD_SIZE = 8192   // bytes of a head with its NUL
};

// Reserved values of range_start and range_end.
enum {
    HTTP_RANGE_NONE      = -1,  // not given; as an end: up to the end
    HTTP_RANGE_MALFORMED = -2,  // answered with 400
    HTTP_RANGE_REFUSED   = -3   // answered with 406
};

// One listener on one local address, with that address's SSDP sockets. The
// sockets, generation and the msearch words are read and written by several
// threads, always atomically.
typedef struct HttpServerEntry {
    int32_t  httpSocket;           // listening socket; -1 for none
    char     ip[UPNP_IP_SIZE];     // local address; empty: row not in use
    int32_t  httpPort;             // the port really bound
    int32_t  listenSocket;         // SSDP listener; -1 for none
    int32_t  msearchSocket;        // SSDP searches; -1 for none
    int32_t  heartbeatSocket;      // SSDP announcements; -1 for none
    uint32_t generation;           // raised by each stop, survives restarts
    uint32_t msearchSenderActive;  // 1: the search sender is running
    uint32_t msearchWake;          // 1: the search sender is to run once more
    uint32_t byebyeFirst;          // 1: say byebye before the first alive
    uint32_t remoteAccess;         // 1: a listener for remote access
    uint32_t tls;                  // 1: connections run through the TLS hooks
} HttpServerEntry;

struct HttpTimeSeek;

// What a file handler keeps open between the requests of one connection. The
// texts belong to the handler that fills them: any tracked block, or null.
typedef struct HttpFileCache {
    void                *handler_data[4];  // tracked blocks, freed on release
    UpnpFile            *file;             // open file, closed on release
    time_t               modified;         // becomes Last-Modified; 0: unknown
    struct HttpTimeSeek *time_seek;        // freed on release
} HttpFileCache;

// One accepted connection, owned by its thread.
typedef struct HttpConnection {
    HttpServerEntry *server;       // borrowed
    int32_t          socket;       // owned by the connection's thread
    HttpFileCache   *file_cache;   // owned; null at first
    uint32_t         tls;          // copy of the listener's flag
    int32_t          tls_session;  // handle of cb_tls_session_create
} HttpConnection;

// One request. Zeroed at its start and freed when it is done: a handler keeps
// no pointer into it.
typedef struct HttpRequest {
    int32_t     socket;            // a handler that stores -1 keeps it for itself
    uint32_t    method;            // bit of the method, or 0
    char        url[HTTP_URL_SIZE];  // decoded target with its query
    int32_t     http_version;      // 10 or 11
    char       *body;              // received body or null; owned by the loop
    int64_t     content_length;    // received body; then set to the length of
                                   // the response, negative when unknown
    int32_t     close_connection;  // 1: the connection ends after this
    const char *mime_type;         // of the response; borrowed
    char        client_ip[UPNP_IP_SIZE];
    int32_t     client;            // client type id for upnp_client_db_*
    char        base_url[128];     // base of URLs given to this client, with "/"
    char        session_param[128];  // "RAMSessionID=token" or empty
    char        header[HTTP_HEAD_SIZE];            // the head as received
    char        response_headers[HTTP_HEAD_SIZE];  // more lines, each with CR LF
    int64_t     range_start;       // bytes, or ms of a time seek; see above
    int64_t     range_end;
    int64_t     total_size;        // bytes of the whole resource
    int64_t     seek_start;        // the range as the client gave it
    int64_t     seek_end;
    int32_t     seek_clock_format;  // 1: the client's time had colons
    int32_t     duration_ms;       // of the resource, set by the handler
    int32_t     is_time_seek;      // 1: the range is a time
    int32_t     at_remote_port;    // 1: arrived on the configured remote port
    uint8_t     dlna_version;      // 0, 10 (DLNADOC/1.00) or 15 (DLNADOC/1.50)
    HttpFileCache *file_cache;     // the connection's; a handler may create it
    int32_t     protected_content;  // set by a content-protection module
    int32_t     from_remote_listener;  // copy of the listener's remoteAccess
    int32_t     session_required;  // 1: the session token is to be checked
    int32_t     chunked;           // 1: the response goes out in chunks
    int32_t     tls;               // copies of the connection's
    int32_t     tls_session;
    int32_t     protected_range;   // 1: the range came from Range.dtcp.com
} HttpRequest;

// Answers one request: sets mime_type and content_length and sends one
// complete response. Returns 0 to keep the connection, anything else to end it.
typedef int32_t (*HttpHandler)(HttpRequest *request);

// One row of the URL handler list, which is sorted by falling url_length.
typedef struct HttpHandlerEntry {
    HttpHandler handler;
    uint32_t    methods;           // mask of method bits
    char        url[HTTP_URL_SIZE];  // prefix
    uint32_t    url_length;
    uint32_t    read_body;         // 1: the loop reads the request's body
    uint32_t    remote_allowed;    // 0: refused at the remote port
    struct HttpHandlerEntry *next;
} HttpHandlerEntry;

// One row of the header handler list, newest first.
typedef struct HttpHeaderHandlerEntry {
    HttpHandler                    handler;  // its result is ignored
    struct HttpHeaderHandlerEntry *next;
} HttpHeaderHandlerEntry;

// --- Handlers, registered before the start ----------------------------------

// Registers a handler for the methods of a mask and the URLs that begin with
// url, cut to 1023 characters; null matches every URL. The longest prefix
// wins, and of equal ones the latest; a method that the library does not know
// passes every mask. A second handler for the same url and method is refused
// with a log line.
// With read_body the loop reads the body of POST and NOTIFY, and a chunked one
// of SUBSCRIBE and UNSUBSCRIBE. Without remote_allowed requests at the remote
// port are answered with 401 as long as no public name is set.
UPNP_API void upnp_http_register_handler(HttpHandler handler, uint32_t methods,
                                         const char *url, int32_t read_body,
                                         int32_t remote_allowed);

// Registers a handler that is called for each response head and may add lines
// with HTTP_add_header. The latest runs first.
UPNP_API void upnp_http_register_header_handler(HttpHandler handler);

// 1 if this function is in the URL handler list.
UPNP_API int32_t upnp_http_handler_is_registered(HttpHandler handler);

// Frees both lists, and ends the TLS library if it was started.
UPNP_API void http_unregister_all_handlers(void);

// What "GET /" is answered with, at most 1023 characters; null empties it.
UPNP_API extern char g_default_url[HTTP_URL_SIZE];
UPNP_API void upnp_http_set_default_url(const char *url);

// --- Listeners and the loop -------------------------------------------------

// The port tried when HTTP_create_server_socket is asked for port 0; 9000
// until set.
UPNP_API void HTTP_set_default_port(int32_t port);

// Creates, binds and listens, moving upward up to 1000 ports while one is
// taken. *socket is the socket or -1, *port the port bound. A failure is a
// critical message, which ends the process. Null arguments do nothing.
UPNP_API void HTTP_create_server_socket(int32_t *socket, uint32_t *port,
                                        const char *ip);

// Thread entries: server_entry is an HttpServerEntry *, connection an
// HttpConnection *, which the call closes and frees. The _Impl calls do the
// work, the others wrap them for upnp_start_thread.
UPNP_API void *HTTP_accept(void *server_entry);
UPNP_API void  HTTP_accept_Impl(HttpServerEntry *server);
UPNP_API void *HTTP_receive(void *connection);
UPNP_API void  HTTP_receive_Impl(HttpConnection *connection);

// Serves one request: 0 when the connection may go on, else it is to end.
UPNP_API int32_t HTTP_send_receive(HttpConnection *connection);

// Reads one head, of a request or a response, into size bytes and ends it with
// a NUL. Returns its length, 0 on failure; a head that does not fit is cut to
// size - 1 bytes that end in CR LF CR LF.
UPNP_API int32_t HTTP_get_header(int32_t socket, char *buffer, int32_t size);

// The method bit of a head; 0 for a method that is not known.
UPNP_API uint32_t http_method_from_header(const char *header);

// Decodes %XX and "+" in place, query included. May be null.
UPNP_API void HTTP_unescape_url(char *url);

// --- Sending ----------------------------------------------------------------

// Sends length bytes on a request, through TLS where it runs on TLS. Returns
// -1 on failure; -2 of the TLS hook also ends the connection.
UPNP_API int32_t upnp_send_ssl(HttpRequest *request, const void *data,
                               int64_t length);

// Sends a response of content_length bytes from memory, or the part of it that
// the client asked for. 0, or 1 on failure.
// A range that ends at exactly content_length announces and sends one byte
// more: data must have one readable byte behind its content_length bytes.
UPNP_API int32_t HTTP_send(HttpRequest *request, const void *data);

// --- TLS, supplied by the program -------------------------------------------

UPNP_API extern void (*cb_tls_startup)(void);
UPNP_API extern void (*cb_tls_shutdown)(void);
// A handle for a connected socket, negative on failure.
UPNP_API extern int32_t (*cb_tls_session_create)(int32_t socket);
UPNP_API extern void (*cb_tls_session_close)(int32_t session);
UPNP_API extern int32_t (*cb_tls_send)(int32_t session, const void *data,
                                       int64_t length);
UPNP_API extern int32_t (*cb_tls_recv)(int32_t session, void *buffer,
                                       int32_t length);
// Reads a head as HTTP_get_header does; negative on failure.
UPNP_API extern int32_t (*cb_tls_http_get_header)(int32_t session,
                                                  char *buffer, int32_t size);
// Reads the body that this head announces; the loop frees it.
UPNP_API extern UpnpString *(*cb_tls_http_receive_body)(int32_t session,
                                                        char   *header);

// Fills the slots above. cb_tls_recv is stored for the program's own use.
UPNP_API void http_server_set_tls_callbacks(
    void (*startup)(void), void (*shutdown)(void),
    int32_t (*session_create)(int32_t), void (*session_close)(int32_t),
    int32_t (*send)(int32_t, const void *, int64_t),
    int32_t (*recv)(int32_t, void *, int32_t),
    int32_t (*http_get_header)(int32_t, char *, int32_t),
    UpnpString *(*http_receive_body)(int32_t, char *));

// --- The file cache of a connection -----------------------------------------

// Called with each file cache before it is released.
typedef void (*HttpFileCompleted)(HttpFileCache *cache);
UPNP_API extern HttpFileCompleted g_cb_file_completed;
UPNP_API void http_set_cb_file_completed(HttpFileCompleted hook);

// Closes and frees all that a file cache holds, and the record. May be null.
UPNP_API void http_file_filecache_free(HttpFileCache *cache);

UPNP_C_END
#endif
