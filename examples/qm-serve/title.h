// title.h - file names as titles that any XML reader takes.
#ifndef QM_SERVE_TITLE_H
#define QM_SERVE_TITLE_H

#include <string>
#include <string_view>

namespace serve {

// The text with U+FFFD for all that XML 1.0 cannot hold: malformed UTF-8 and
// most control characters.
std::string xml_text(std::string_view bytes);

// The title of a file or a folder: its name, that of a media file without its
// ending. Never blank.
std::string title_of(const std::string &name, bool is_folder);

// The text, cut between two characters and ended by "..." if it would take
// more than max bytes once it is escaped for XML.
std::string fitted(std::string text, size_t max);

}

#endif
