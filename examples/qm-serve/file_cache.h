// file_cache.h - the file that a connection keeps open between its requests.
//
// Players read a file in many small ranges, one request after the other. The
// library closes what is kept here when the connection ends.
#ifndef QM_SERVE_FILE_CACHE_H
#define QM_SERVE_FILE_CACHE_H

#include "http/http.h"
#include "qm-serve/media_folder.h"

#include <string>
#include <sys/stat.h>

namespace serve {

// The descriptor of the kept file if it still is the one at relative, and its
// status as of now; -1 otherwise. Borrowed from the connection.
int recall_file(const HttpRequest *request, const MediaFolder &folder,
                const std::string &relative, struct stat &status);

// Keeps a file, in the place of the one before, and takes over its descriptor
// in any case. False when out of memory.
bool keep_file(HttpRequest *request, const std::string &relative, int fd,
               const struct stat &status);

// Sets and removes the time that heads on this connection tell as
// Last-Modified. Answers that are no files have none.
void set_modified(HttpRequest *request, const struct stat &status);
void clear_modified(HttpRequest *request);

}

#endif
