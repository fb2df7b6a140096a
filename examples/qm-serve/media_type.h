// media_type.h - MIME types by file name.
#ifndef QM_SERVE_MEDIA_TYPE_H
#define QM_SERVE_MEDIA_TYPE_H

#include <vector>

namespace serve {

// The MIME type that belongs to a name's ending, in any case;
// "application/octet-stream" for an unknown one. Never freed.
const char *media_type(const char *name);

// The types of all that is shown or played, each once.
std::vector<const char *> media_types();

// Whether a MIME type is that of a picture, and of anything that is shown or
// played.
bool is_picture(const char *type);
bool is_media(const char *type);

}

#endif
