// url_text.h - request targets in, links and page text out.
#ifndef QM_SERVE_URL_TEXT_H
#define QM_SERVE_URL_TEXT_H

#include <string>
#include <string_view>

namespace serve {

// The decoded path of a request head, query cut off. Unlike HttpRequest.url it
// has any length, a "+" is a plus, and a "?" may be part of it ("%3F").
// Empty for a target that has no path or holds a coded NUL.
std::string request_path(const char *head);

// The bytes that a coded text stands for. What looks like a code but is none
// stays.
std::string percent_decoded(std::string_view coded);

// A path as it stands in a link: all bytes coded but the unreserved ones of
// RFC 3986, 2.3, and "/".
std::string percent_coded(std::string_view path);

// A text as it stands in HTML, in an attribute as well.
std::string html_escaped(std::string_view text);

}

#endif
