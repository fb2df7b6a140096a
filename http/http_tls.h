// http_tls.h - starting and ending the TLS library that a program plugs in.
#ifndef HTTP_HTTP_TLS_H
#define HTTP_HTTP_TLS_H

namespace http_tls {

// Calls cb_tls_startup, once until stop is called. Returns when it is done,
// also for a second thread that comes while the first is at it.
void start();

// Calls cb_tls_shutdown if start was called.
void stop();

}

#endif
