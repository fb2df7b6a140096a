// handlers.h - what is served under which URL.
#ifndef QM_SERVE_HANDLERS_H
#define QM_SERVE_HANDLERS_H

namespace serve {

// Registers the pages and the files of a folder with the library. False, with
// errno, if there is no such folder.
bool register_folder(const char *path);

// Takes the registration back. No connection may be open any more.
void unregister_folder();

}

#endif
