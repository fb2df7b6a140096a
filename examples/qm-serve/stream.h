// stream.h - sends complete responses: a head, and a text or a file behind it.
//
// Each call answers one request, a HEAD without the body, and returns what a
// handler returns: 0, or 1 when the connection cannot go on.
#ifndef QM_SERVE_STREAM_H
#define QM_SERVE_STREAM_H

#include "http/http.h"

#include <string>
#include <sys/stat.h>

namespace serve {

// 200 with an HTML page.
int32_t send_page(HttpRequest *request, const std::string &html);

// A status of 300 and more, with a line of text. more is null or a header
// line with its CR LF.
int32_t send_status(HttpRequest *request, int status, const char *more);

// 200 with a file, which is read in blocks. The descriptor stays open.
int32_t send_file(HttpRequest *request, int fd, const struct stat &status,
                  const char *type);

}

#endif
