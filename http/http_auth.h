// http_auth.h - who may come in through the remote-access listener.
//
// A second set of listeners may serve clients from outside the local network.
// A client shows that it may come in by a session token, or by the user name
// and password of Basic authorization (RFC 7617). Whether a token is good is
// for the program to say, through the cookie handler.
//
// A token travels under the name "RAMSessionID": in a cookie, or as a parameter
// of the URL. A session begins at the entry URL "/ra?" and the token, which
// gets the cookie and is served as "/webbrowse".
//
// Threads: the settings are made before the server starts. The cookie handler
// is called on the threads of the connections, several at once.
#ifndef HTTP_HTTP_AUTH_H
#define HTTP_HTTP_AUTH_H

#include "http/http.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// --- Where remote clients find this server ----------------------------------

UPNP_API extern int32_t g_remote_port;           // public port; 0: none
UPNP_API extern int32_t g_remote_dns_set;        // 1: the name is not empty
UPNP_API extern char    g_remote_dns_name[128];  // public host or URL base

// "http://host:port/" as the last client that asked for "/auth/ott" gave it; a
// tracked text or null. Replaced by the threads of connections.
UPNP_API extern char *g_remote_base_url;

// Sets port and name, cut to 127 bytes; null is empty. One "/" at the end of
// the name is removed, unless it is the whole name.
UPNP_API void HTTP_set_dns_and_remote_port(const char *name, int32_t port);

// g_remote_port.
UPNP_API int32_t HTTP_get_remote_port(void);

// Stores the port of a content-protection module.
UPNP_API void http_dtcp_set_port(int32_t port);

// --- Credentials ------------------------------------------------------------

// Sets what Basic authorization asks for, each cut to 63 bytes: a null keeps
// what there is, an empty text replaces it. With second not 0 a second pair is
// stored, which is never asked for and in which null is empty.
//
// password comes scrambled by upnp_string_encrypt, so that at most 30
// characters of it fit. A password that is NOT SCRAMBLED counts as none behind
// the colon: "user:" then comes in.
UPNP_API void HTTP_set_username_and_pwd(const char *user, const char *password,
                                        int32_t second);

// Not 0 if the session of this token may go on. The token comes as the client
// sent it, of any length and with any byte but NUL; one that is accepted goes
// into response heads and links. It is borrowed for the call.
typedef int32_t (*HttpCookieHandler)(char *token);

// Sets the one handler; without it every token is refused.
UPNP_API void upnp_http_register_cookie_handler(HttpCookieHandler handler);

// --- The decision -----------------------------------------------------------

// 1 if the request may be served on a remote-access listener, else 0, which is
// not logged. 0 for null.
//
// With session_required a token that is present decides first: a bad or empty
// one is refused, and out of memory refuses it too. A request WITHOUT a token
// is not refused here. With no public name set that is all, and the request
// passes. With one, the credentials are asked for as well, which pass if their
// base64 form stands anywhere in the head, if user name or password are not
// set, and when out of memory.
//
// An accepted token fills session_param, cut to 127 bytes, once the public
// address has been seen. base_url then becomes that address, unless client and
// listener share the first three numbers of their addresses. The entry URL
// changes url, and adds a cookie of one day to response_headers.
UPNP_API int32_t HTTP_has_authorization(HttpRequest *request);

UPNP_C_END
#endif
