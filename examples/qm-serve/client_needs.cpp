// client_needs.cpp - what the client of a request needs of this program.

#include "qm-serve/client_needs.h"

#include "clientdb/upnp_client_query.h"
#include "http/http_mime.h"
#include "qm-serve/media_type.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <bit>

// Bytes of a title; the serializer cuts longer ones.
static constexpr size_t MAX_TEXT = 256;
static constexpr size_t MAX_SHORT_TEXT = 255;

// Objects of one answer, so that none takes much memory: who asks for more gets
// the rest with the next request, as NumberReturned tells.
static constexpr size_t MAX_OBJECTS = 1000;
static constexpr size_t MAX_MANY_OBJECTS = 10'000;

using namespace serve;

static size_t max_text_of(int32_t client)
{
    if (upnp_client_db_max_didl_255(client))
        return MAX_SHORT_TEXT;
    return upnp_client_db_allow_unlimited_xml(client) ? SIZE_MAX : MAX_TEXT;
}

ClientNeeds serve::needs_of(const HttpRequest *request)
{
    int32_t client = request->client;
    bool    unlimited = upnp_client_db_allow_unlimited_xml(client);

    return {
        .client = client,
        .music_only = upnp_client_db_is_musicclient(client) != 0,
        .max_text = max_text_of(client),
        .max_objects = unlimited ? MAX_MANY_OBJECTS : MAX_OBJECTS,
        .unlimited = unlimited,
        .ascii = upnp_client_db_no_utf(client) != 0,
        .time_in_date = upnp_client_db_add_time_to_date(client) != 0,
        .dlna = upnp_client_db_DLNA_version(client) >= 0,
        .mp4_profile = upnp_client_db_force_mp4_profile(client) != 0,
        .duration = upnp_client_db_needs_duration(client) != 0,
        .bitrate = !upnp_client_db_nobitrate(client),
        .video_bitrate = upnp_client_db_force_videobitrate(client) != 0,
        .art_as_resource = upnp_client_db_add_albumart_as_res(client) != 0,
        .ignore_sort = upnp_client_db_ignore_sort(client) != 0,
        .plain_sort = upnp_client_db_no_utf8_sort(client) != 0,
        .absolute_urls = upnp_client_db_needs_absolute_uris(client) != 0,
        .known_uploads =
            upnp_client_db_restrict_upload_to_known_protocolinfos(client) != 0,
    };
}

const char *serve::media_type_for(const ClientNeeds &needs, const char *name)
{
    const char *wish = upnp_client_db_needs_special_mime_type(
        needs.client, HTTP_get_extension(name));

    return wish ? wish : media_type(name);
}

bool serve::is_shown(const ClientNeeds &needs, const ListedEntry &entry)
{
    return !needs.music_only || is_container(entry) ||
           upnp_starts_with(entry.upnp_class, "object.item.audioItem") ||
           upnp_starts_with(entry.upnp_class, "object.item.playlistItem");
}

// The text is valid UTF-8. A character in it begins with as many one bits as it
// has bytes.
std::string serve::text_for(const ClientNeeds &needs, const std::string &text)
{
    std::string ascii;

    if (!needs.ascii)
        return text;
    for (size_t i = 0; i < text.size();) {
        auto first = static_cast<unsigned char>(text[i]);
        auto length = static_cast<size_t>(std::countl_one(first));
        auto c = first & (0x7Fu >> length);

        if (length == 0) {
            ascii += text[i++];
            continue;
        }
        for (size_t end = std::min(i + length, text.size()); ++i < end;)
            c = c << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
        ascii += "&#" + std::to_string(c) + ";";
    }
    return ascii;
}
