// content_directory.h - the service ContentDirectory:1.
//
// The folders and files of the media folder are its containers and items, and
// so are playlists and what they lead to.
#ifndef QM_SERVE_CONTENT_DIRECTORY_H
#define QM_SERVE_CONTENT_DIRECTORY_H

#include "qm-serve/media_folder.h"

namespace serve {

// Registers the service, of a folder that stays until forget_content_directory.
void register_content_directory(const MediaFolder &folder);

// Gives back what the service keeps. No connection may be open any more.
void forget_content_directory();

}

#endif
