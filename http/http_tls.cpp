// http_tls.cpp - the slots that a program fills: TLS and finished files.

#include "http/http_tls.h"

#include "files/upnp_file.h"
#include "http/http.h"
#include "http/http_range.h"
#include "runtime/upnp_lock.h"
#include "runtime/upnp_mem.h"

void (*cb_tls_startup)(void);
void (*cb_tls_shutdown)(void);
int32_t (*cb_tls_session_create)(int32_t);
void (*cb_tls_session_close)(int32_t);
int32_t (*cb_tls_send)(int32_t, const void *, int64_t);
int32_t (*cb_tls_recv)(int32_t, void *, int32_t);
int32_t (*cb_tls_http_get_header)(int32_t, char *, int32_t);
UpnpString *(*cb_tls_http_receive_body)(int32_t, char *);

HttpFileCompleted g_cb_file_completed;

static CriticalSection tls_lock = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };
static bool            tls_is_started;  // guarded by tls_lock

// The lock is held across the hook: no connection may begin before it is done.
void http_tls::start()
{
    EnterCriticalSection(&tls_lock);
    if (!tls_is_started) {
        tls_is_started = true;
        if (cb_tls_startup)
            cb_tls_startup();
    }
    LeaveCriticalSection(&tls_lock);
}

void http_tls::stop()
{
    EnterCriticalSection(&tls_lock);
    if (tls_is_started) {
        tls_is_started = false;
        if (cb_tls_shutdown)
            cb_tls_shutdown();
    }
    LeaveCriticalSection(&tls_lock);
}

void http_server_set_tls_callbacks(
    void (*startup)(void), void (*shutdown)(void),
    int32_t (*session_create)(int32_t), void (*session_close)(int32_t),
    int32_t (*send)(int32_t, const void *, int64_t),
    int32_t (*recv)(int32_t, void *, int32_t),
    int32_t (*http_get_header)(int32_t, char *, int32_t),
    UpnpString *(*http_receive_body)(int32_t, char *))
{
    cb_tls_startup = startup;
    cb_tls_shutdown = shutdown;
    cb_tls_session_create = session_create;
    cb_tls_session_close = session_close;
    cb_tls_send = send;
    cb_tls_recv = recv;
    cb_tls_http_get_header = http_get_header;
    cb_tls_http_receive_body = http_receive_body;
}

void http_set_cb_file_completed(HttpFileCompleted hook)
{
    g_cb_file_completed = hook;
}

void http_file_filecache_free(HttpFileCache *cache)
{
    static constexpr int release_order[] = { 1, 3, 0, 2 };

    if (!cache)
        return;
    if (g_cb_file_completed)
        g_cb_file_completed(cache);
    upnp_file_close(cache->file);
    for (int i : release_order)
        if (cache->handler_data[i])
            upnp_free_impl(cache->handler_data[i]);
    upnp_timeseek_free(cache->time_seek);
    upnp_free_impl(cache);
}
