// dlna_fields.cpp - the DLNA fields that the URLs of media files carry.

#include "qm-serve/dlna_fields.h"

#include "qm-serve/media_type.h"

#include <algorithm>

// The first eight digits of DLNA.ORG_FLAGS. Both say: connections may stall,
// background transfer, DLNA 1.5; and that audio and video may be streamed,
// pictures transferred interactively.
static constexpr char play_flags[] = "01700000";
static constexpr char picture_flags[] = "00f00000";

static bool is_hex_number(std::string_view text)
{
    return text.size() == 8 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}

static const char *flags_of(const char *type)
{
    return serve::is_picture(type) ? picture_flags : play_flags;
}

// Bytes can always be sought, times where the duration is known.
static const char *operations_of(const serve::MediaFacts &facts)
{
    return facts.duration_ms > 0 ? "11" : "01";
}

// Nothing is ever converted: CI is 0.
std::string serve::dlna_fields(const char *type, const MediaFacts &facts)
{
    std::string fields;

    if (!is_media(type))
        return fields;
    if (!facts.profile.empty())
        fields += "-PN" + facts.profile;
    fields += std::string("-OP") + operations_of(facts) + "-CI0-FLAGS";
    return fields + flags_of(type) + "/";
}

std::string serve::dlna_parameters(const char *type, const MediaFacts &facts)
{
    std::string parameters;

    if (!is_media(type))
        return "*";
    if (!facts.profile.empty())
        parameters += "DLNA.ORG_PN=" + facts.profile + ";";
    parameters += std::string("DLNA.ORG_OP=") + operations_of(facts) +
                  ";DLNA.ORG_CI=0;DLNA.ORG_FLAGS=";
    return parameters + flags_of(type) + std::string(24, '0');
}

// Strict, so that hardly any name looks like fields. A folder that does, right
// in the media folder, cannot be reached.
size_t serve::dlna_fields_length(std::string_view path)
{
    static constexpr std::string_view last_mark = "-CI0-FLAGS";

    std::string_view fields = path.substr(0, path.find('/'));
    size_t           mark = fields.rfind(last_mark);

    if (fields.size() == path.size() || mark == fields.npos)
        return 0;
    if (!fields.starts_with("-PN") && !fields.starts_with("-OP"))
        return 0;
    return is_hex_number(fields.substr(mark + last_mark.size()))
               ? fields.size() + 1
               : 0;
}
