// upnp_string.cpp - heap text that grows.
//
// All sums of lengths are made in 64 bits: a text that does not fit in 32 bits
// is out of memory.

#include "runtime/upnp_string.h"

#include "runtime/upnp_charset.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_lost.h"

#include <algorithm>
#include <stdio.h>
#include <string.h>

// A new string gets this much to spare, since most of them grow soon.
static constexpr uint64_t SPARE_BYTES = 256;

// The first try of the formatter; most texts fit.
static constexpr uint64_t FORMAT_BYTES = 4096;

// The capacity that a full buffer grows to for a text of length bytes.
static uint64_t grown_capacity(uint64_t capacity, uint64_t length)
{
    return std::max(2 * capacity, length + 1);
}

static char *allocate(uint64_t size)
{
    if (size > UINT32_MAX)
        return nullptr;
    return static_cast<char *>(upnp_malloc_impl(static_cast<uint32_t>(size)));
}

// A new record that holds the first n bytes of text. It is made at the size
// that the text needs, so that a failure leaves nothing behind.
static UpnpString *create(const char *text, uint64_t n, uint64_t capacity)
{
    // The NUL needs its byte even where no room is asked for.
    capacity = std::max<uint64_t>(capacity, 1);
    if (n >= capacity)
        capacity = grown_capacity(capacity, n);
    if (capacity > UINT32_MAX)
        return nullptr;

    auto *str = static_cast<UpnpString *>(upnp_malloc_impl(sizeof(UpnpString)));
    if (!str)
        return nullptr;
    str->length = static_cast<uint32_t>(n);
    str->capacity = static_cast<uint32_t>(capacity);
    str->buffer = static_cast<char *>(upnp_calloc_impl(1, str->capacity));
    if (!str->buffer) {
        upnp_free_impl(str);
        return nullptr;
    }
    if (n > 0)
        memcpy(str->buffer, text, n);
    return str;
}

// Gives the buffer a new capacity. On failure the record is gone.
static bool grow(UpnpString *str, uint64_t capacity)
{
    if (capacity > UINT32_MAX) {
        upnp_string_free(str);
        return false;
    }
    char *buffer = static_cast<char *>(
        upnp_realloc_impl(str->buffer, static_cast<uint32_t>(capacity)));
    if (!buffer) {
        // The failure has taken the old block off the account already.
        mem::release_lost(str->buffer);
        upnp_free_impl(str);
        return false;
    }
    str->buffer = buffer;
    str->capacity = static_cast<uint32_t>(capacity);
    return true;
}

// Copies n bytes to the end of the text, for which there is room. The bytes may
// lie in the buffer itself and reach over its end of text.
static void put(UpnpString *str, const char *bytes, uint64_t n)
{
    memmove(str->buffer + str->length, bytes, n);
    str->length += static_cast<uint32_t>(n);
    str->buffer[str->length] = '\0';
}

// Where bytes lie in the record's own buffer, or -1 if they lie elsewhere.
static int64_t offset_in(const UpnpString *str, const char *bytes)
{
    auto start = reinterpret_cast<uintptr_t>(str->buffer);
    auto at = reinterpret_cast<uintptr_t>(bytes);

    if (!str->buffer || at < start || at - start >= str->capacity)
        return -1;
    return static_cast<int64_t>(at - start);
}

static UpnpString *append(UpnpString *str, const char *bytes, uint64_t n)
{
    uint64_t length = str->length + n;

    if (length >= str->capacity) {
        // The record's own bytes move with its buffer.
        int64_t offset = offset_in(str, bytes);
        if (!grow(str, grown_capacity(str->capacity, length)))
            return nullptr;
        if (offset >= 0)
            bytes = str->buffer + offset;
    }
    put(str, bytes, n);
    return str;
}

UpnpString *upnp_string_create(const char *text, uint32_t capacity)
{
    return create(text, text ? strlen(text) : 0, capacity);
}

UpnpString *upnp_string_concat(UpnpString *str, const char *text)
{
    uint64_t n = text ? strlen(text) : 0;

    if (!str)
        return create(text, n, n + SPARE_BYTES);
    return n > 0 ? append(str, text, n) : str;
}

UpnpString *upnp_string_add(UpnpString *str, const void *bytes, uint32_t n)
{
    if (!str)
        str = create("", 0, n + SPARE_BYTES);
    if (!str || n == 0 || !bytes)
        return str;
    return append(str, static_cast<const char *>(bytes), n);
}

