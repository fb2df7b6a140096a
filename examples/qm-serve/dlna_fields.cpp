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

std::string serve::dlna_fields(const char *type, const MediaFacts &facts)
{
    std::string fields;

    if (!is_media(type))
        return fields;
    if (!facts.profile.empty())
        fields += "-PN" + facts.profile;
    // Bytes can always be sought, times where the duration is known. Nothing
    // is ever converted.
    fields += facts.duration_ms > 0 ? "-OP11" : "-OP01";
    fields += "-CI0-FLAGS";
    fields += is_picture(type) ? picture_flags : play_flags;
    return fields + "/";
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
