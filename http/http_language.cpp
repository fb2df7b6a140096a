// http_language.cpp - the lines that name a language.

#include "http/http_header.h"

#include "runtime/upnp_mem.h"

#include <stdio.h>
#include <string.h>

namespace {
struct Language {
    const char *tag;   // as HTTP names it
    const char *name;  // as the programs name it
};
}

// Searched from top to bottom.
static constexpr Language languages[] = {
    { "en", "en" }, { "de", "de" }, { "zh", "chs" }, { "zh", "cht" },
    { "es", "es" }, { "fi", "fi" }, { "fr", "fr" },  { "it", "it" },
    { "ja", "jp" }, { "ko", "ko" }, { "nl", "nl" },
};

static constexpr size_t LINE_BYTES = 64;

static const char *tag_of(const char *language)
{
    if (!language)
        return "*";

    for (const Language &row : languages)
        if (!strcmp(language, row.tag) || !strcmp(language, row.name))
            return row.tag;
    return "*";
}

char *upnp_http_build_content_language_header(const char *language)
{
    char line[LINE_BYTES];

    snprintf(line, sizeof line, "Content-Language: %s\r\n", tag_of(language));
    return upnp_strdup_impl(line);
}

char *upnp_http_build_accept_language_header(const char *language)
{
    char line[LINE_BYTES];

    snprintf(line, sizeof line, "Accept-Language: %s\r\n", tag_of(language));
    return upnp_strdup_impl(line);
}

char *upnp_http_build_language_header_1(const char *language)
{
    return upnp_strdup_impl(tag_of(language));
}
