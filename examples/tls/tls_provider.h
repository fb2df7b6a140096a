// tls_provider.h - TLS 1.2 and 1.3 for the library's remote listeners, on
// OpenSSL.
//
// A program needs five lines before upnp_server_start, and none behind it:
//
//     if (!tls::set_up("server.crt", "server.key"))
//         return false;
//     tls::install();
//     server_set_remote_port(9443);
//     upnp_ini_file_setPropertyByKey(INI_ENABLETLS, "1");
//
// session_tokens.h tells how such a listener is kept to those who may come in.
//
// http_unregister_all_handlers ends the provider once a listener has run. A
// program that waits for its connections to end calls tls::release first,
// since their threads wait for their peers.
//
// Handlers send with upnp_send_ssl and never touch request->socket where
// request->tls is set: it carries encrypted records. Those that read a body of
// their own do so with cb_tls_recv.
//
// The accept thread only makes a handle. The handshake is made on the
// connection's own thread, with its first head, so that a peer that stalls
// holds nobody up. All waiting has an end: at most 256 sessions exist, and one
// more takes the place of the one that has waited longest for its handshake
// or, if there is none, for a head. Only when all 256 are being served is a
// connection refused.
//
// Threads: set_up, install, set_deadlines and release belong to the thread
// that starts and stops the servers.
#ifndef TLS_TLS_PROVIDER_H
#define TLS_TLS_PROVIDER_H

#include <stdint.h>

namespace tls {

// Loads a certificate chain and its private key, both PEM and the key without
// a password. What is missing is made: a P-256 key that only its owner may
// read, and a certificate that it signs itself, for the name of this machine
// and the address of the property "ip", or all that it has at the time. A
// certificate without its key is a failure.
//
// Returns false, with a log line, for a null path, for files that cannot be
// used, and when it is set up already.
bool set_up(const char *certificate_path, const char *key_path);

// Fills the library's TLS slots.
void install();

// A handshake must be done in handshake_ms from the connection on. idle_ms is
// the time for a whole head, the wait for it included, and that in which the
// next part of a body must come in, or 16 KiB go out. 10 s and 60 s until set;
// values below 1 change nothing.
void set_deadlines(int32_t handshake_ms, int32_t idle_ms);

// Ends all sessions, which makes the threads of their connections end, refuses
// new ones and frees everything. Nothing happens if nothing is set up.
void release();

}

#endif
