// text_file.h - whole files as texts.
#ifndef QM_SERVE_TEXT_FILE_H
#define QM_SERVE_TEXT_FILE_H

#include <string>
#include <string_view>

namespace serve {

// What an open file holds from its beginning on; empty if it cannot be read.
std::string read_text(int fd);

// Writes a file anew. False, with errno, if not all of it could be written.
bool write_text(const std::string &path, std::string_view text);

}

#endif
