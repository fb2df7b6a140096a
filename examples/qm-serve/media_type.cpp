// media_type.cpp - MIME types by file name.

#include "qm-serve/media_type.h"

#include "runtime/upnp_string.h"

#include <algorithm>
#include <cstring>

// clang-format off
static constexpr struct {
    const char *ending;
    const char *type;
} types[] = {
    { ".aac",  "audio/aac" },
    { ".aif",  "audio/x-aiff" },
    { ".aiff", "audio/x-aiff" },
    { ".avi",  "video/x-msvideo" },
    { ".flac", "audio/flac" },
    { ".gif",  "image/gif" },
    { ".htm",  "text/html; charset=utf-8" },
    { ".html", "text/html; charset=utf-8" },
    { ".jpeg", "image/jpeg" },
    { ".jpg",  "image/jpeg" },
    { ".m4a",  "audio/mp4" },
    { ".m4v",  "video/mp4" },
    { ".mkv",  "video/x-matroska" },
    { ".mov",  "video/quicktime" },
    { ".mp3",  "audio/mpeg" },
    { ".mp4",  "video/mp4" },
    { ".mpeg", "video/mpeg" },
    { ".mpg",  "video/mpeg" },
    { ".oga",  "audio/ogg" },
    { ".ogg",  "audio/ogg" },
    { ".opus", "audio/ogg" },
    { ".pdf",  "application/pdf" },
    { ".png",  "image/png" },
    { ".srt",  "application/x-subrip" },
    { ".ts",   "video/mp2t" },
    { ".txt",  "text/plain; charset=utf-8" },
    { ".wav",  "audio/wav" },
    { ".webm", "video/webm" },
    { ".webp", "image/webp" },
    { ".wma",  "audio/x-ms-wma" },
    { ".wmv",  "video/x-ms-wmv" },
    { ".wpl",  "application/vnd.ms-wpl" },
};
// clang-format on

const char *serve::media_type(const char *name)
{
    for (const auto &row : types) {
        if (upnp_ends_with(name, row.ending))
            return row.type;
    }
    return "application/octet-stream";
}

std::vector<const char *> serve::media_types()
{
    std::vector<const char *> list;

    for (const auto &row : types) {
        auto is_this = [&](const char *type) {
            return strcmp(type, row.type) == 0;
        };
        if (is_media(row.type) &&
            std::none_of(list.begin(), list.end(), is_this))
            list.push_back(row.type);
    }
    return list;
}

bool serve::is_picture(const char *type)
{
    return upnp_starts_with(type, "image/");
}

bool serve::is_media(const char *type)
{
    return is_picture(type) || upnp_starts_with(type, "audio/") ||
           upnp_starts_with(type, "video/");
}
