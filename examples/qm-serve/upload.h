// upload.h - files that clients send into a folder.
//
// "POST /upload/NAME" with a chunked body becomes a file of this name, or of a
// similar one if it is taken: nothing is ever overwritten. A file appears
// under its name when it is complete.
#ifndef QM_SERVE_UPLOAD_H
#define QM_SERVE_UPLOAD_H

#include "http/http.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace serve {

// Finds the folder and limits the size of each file to limit_mb MiB; 0 and
// less mean no limit. False, with errno, if there is no such folder.
bool open_upload_folder(const char *path, int32_t limit_mb);
void close_upload_folder();

// The whole path of the folder; empty if there is none.
const std::string &upload_folder();

// Puts a file of this program's making there, under the name or a similar one.
// False for a bad name, and if it cannot be stored.
bool store_upload(const std::string &name, std::string_view text);

// The handler of "/upload/". Answers 201 with the name under which the file
// lies, 400 for a bad name or a body that is not chunked, and 500 if the file
// is too large or cannot be stored.
int32_t handle_upload(HttpRequest *request);

}

#endif
