// upnp_mem_text.h - tracked blocks for new texts, with sizes worked out in 64
// bits.
//
// A size that does not fit in 32 bits is out of memory, which gives null.
#ifndef RUNTIME_UPNP_MEM_TEXT_H
#define RUNTIME_UPNP_MEM_TEXT_H

#include "runtime/upnp_mem.h"

#include <string.h>
#include <string_view>

namespace mem {

inline void *new_block(uint64_t size)
{
    return size <= UINT32_MAX ? upnp_malloc_impl(static_cast<uint32_t>(size))
                              : nullptr;
}

inline void *new_zeroed(uint64_t size)
{
    return size <= UINT32_MAX ? upnp_calloc_impl(1, static_cast<uint32_t>(size))
                              : nullptr;
}

// A copy of these bytes with a NUL behind them.
inline char *new_text(std::string_view bytes)
{
    auto *text = static_cast<char *>(new_block(bytes.size() + 1));

    if (!text)
        return nullptr;
    memcpy(text, bytes.data(), bytes.size());
    text[bytes.size()] = '\0';
    return text;
}

}

#endif
