// stream.h - answers requests: with a text, a file or an error.
//
// Each call sends one complete response, without the body for a HEAD, and
// returns what a handler returns: 0, or 1 when the connection cannot go on.
#ifndef QM_SERVE_STREAM_H
#define QM_SERVE_STREAM_H

#include "http/http.h"

#include <string>
#include <sys/stat.h>

namespace serve {

// 200 with an HTML page, or the part of it that is asked for.
int32_t send_page(HttpRequest *request, const std::string &html);

// The file, or the part of it that is asked for, in bytes or in times of
// duration_ms. The descriptor stays open.
int32_t send_file(HttpRequest *request, int fd, const struct stat &status,
                  const char *type);

// An error status that the library knows.
int32_t send_error(HttpRequest *request, int32_t status);

// 200 with the methods that are served.
int32_t send_options(HttpRequest *request, const char *methods);

// A status that the library does not know, such as "403 Forbidden", with lines
// that each end in CR LF and without a body. The connection ends.
int32_t close_with(HttpRequest *request, const char *status,
                   const std::string &lines);

// An error status for a request whose body was not read, or not to its end:
// the connection ends.
int32_t refuse(HttpRequest *request, int32_t status);

}

#endif
