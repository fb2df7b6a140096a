// http_mime.cpp - MIME types and file extensions, both ways.

#include "http/http_mime.h"

#include "clientdb/upnp_client_query.h"
#include "runtime/upnp_string.h"

#include <string.h>

// Any file at all.
static constexpr char default_type[] = "application/octet-stream";

// Rows of a type, its extensions and an empty text; an empty type ends the
// table. The first match counts both ways, so the order matters.
// clang-format off
static constexpr const char *mime_table[] = {
    "text/plain; charset=utf-8", "txt", "",
    "text/html; charset=utf-8", "htm", "html", "",
    "audio/mpeg", "mp3", "",
    "audio/MPA", "mpa", "",
    "audio/x-mpeg", "mp2", "",
    "audio/mp1", "mp1", "",
    "audio/x-ms-wma", "wma", "",
    "audio/L16", "lpcm", "pcm", "",
    "audio/x-wav", "wav", "",
    "image/jpeg", "jpg", "jpeg", "",
    "image/tiff", "tif", "tiff", "",
    "image/gif", "gif", "",
    "image/png", "png", "",
    "audio/x-mpegurl", "m3u", "",
    "image/x-ycbcr-yuv420", "yuv", "",
    "video/x-msvideo", "avi", "divx", "",
    "video/mpeg", "mpg", "mpe", "m1v", "vob", "mts", "m2ts", "m2t", "m2p",
        "m2v", "mp2t", "mp2p", "mpg2", "mod", "",
    "video/mpeg2", "mpeg", "mpeg2", "vdr", "spts", "tp", "ts", "tts", "",
    "video/mp4", "mp4", "m4v", "",
    "video/quicktime", "mov", "",
    "video/x-ms-wmv", "wmv", "",
    "audio/mp4", "m4a", "mp4.a", "3gp.a", "m4b", "",
    "audio/x-aac", "aac", "apl", "",
    "audio/x-ac3", "ac3", "",
    "video/x-ms-asf", "asf", "",
    "audio/x-aiff", "aif", "aiff", "",
    "audio/x-flac", "flac", "",
    "application/ogg", "ogg", "",
    "text/css", "css", "",
    "text/javascript", "js", "",
    "image/bmp", "bmp", "",
    "video/x-ms-dvr", "dvr-ms", "",
    "video/x-xvid", "xvid", "",
    "application/x-shockwave-flash", "swf", "",
    "video/flv", "flv", "",
    " text/xml; charset=\"utf-8\"", "xml", "",
    "audio/amr", "amr", "",
    "audio/amr-wb", "awb", "",
    "video/x-matroska", "mkv", "",
    "audio/x-matroska", "mka", "",
    "audio/x-wav", "wav", "",
    "video/3gpp", "3gp", "3gpp", "",
    "audio/3gpp", "3gp", "3gpp", "",
    "application/vnd.ms-wpl", "wpl", "",
    "application/x-srt", "srt", "",
    "application/x-sub", "sub", "",
    "application/x-ssa", "ssa", "",
    "application/smil", "smi", "",
    "application/x-psb", "psb", "",
    "application/x-ass", "ass", "",
    "video/vnd.dlna.mpeg-tts", "mpg-tts", "dtcp", "",
    "audio/vnd.dlna.adts", "adts", "",
    "audio/vnd.ms-playready.media.pya", "pya", "",
    "video/vnd.ms-playready.media.pyv", "pyv", "",
    default_type, "",
    "",
};
// clang-format on

static const char *const *next_row(const char *const *row)
{
    while (**row)
        ++row;
    return row + 1;
}

// The row whose type stands in mime; null if there is none, and for null.
static const char *const *find_type(const char *mime)
{
    if (!mime)
        return nullptr;
    for (auto row = mime_table; **row; row = next_row(row)) {
        if (strstr(mime, *row))
            return row;
    }
    return nullptr;
}

const char *HTTP_get_mime_type(HttpRequest *request, const char *extension)
{
    if (!extension)
        return nullptr;
    if (!*extension)
        return default_type;

    if (request) {
        const char *wish =
            upnp_client_db_needs_special_mime_type(request->client, extension);
        if (wish)
            return wish;
    }
    for (auto row = mime_table; **row; row = next_row(row)) {
        for (auto known = row + 1; **known; ++known) {
            if (upnp_util_strings_equal(*known, extension, 0, 0))
                return *row;
        }
    }
    return default_type;
}

const char *HTTP_get_extension(const char *name)
{
    const char *dot = name ? strrchr(name, '.') : nullptr;

    return dot ? dot + 1 : nullptr;
}

const char *HTTP_get_extension_by_mime_type(const char *mime)
{
    if (!mime)
        return nullptr;

    // The empty text behind a type without extensions is its first one.
    const char *const *row = find_type(mime);
    return row ? row[1] : upnp_client_db_special_mime_type_get_extension(mime);
}

int32_t HTTP_is_known_mime_type(const char *mime)
{
    return find_type(mime) != nullptr;
}
