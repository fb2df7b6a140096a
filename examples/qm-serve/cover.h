// cover.h - the picture that stands for a file or a folder.
#ifndef QM_SERVE_COVER_H
#define QM_SERVE_COVER_H

#include "qm-serve/object_id.h"

#include <map>
#include <optional>
#include <string>

namespace serve {

// Covers of folders that were found, by path; for the time of one answer.
using Covers = std::map<std::string, std::optional<Object>>;

// A picture is its own cover. That of other files, and of folders, is the
// folder's "cover.jpg", "folder.jpg" and the like.
std::optional<Object> cover_of(const MediaFolder &folder, const Object &object,
                               Covers &covers);

}

#endif
