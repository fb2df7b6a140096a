// tls_session.h - the sessions behind the handles that the library is given.
//
// A session is used by one thread at a time, that of its connection. Another
// thread may end it meanwhile, to make room: the record then lives on until
// its user lets go of it, and its handle leads nowhere.
#ifndef TLS_TLS_SESSION_H
#define TLS_TLS_SESSION_H

#include <memory>
#include <openssl/ssl.h>
#include <stdint.h>

namespace tls {

// What a session is doing. The lower ones make room first, and the last one
// never does.
enum class Stage { HANDSHAKE, WAITING, BUSY };

struct Session {
    SSL    *ssl;             // owned
    int64_t since_ms;        // when its stage began; guarded by the table
    Stage   stage;           // guarded by the table
    int32_t references;      // the table and its user; guarded by the table
    int32_t socket;          // borrowed; valid while it is in the table
    bool    is_established;  // the handshake is done
    bool    has_failed;      // nothing can be read or sent any more
    bool    is_out_of_step;  // a body was not read to its end: no next head
};

using SessionHold = std::unique_ptr<Session, void (*)(Session *)>;

// Milliseconds of a clock that never goes back.
int64_t now_ms();

// Sessions are made with this context from now on, which they then own. False
// if there is one already; it stays the caller's.
bool open_table(SSL_CTX *context);

// Ends all sessions and waits until nobody uses them.
void close_table();

// A handle for a connected socket, which stays the caller's; -1 on failure.
int32_t open_session(int32_t socket);

// Tells the peer, if it is there to hear it, and ends the session.
void close_session(int32_t handle);

// Takes hold of a session and makes its handshake if that is still to be done.
// Null if there is no such session or no handshake.
SessionHold use_session(int32_t handle);

void enter_stage(Session &session, Stage stage);

// Reads at least one byte: their number, 0 if the peer has closed properly, -1
// for a failure or when the time is over.
int32_t read_some(Session &session, void *buffer, int32_t size,
                  int64_t deadline_ms);

// Sends all bytes, each 16 KiB of them within the time that a peer may idle.
bool write_all(Session &session, const void *data, int64_t length);

// When a peer that does nothing from now on is given up.
int64_t idle_deadline();

}

#endif
