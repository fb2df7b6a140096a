// session_tokens.h - the tokens by which remote clients show that they may
// come in.
//
// A token is a text of 64 random hexadecimal digits, too many to be guessed.
// It is good until its time is over or it is revoked. At most 64 exist: a
// further one takes the place of the one that would end first.
//
// The library asks about the tokens that it finds:
//
//     HTTP_set_dns_and_remote_port("", 9443);
//     upnp_http_register_cookie_handler(tls::is_valid_token);
//     tls::issue_token(token, 86400'000);  // https://HOST:9443/ra?TOKEN
//
// But it refuses bad tokens only, and serves a request that shows none, or
// whose URL holds "resources". So a handler that is to be kept to those who
// have one asks for itself, on requests with from_remote_listener set:
//
//     if (!tls::shows_token(request->header))
//         return HTTP_send_access_restriced(request);
//
// Threads: any.
#ifndef TLS_SESSION_TOKENS_H
#define TLS_SESSION_TOKENS_H

#include <stdint.h>

namespace tls {

enum { TOKEN_SIZE = 65 };  // bytes of a token with its NUL

// Makes a token that is good for lifetime_ms. False, and an empty text, if the
// system gives no random bytes or lifetime_ms is below 1.
bool issue_token(char (&token)[TOKEN_SIZE], int64_t lifetime_ms);

// 1 if the token is good, else 0; 0 for null, too. How long it takes tells
// nothing about the tokens that are. Fits upnp_http_register_cookie_handler.
int32_t is_valid_token(char *token);

// Whether a head, as it was received, holds a good token: in its entry URL
// "/ra?TOKEN", or under the name "RAMSessionID" in its URL or a cookie.
bool shows_token(const char *head);

// Ends one token, or all. One that is not good, or null, changes nothing.
void revoke_token(const char *token);
void revoke_all_tokens();

}

#endif
