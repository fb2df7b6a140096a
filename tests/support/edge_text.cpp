// edge_text.cpp - bytes that end at an unmapped page, to catch a read too far.

#include "support/edge_text.h"

#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

EdgeBytes::EdgeBytes(std::string_view bytes) : size(bytes.size())
{
    size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    size_t used = (size / page + 1) * page;

    map_size = used + page;
    map = mmap(nullptr, map_size, PROT_READ | PROT_WRITE,
               MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    mprotect(static_cast<char *>(map) + used, page, PROT_NONE);
    data = static_cast<char *>(map) + used - size;
    memcpy(data, bytes.data(), size);
}

EdgeBytes::~EdgeBytes()
{
    munmap(map, map_size);
}

EdgeText::EdgeText(std::string_view text)
    : EdgeBytes(std::string(text) + '\0')
{
}
