// tls_certificate.h - the certificate and the key of a server that was given
// none.
#ifndef TLS_TLS_CERTIFICATE_H
#define TLS_TLS_CERTIFICATE_H

namespace tls {

// Makes the key if there is none, and then the certificate if there is none.
// The key comes first, so that a start that was cut off between the two is
// made good by the next. False if one is missing and cannot be made; a key is
// not made for a certificate that exists.
bool create_missing(const char *certificate_path, const char *key_path);

}

#endif
