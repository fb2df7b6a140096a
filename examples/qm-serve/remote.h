// remote.h - the listeners for clients from outside, over TLS.
//
// They serve what reads: the folder, its files and its documents. Whoever comes
// shows the user name and the password, or the token of a session, in a cookie
// or in the links of the pages. Two URLs begin a session: "/auth/ott", for
// those who have the password, and "/ra?TOKEN", which is printed at the start
// if an entry of some time was asked for.
#ifndef QM_SERVE_REMOTE_H
#define QM_SERVE_REMOTE_H

#include "http/http.h"
#include "runtime/upnp_string.h"

#include <cstdint>
#include <string>

namespace serve {

// Keys of properties that are paths of files.
inline constexpr uint32_t KEY_CERTIFICATE = 106;
inline constexpr uint32_t KEY_PRIVATE_KEY = 107;

// Creates the properties of this unit.
void create_remote_properties();

// Prepares the listeners if the properties ask for them. False, with a message
// for people, if that is not possible or would let everybody in.
bool open_remote();

// The port they are to have; 0 for none.
int32_t remote_port();

// What a browser asks for first, without the "/" in front.
const std::string &remote_entry();

// Whether a request comes from outside and shows no right to be here.
bool is_stranger(const HttpRequest *request);

// 401. The result is that of a handler; the connection ends, since a body that
// nobody reads may follow the head.
int32_t turn_stranger_away(HttpRequest *request);

// The page with a session's token in its links; null when out of memory.
// Caller frees with upnp_string_free.
UpnpString *with_session(HttpRequest *request, const std::string &html);

// Ends all sessions, and gives everything back once no connection is open any
// more.
void end_remote_sessions();
void close_remote();

}

#endif
