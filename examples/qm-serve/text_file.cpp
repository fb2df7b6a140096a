// text_file.cpp - whole files as texts.

#include "qm-serve/text_file.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

static constexpr size_t BLOCK_BYTES = 65536;

std::string serve::read_text(int fd)
{
    std::string text;
    ssize_t     count = 1;

    while (count > 0) {
        size_t length = text.size();

        text.resize(length + BLOCK_BYTES);
        do
            count = pread(fd, text.data() + length, BLOCK_BYTES,
                          static_cast<off_t>(length));
        while (count == -1 && errno == EINTR);
        text.resize(length + static_cast<size_t>(count > 0 ? count : 0));
    }
    return count == 0 ? text : "";
}

bool serve::write_text(const std::string &path, std::string_view text)
{
    FILE *file = fopen(path.c_str(), "we");

    if (!file)
        return false;
    bool is_written = fwrite(text.data(), 1, text.size(), file) == text.size();
    return (fclose(file) == 0) & is_written;
}
