// pages.h - the HTML that people see.
#ifndef QM_SERVE_PAGES_H
#define QM_SERVE_PAGES_H

#include "qm-serve/media_folder.h"

#include <string>
#include <vector>

namespace serve {

// The list of one folder. relative is its path in the media folder, "" or
// with a "/" at its end.
std::string folder_page(const std::string             &relative,
                        const std::vector<MediaEntry> &entries);

}

#endif