UpnpString *upnp_string_concat_string(UpnpString *str, const UpnpString *other)
{
    if (upnp_string_is_empty(other))
        return str;
    return upnp_string_add(str, other->buffer, other->length);
}

UpnpString *upnp_string_concat_and_convert(UpnpString *str, const char *text,
                                           int32_t to_utf8)
{
    char *converted =
        to_utf8 ? upnp_strdup_to_utf8(text) : upnp_strdup_from_utf8(text);
    if (!converted) {
        upnp_string_free(str);
        return nullptr;
    }

    if (!str) {
        str = upnp_string_create(converted, SPARE_BYTES);
    } else {
        // Unlike a plain append, the test for room reserves double.
        uint64_t n = strlen(converted);
        uint64_t capacity = 2 * uint64_t{ str->capacity };
        if (capacity <= str->length + n)
            capacity = str->length + 2 * n + 1;
        if (str->length + 2 * n < str->capacity || grow(str, capacity))
            put(str, converted, n);
        else
            str = nullptr;
    }
    upnp_free_impl(converted);
    return str;
}

UpnpString *upnp_string_vsprintf(const char *format, va_list args)
{
    for (uint64_t size = FORMAT_BYTES;; size *= 2) {
        char *text = allocate(size);
        if (!text) {
            fprintf(stderr, "upnp_string_vsprintf: out of memory: %s\n",
                    format);
            return nullptr;
        }

        va_list attempt;
        va_copy(attempt, args);
        int n = vsnprintf(text, size, format, attempt);
        va_end(attempt);

        // A formatter that failed is given more room, like a text too long.
        bool        fits = n >= 0 && static_cast<uint64_t>(n) < size;
        UpnpString *str = fits ? upnp_string_concat(nullptr, text) : nullptr;
        upnp_free_impl(text);
        if (fits)
            return str;
    }
}

UpnpString *upnp_string_sprintf(UpnpString *str, const char *format, ...)
{
    va_list args;

    va_start(args, format);
    UpnpString *formatted = upnp_string_vsprintf(format, args);
    va_end(args);
    if (!formatted)
        return str;

    str = upnp_string_concat(str, formatted->buffer);
    upnp_string_free(formatted);
    return str;
}

UpnpString *upnp_string_cut(UpnpString *str, uint32_t n)
{
    if (!str->buffer)
        return str;
    str->length -= std::min(n, str->length);
    str->buffer[str->length] = '\0';
    return str;
}

void upnp_string_shift_left(UpnpString *str, uint32_t n)
{
    if (upnp_string_is_empty(str) || n == 0)
        return;
    n = std::min(n, str->length);
    str->length -= n;
    memmove(str->buffer, str->buffer + n, str->length + size_t{ 1 });
}

void upnp_string_empty(UpnpString *str)
{
    if (!str || !str->buffer)
        return;
    str->length = 0;
    str->buffer[0] = '\0';
}

int32_t upnp_string_is_empty(const UpnpString *str)
{
    return !str || !str->buffer || str->length == 0;
}

uint32_t upnp_string_get_length(const UpnpString *str)
{
    return upnp_string_is_empty(str) ? 0 : str->length;
}

char *upnp_string_get_cstring(const UpnpString *str)
{
    return str ? str->buffer : nullptr;
}

char *upnp_string_copy_cstring(const UpnpString *str)
{
    return upnp_strdup_impl(upnp_string_get_cstring(str));
}

void upnp_string_free(UpnpString *str)
{
    if (!str)
        return;
    if (str->buffer)
        upnp_free_impl(str->buffer);
    str->buffer = nullptr;
    upnp_free_impl(str);
}

void upnp_string_safe_free(UpnpString **str)
{
    if (!str)
        return;
    upnp_string_free(*str);
    *str = nullptr;
}

UpnpString *upnp_string_replace2(UpnpString *str, const char *find,
                                 const char *replacement)
{
    if (!str || !str->buffer)
        return nullptr;

    // An incomplete call costs the string, on purpose.
    char *replaced =
        find && replacement
            ? upnp_string_replace_or_copy(str->buffer, find, replacement, 1)
            : nullptr;
    upnp_string_free(str);
    if (!replaced)
        return nullptr;

    str = upnp_string_concat(nullptr, replaced);
    upnp_free_impl(replaced);
    return str;
}
