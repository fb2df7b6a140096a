// url_reference.h - URLs as people type them, and as devices refer to others.
#ifndef QM_FIND_URL_REFERENCE_H
#define QM_FIND_URL_REFERENCE_H

#include <string>
#include <string_view>

namespace find {

// A URL that can be asked for: with a "/" behind its host, without fragment,
// and with its blanks and control characters as codes. Empty for what is no
// http:// URL.
std::string clean_url(std::string_view url);

// The host's name, without user and port.
std::string host_of(std::string_view url);

// What a reference in a document means (RFC 3986, 5.2). base is a URL of
// clean_url. Empty for an empty reference, and for a URL of another kind.
std::string resolve(const std::string &base, std::string_view reference);

}

#endif
