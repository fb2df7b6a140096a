// upnp_argv.cpp - command lines as argument vectors, and back.

#include "runtime/upnp_argv.h"

#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_text.h"

#include <string.h>
#include <string_view>

// The word at *text, without its quotes. *text then stands behind the word and
// the white space that follows.
static std::string_view take_word(const char **text)
{
    bool        is_quoted = **text == '"';
    const char *start = *text + is_quoted;
    size_t      bytes = strcspn(start, is_quoted ? "\"" : " \t\r\n");
    const char *end = start + bytes;

    if (is_quoted && *end)
        ++end;
    *text = upnp_skip_white_space(end);
    return { start, bytes };
}

// Fills the slots from first on and counts the words. False if a copy failed.
static bool fill_slots(char **argv, const char *text, uint32_t first,
                       uint32_t capacity, uint32_t *count)
{
    for (uint32_t slot = first; slot < capacity && *text; ++slot) {
        argv[slot] = mem::new_text(take_word(&text));
        if (!argv[slot])
            return false;
        ++*count;
    }
    return true;
}

// Appends one word, with a blank in front of it if need be. Null when out of
// memory, and str is then gone.
static UpnpString *append_word(UpnpString *str, const char *word,
                               bool needs_blank)
{
    bool is_empty = !word || !*word;
    bool is_quoted = is_empty || strchr(word, ' ');

    const char *parts[] = { needs_blank ? " " : "", is_quoted ? "\"" : "",
                            is_empty ? "" : word, is_quoted ? "\"" : "" };
    for (const char *part : parts) {
        if (!*part)
            continue;
        str = upnp_string_concat(str, part);
        if (!str)
            return nullptr;
    }
    return str;
}

int32_t qr_util_create_argv_str(const char *text, uint8_t first,
                                uint8_t capacity, char ***argv_out,
                                uint32_t *count_out)
{
    if (argv_out)
        *argv_out = nullptr;
    if (count_out)
        *count_out = 0;
    if (!argv_out || !count_out || capacity <= first)
        return QR_ARGV_BAD_ARGUMENT;

    uint32_t count = 0;
    auto   **argv =
        static_cast<char **>(upnp_calloc_impl(capacity, sizeof(char *)));
    if (!argv)
        return QR_ARGV_FAILED;

    if (text && *text) {
        text = upnp_skip_white_space(text);
        if (!*text || !fill_slots(argv, text, first, capacity, &count)) {
            qr_util_release_argv_str(&argv, capacity);
            return QR_ARGV_FAILED;
        }
    }
    *argv_out = argv;
    *count_out = count;
    return QR_ARGV_OK;
}

void qr_util_release_argv_str(char ***argv_pointer, uint8_t capacity)
{
    if (!argv_pointer || !*argv_pointer)
        return;

    char **argv = *argv_pointer;
    for (uint32_t i = 0; i < capacity; ++i) {
        if (!argv[i])
            continue;
        upnp_free_impl(argv[i]);
        argv[i] = nullptr;
    }
    upnp_free_impl(argv);
    *argv_pointer = nullptr;
}

void qr_string_argv_to_string(char *const *argv, uint8_t count, uint8_t first,
                              UpnpString **str_pointer)
{
    if (!argv || count == 0 || !str_pointer)
        return;

    UpnpString *str = *str_pointer;
    bool        needs_blank = !upnp_string_is_empty(str);

    for (uint32_t i = 0; i < count; ++i) {
        const char *word = argv[static_cast<uint8_t>(first + i)];
        str = append_word(str, word, needs_blank);
        if (!str)
            break;
        needs_blank = true;
    }
    *str_pointer = str;
}
