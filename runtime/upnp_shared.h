// upnp_shared.h - plain words in public records that several threads touch.
//
// The records stay plain for C callers; the library reads and writes such a
// word through these calls only.
#ifndef RUNTIME_UPNP_SHARED_H
#define RUNTIME_UPNP_SHARED_H

#include <atomic>
#include <stddef.h>
#include <type_traits>

namespace shared {

template <typename Word> Word load(Word &word)
{
    return std::atomic_ref<Word>(word).load();
}

template <typename Word>
void store(Word &word, std::type_identity_t<Word> value)
{
    std::atomic_ref<Word>(word).store(value);
}

template <typename Word>
Word exchange(Word &word, std::type_identity_t<Word> value)
{
    return std::atomic_ref<Word>(word).exchange(value);
}

// Stores value only if the word still is expected; whether it did.
template <typename Word>
bool replace(Word &word, std::type_identity_t<Word> expected,
             std::type_identity_t<Word> value)
{
    return std::atomic_ref<Word>(word).compare_exchange_strong(expected, value);
}

// Short texts in a record, copied byte by byte: a reader beside a writer sees
// an old or a new text or a mixture of both, but always a NUL within size.
inline void copy_text_out(char *out, char *word, size_t size)
{
    for (size_t i = 0; i < size; ++i)
        out[i] = std::atomic_ref<char>(word[i]).load(std::memory_order_relaxed);
    out[size - 1] = '\0';
}

inline void copy_text_in(char *word, const char *text, size_t size)
{
    bool at_end = false;

    for (size_t i = 0; i < size; ++i) {
        at_end = at_end || text[i] == '\0' || i + 1 == size;
        std::atomic_ref<char>(word[i]).store(at_end ? '\0' : text[i],
                                             std::memory_order_relaxed);
    }
}

}

#endif
