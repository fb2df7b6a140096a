// tls_provider.cpp - the context of all sessions, and the library's hooks.

#include "tls/tls_provider.h"

#include "http/http.h"
#include "runtime/upnp_log.h"
#include "tls/tls_certificate.h"
#include "tls/tls_http.h"
#include "tls/tls_session.h"

#include <algorithm>
#include <memory>
#include <openssl/err.h>
#include <openssl/ssl.h>

// TLS 1.2 with forward secrecy and authenticated encryption alone; all that
// TLS 1.3 has is like that.
static constexpr char ciphers[] = "ECDHE+AESGCM:ECDHE+CHACHA20";
static constexpr char groups[] = "X25519:P-256:P-384";

using Context = std::unique_ptr<SSL_CTX, void (*)(SSL_CTX *)>;

// --- The context ------------------------------------------------------------

// A server that asks for a password on the terminal would never start.
static int give_no_password(char *, int, int, void *)
{
    return -1;
}

static bool restrict_protocol(SSL_CTX *context)
{
    SSL_CTX_set_options(context,
                        SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    // Sessions are resumed by tickets, which the clients keep.
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_mode(context,
                     SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_RELEASE_BUFFERS);
    // Back to the caller after each record, so that a peer that sends records
    // without data cannot pass its deadline.
    SSL_CTX_clear_mode(context, SSL_MODE_AUTO_RETRY);
    return SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) &&
           SSL_CTX_set_cipher_list(context, ciphers) &&
           SSL_CTX_set1_groups_list(context, groups);
}

static bool load_files(SSL_CTX *context, const char *certificate_path,
                       const char *key_path)
{
    SSL_CTX_set_default_passwd_cb(context, give_no_password);
    return SSL_CTX_use_certificate_chain_file(context, certificate_path) == 1 &&
           SSL_CTX_use_PrivateKey_file(context, key_path, SSL_FILETYPE_PEM) ==
               1 &&
           SSL_CTX_check_private_key(context) == 1;
}

static Context new_context(const char *certificate_path, const char *key_path)
{
    Context context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);

    if (context && restrict_protocol(context.get()) &&
        load_files(context.get(), certificate_path, key_path))
        return context;
    return { nullptr, SSL_CTX_free };
}

// --- Hooks ------------------------------------------------------------------

static int32_t send_data(int32_t handle, const void *data, int64_t length)
{
    tls::SessionHold session = tls::use_session(handle);

    if (!session || !data || !tls::write_all(*session, data, length))
        return -1;
    return static_cast<int32_t>(std::clamp<int64_t>(length, 0, INT32_MAX));
}

static int32_t receive_data(int32_t handle, void *buffer, int32_t length)
{
    tls::SessionHold session = tls::use_session(handle);

    if (!session || !buffer || length < 1)
        return -1;
    return tls::read_some(*session, buffer, length, tls::idle_deadline());
}

static int32_t get_header(int32_t handle, char *buffer, int32_t size)
{
    tls::SessionHold session = tls::use_session(handle);
    int32_t          length;

    if (!session || session->is_out_of_step)
        return -1;
    tls::enter_stage(*session, tls::Stage::WAITING);
    length = tls::read_head(*session, buffer, size);
    tls::enter_stage(*session, tls::Stage::BUSY);
    return length > 0 ? length : -1;
}

static UpnpString *receive_body(int32_t handle, char *header)
{
    tls::SessionHold session = tls::use_session(handle);

    return session ? tls::read_body(*session, header) : nullptr;
}

// --- Exported ---------------------------------------------------------------

bool tls::set_up(const char *certificate_path, const char *key_path)
{
    Context context(nullptr, SSL_CTX_free);

    ERR_clear_error();
    if (certificate_path && key_path &&
        create_missing(certificate_path, key_path))
        context = new_context(certificate_path, key_path);
    if (context && open_table(context.get())) {
        // The table owns it now.
        static_cast<void>(context.release());
        return true;
    }
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    upnp_log_impl(UPNP_LOG_ERROR, LOG_HTTP, "tls::set_up",
                  "no TLS with certificate %s and key %s: %s",
                  certificate_path ? certificate_path : "-",
                  key_path ? key_path : "-", reason ? reason : "not possible");
    return false;
}

void tls::install()
{
    http_server_set_tls_callbacks(nullptr, release, open_session, close_session,
                                  send_data, receive_data, get_header,
                                  receive_body);
}

void tls::release()
{
    close_table();
}
