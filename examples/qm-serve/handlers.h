// handlers.h - what is served under which URL.
#ifndef QM_SERVE_HANDLERS_H
#define QM_SERVE_HANDLERS_H

#include <cstdint>

namespace serve {

// Registers the pages and the files of a folder with the library. False, with
// errno, if there is no such folder.
bool register_folder(const char *path);

// Registers uploads into a folder, of files of up to limit_mb MiB each; see
// upload.h. Without this there is no way to write.
bool register_upload(const char *path, int32_t limit_mb);

// Registers pictures of files, which that command makes; see thumbnail.h.
// False, with errno.
bool register_thumbnails(const char *command);

// Takes the registrations back. No connection may be open any more.
void unregister_all();

}

#endif
