// upnp_string_search.cpp - searches, comparisons and scanners on plain texts.

#include "runtime/upnp_string.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string.h>
#include <strings.h>

// Each byte with the letters from..from+25 mapped onto to..to+25. The table is
// signed, as the folding functions hand out bytes above 0x7F as negatives.
static constexpr std::array<int8_t, 256> case_table(char from, char to)
{
    std::array<int8_t, 256> table{};

    for (int c = 0; c < 256; ++c) {
        bool is_letter = c >= from && c < from + 26;
        table[c] = static_cast<int8_t>(is_letter ? c - from + to : c);
    }
    return table;
}

static constexpr std::array<int8_t, 256> lower_case = case_table('A', 'a');
static constexpr std::array<int8_t, 256> upper_case = case_table('a', 'A');

static int8_t fold(char c)
{
    return lower_case[static_cast<uint8_t>(c)];
}

// The longest needle: its tables stand on the stack, so that a search never
// allocates.
static constexpr size_t NEEDLE_BYTES = 1024;

// A word with 1 in each of its bytes.
static constexpr uint64_t EACH_BYTE = 0x0101010101010101;

namespace {
// A needle in lower case, and where to go on in it after a mismatch at each
// byte: -1 gives up the byte of the haystack.
struct Pattern {
    size_t  length;
    int8_t  bytes[NEEDLE_BYTES];
    int16_t failure[NEEDLE_BYTES];
};
}

static void make_pattern(Pattern *pattern, const char *needle, size_t length)
{
    int8_t  *bytes = pattern->bytes;
    int16_t *failure = pattern->failure;

    pattern->length = length;
    std::transform(needle, needle + length, bytes, fold);

    failure[0] = -1;
    int16_t j = -1;
    for (size_t i = 0; i + 1 < length;) {
        while (j >= 0 && bytes[i] != bytes[j])
            j = failure[j];
        ++i;
        ++j;
        // An equal byte would only mismatch again: go where it would go.
        failure[i] = bytes[i] == bytes[j] ? failure[j] : j;
    }
}

// Eight bytes of text in one word, the first one lowest.
static uint64_t load_word(const char *text)
{
    static_assert(std::endian::native == std::endian::little);
    uint64_t word;

    memcpy(&word, text, sizeof(word));
    return word;
}

// A word whose bytes are 0 where a byte of word is folded, in either case.
static uint64_t difference(uint64_t word, int8_t folded)
{
    bool is_letter = folded >= 'a' && folded <= 'z';

    return (word | (is_letter ? EACH_BYTE * 0x20 : 0)) ^
           (EACH_BYTE * static_cast<uint8_t>(folded));
}

// The first place from there on where both the first and the last byte of the
// needle stand, or end. In front of end, the needle fits into the haystack at
// every place.
static const char *next_candidate(const char *from, const char *end,
                                  const Pattern *pattern)
{
    size_t to_last = pattern->length - 1;
    int8_t first = pattern->bytes[0];
    int8_t last = pattern->bytes[to_last];

    for (; end - from >= 8; from += 8) {
        uint64_t differs = difference(load_word(from), first) |
                           difference(load_word(from + to_last), last);
        // The lowest bit set here belongs to the first byte that is 0.
        uint64_t zeros = (differs - EACH_BYTE) & ~differs & (EACH_BYTE * 0x80);
        if (zeros)
            return from + std::countr_zero(zeros) / 8;
    }
    while (from < end &&
           (fold(from[0]) != first || fold(from[to_last]) != last))
        ++from;
    return from;
}

// A Knuth-Morris-Pratt search, linear in the length of the haystack.
static const char *search(const char *haystack, size_t haystack_length,
                          const Pattern *pattern)
{
    const char *end = haystack + haystack_length;
    const char *end_of_starts = end - pattern->length + 1;
    int16_t     matched = 0;

    for (const char *at = haystack; at < end;) {
        if (matched == 0) {
            // Nothing is matched yet: jump over what cannot begin a match.
            at = next_candidate(at, end_of_starts, pattern);
            if (at >= end_of_starts)
                return nullptr;
        }
        while (matched >= 0 && fold(*at) != pattern->bytes[matched])
            matched = pattern->failure[matched];
        ++at;
        ++matched;
        if (static_cast<size_t>(matched) == pattern->length)
            return at - matched;
    }
    return nullptr;
}

char *upnp_istrstr(const char *haystack, const char *needle)
{
    if (!haystack || !needle)
        return nullptr;

    size_t needle_length = strnlen(needle, NEEDLE_BYTES + 1);
    size_t haystack_length = strlen(haystack);
    if (needle_length == 0 || needle_length > NEEDLE_BYTES ||
        needle_length > haystack_length)
        return nullptr;

    Pattern pattern;
    make_pattern(&pattern, needle, needle_length);
    return const_cast<char *>(search(haystack, haystack_length, &pattern));
}

int32_t upnp_starts_with(const char *text, const char *prefix)
{
    return text && prefix && strncasecmp(text, prefix, strlen(prefix)) == 0;
}

int32_t upnp_ends_with(const char *text, const char *suffix)
{
    if (!text || !suffix)
        return 0;

    size_t text_length = strlen(text);
    size_t suffix_length = strlen(suffix);
    return suffix_length > 0 && suffix_length <= text_length &&
           strcasecmp(text + text_length - suffix_length, suffix) == 0;
}

int32_t upnp_util_strings_equal(const char *a, const char *b,
                                int32_t case_sensitive, int32_t nulls_equal)
{
    if (!a || !b)
        return nulls_equal && !a && !b;
    return (case_sensitive ? strcmp(a, b) : strcasecmp(a, b)) == 0;
}

int32_t upnp_util_string_is_empty(const char *text)
{
    return !text || !*upnp_skip_white_space(text);
}

int32_t upnp_isnumeric(const char *text)
{
    if (!text)
        return 0;
    if (*text == '-')
        ++text;
    return text[strspn(text, "0123456789")] == '\0';
}

int32_t upnp_string_find_separator(const char *text, const char *separators)
{
    if (!text || !separators)
        return -1;
    return static_cast<int32_t>(strcspn(text, separators));
}

int32_t upnp_is_white_space(int32_t c)
{
    return c == '\t' || c == '\n' || c == '\r' || c == ' ';
}

char *upnp_skip_white_space(const char *text)
{
    while (text && upnp_is_white_space(*text))
        ++text;
    return const_cast<char *>(text);
}

int32_t upnp_is_valid_name_char(int32_t c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
}

int32_t upnp_is_valid_value_char(int32_t c)
{
    return upnp_is_valid_name_char(c) || c == '+' || c == ',' || c == '/';
}

// Neither class holds NUL, so the count ends with the text.
static int32_t count_leading(const char *text, int32_t (*is_in_class)(int32_t))
{
    const char *end = text;

    while (end && is_in_class(*end))
        ++end;
    return static_cast<int32_t>(end - text);
}

int32_t upnp_find_name_end(const char *text)
{
    return count_leading(text, upnp_is_valid_name_char);
}

int32_t upnp_find_value_end(const char *text)
{
    return count_leading(text, upnp_is_valid_value_char);
}

int32_t upnp_tolower(int32_t c)
{
    return lower_case[static_cast<uint8_t>(c)];
}

int32_t upnp_toupper(int32_t c)
{
    return upper_case[static_cast<uint8_t>(c)];
}
