// tls_certificate.cpp - makes a private key and a certificate that it signs.

#include "tls/tls_certificate.h"

#include "config/upnp_ini_file.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_socket.h"
#include "runtime/upnp_string.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <unistd.h>

static constexpr int  VALID_DAYS = 3650;
static constexpr long DAY_SECONDS = 86400;
static constexpr int  SERIAL_BITS = 127;

// A common name has at most 64 characters (RFC 5280, appendix A.1), and so has
// a host name on Linux.
static constexpr uint32_t HOST_BYTES = 65;

static constexpr int32_t MAX_ADDRESSES = 16;

using Key = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY *)>;
using Certificate = std::unique_ptr<X509, void (*)(X509 *)>;

// --- Files ------------------------------------------------------------------

static bool is_missing(const char *path)
{
    return access(path, F_OK) == -1 && errno == ENOENT;
}

// Writes a new file by a function that takes the open file. What cannot be
// written whole is removed.
template <typename Write>
static bool write_file(const char *path, mode_t mode, Write write)
{
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd == -1)
        return false;

    FILE *file = fdopen(fd, "w");
    bool  written = file && write(file) == 1;
    if (file)
        written = fclose(file) == 0 && written;
    else
        close(fd);
    if (!written)
        unlink(path);
    return written;
}

static Key read_key(const char *path)
{
    FILE *file = fopen(path, "re");
    Key   key(nullptr, EVP_PKEY_free);
    char  no_password[] = "";

    if (file) {
        key.reset(PEM_read_PrivateKey(file, nullptr, nullptr, no_password));
        fclose(file);
    }
    return key;
}

static bool create_key(const char *path)
{
    Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);

    return key && write_file(path, 0600, [&](FILE *file) {
               return PEM_write_PrivateKey(file, key.get(), nullptr, nullptr, 0,
                                           nullptr, nullptr);
           });
}

// --- Names ------------------------------------------------------------------

// The name of this machine, if it can be that of a host.
static void get_host_name(char (&name)[HOST_BYTES])
{
    static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz"
                                      "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                      "0123456789-.";

    if (upnp_gethostname(name, sizeof(name)) != 0)
        name[0] = '\0';
    name[sizeof(name) - 1] = '\0';
    if (!*name || name[strspn(name, letters)])
        strcpy(name, "localhost");
}

// "DNS:host,IP:10.0.0.5,IP:127.0.0.1"
static UpnpString *alternative_names(const char *host)
{
    char    table[MAX_ADDRESSES][UPNP_IP_SIZE] = {};
    int32_t count = 0;

    upnp_get_interfaces(&count, table, MAX_ADDRESSES,
                        upnp_ini_file_getString(INI_IP));
    UpnpString *names = upnp_string_sprintf(nullptr, "DNS:%s", host);
    for (int32_t i = 0; names && i < count; ++i)
        names = upnp_string_sprintf(names, ",IP:%s", table[i]);
    return names;
}

// --- The certificate --------------------------------------------------------

static bool add_extension(X509 *certificate, int id, const char *value)
{
    X509_EXTENSION *extension =
        X509V3_EXT_conf_nid(nullptr, nullptr, id, value);
    bool added = extension && X509_add_ext(certificate, extension, -1) == 1;

    X509_EXTENSION_free(extension);
    return added;
}

static bool add_extensions(X509 *certificate, const char *host)
{
    UpnpString *names = alternative_names(host);
    bool        added =
        names &&
        add_extension(certificate, NID_subject_alt_name, names->buffer) &&
        add_extension(certificate, NID_basic_constraints,
                      "critical,CA:FALSE") &&
        add_extension(certificate, NID_key_usage,
                      "critical,digitalSignature") &&
        add_extension(certificate, NID_ext_key_usage, "serverAuth");

    upnp_string_safe_free(&names);
    return added;
}

// A browser that trusted an earlier certificate of this server refuses another
// one with the same number.
static bool set_serial(X509 *certificate)
{
    BIGNUM *number = BN_new();
    bool    is_set =
        number &&
        BN_rand(number, SERIAL_BITS, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) &&
        BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate));

    BN_free(number);
    return is_set;
}

// Valid from yesterday on, for clients whose clock is behind.
static bool set_validity(X509 *certificate)
{
    return X509_gmtime_adj(X509_getm_notBefore(certificate), -DAY_SECONDS) &&
           X509_time_adj_ex(X509_getm_notAfter(certificate), VALID_DAYS, 0,
                            nullptr);
}

static bool set_name(X509 *certificate, const char *host)
{
    X509_NAME *name = X509_get_subject_name(certificate);

    return X509_NAME_add_entry_by_txt(
               name, "CN", MBSTRING_ASC,
               reinterpret_cast<const unsigned char *>(host), -1, -1, 0) == 1 &&
           X509_set_issuer_name(certificate, name) == 1;
}

static Certificate new_certificate(EVP_PKEY *key)
{
    Certificate certificate(X509_new(), X509_free);
    char        host[HOST_BYTES];

    get_host_name(host);
    if (certificate &&
        X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
        set_serial(certificate.get()) && set_validity(certificate.get()) &&
        set_name(certificate.get(), host) &&
        X509_set_pubkey(certificate.get(), key) == 1 &&
        add_extensions(certificate.get(), host) &&
        X509_sign(certificate.get(), key, EVP_sha256()) > 0)
        return certificate;
    return { nullptr, X509_free };
}

static bool create_certificate(const char *path, const char *key_path)
{
    Key         key = read_key(key_path);
    Certificate certificate(nullptr, X509_free);

    if (key)
        certificate = new_certificate(key.get());
    return certificate && write_file(path, 0644, [&](FILE *file) {
               return PEM_write_X509(file, certificate.get());
           });
}

bool tls::create_missing(const char *certificate_path, const char *key_path)
{
    if (!is_missing(certificate_path))
        return true;
    return (!is_missing(key_path) || create_key(key_path)) &&
           create_certificate(certificate_path, key_path);
}
