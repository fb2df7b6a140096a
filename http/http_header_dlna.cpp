// http_header_dlna.cpp - the lines of a response head that DLNA adds.

#include "http/http_header_parts.h"

#include "clientdb/upnp_client_query.h"
#include "http/http_header.h"
#include "http/http_range.h"
#include "runtime/upnp_socket.h"

#include <algorithm>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>
#include <string_view>

static constexpr size_t TIME_BYTES = 48;  // room for two 64-bit numbers

namespace {
// A field of contentFeatures, found in the URL, where the programs put it.
struct Feature {
    const char *mark;  // the value stands behind it, up to "-" or "/"
    const char *name;
    const char *suffix;
    const char *dropped;  // a value that is not told; null for none
};

struct TransferMode {
    const char *name;
    const char *line;
    void (*set_priority)(int32_t socket);
};

// A line that keeps its CR LF when it is cut.
struct Line {
    char   text[256];
    size_t length;
};
}

// In the order in which they stand in the line.
// clang-format off
static constexpr Feature features[] = {
    { "-PN",    "DLNA.ORG_PN=",    "",                         nullptr },
    { "-OP",    "DLNA.ORG_OP=",    "",                         "00" },
    { "-CI",    "DLNA.ORG_CI=",    "",                         nullptr },
    { "-FLAGS", "DLNA.ORG_FLAGS=", "000000000000000000000000", nullptr },
};
// clang-format on

static constexpr char no_features[] = "contentFeatures.dlna.org: *\r\n";

// clang-format off
static constexpr char interactive_line[] =
    "transferMode.dlna.org: Interactive\r\n";
static constexpr char background_line[] =
    "transferMode.dlna.org: Background\r\n";
static constexpr char streaming_line[] =
    "transferMode.dlna.org: Streaming\r\n";

static constexpr TransferMode transfer_modes[] = {
    { "Interactive", interactive_line, setSockOptInteractivePriority },
    { "Background",  background_line,  setSockOptBackgroundPriority },
    { "Streaming",   streaming_line,   setSockOptAVPriority },
};
// clang-format on

// The milliseconds are not padded: 5.050 seconds are "005.50".
static int32_t seconds_to_string(int64_t ms, char *out, uint32_t size)
{
    return snprintf(out, size, "%03" PRId64 ".%" PRId64, ms / 1000, ms % 1000);
}

static UpnpString *time_seek_line(const HttpRequest *request)
{
    auto write =
        request->seek_clock_format ? upnp_range_to_string : seconds_to_string;
    char    start[TIME_BYTES], end[TIME_BYTES], whole[TIME_BYTES];
    char    bytes[96] = "";
    int64_t duration = request->duration_ms;

    write(request->seek_start, start, sizeof start);
    write(request->seek_end < 0 ? duration : request->seek_end, end,
          sizeof end);
    write(duration, whole, sizeof whole);

    if (!upnp_client_db_nobytes_in_timeseek_response(request->client))
        snprintf(bytes, sizeof bytes, " bytes=%" PRId64 "-%" PRId64 "/%" PRId64,
                 request->range_start, request->range_end, request->total_size);
    return upnp_string_sprintf(nullptr,
                               "TimeSeekRange.dlna.org: npt=%s-%s/%s%s\r\n",
                               start, end, whole, bytes);
}

// The answer to a time seek is never a 206.
const char *http_header::partial_text(const HttpRequest *request,
                                      UpnpString       **range_line)
{
    if (upnp_istrstr(request->header, "TimeSeekRange") &&
        !strstr(request->header, "Range:")) {
        if (request->duration_ms < 1)
            return "200 OK";
        *range_line = time_seek_line(request);
        return *range_line ? "200 OK" : nullptr;
    }
    *range_line = upnp_string_sprintf(
        nullptr, "Content-Range: bytes %" PRId64 "-%" PRId64 "/%" PRId64 "\r\n",
        request->range_start, request->range_end, request->total_size);
    return *range_line ? "206 Partial Content" : nullptr;
}

static void append(Line *line, std::string_view text)
{
    size_t room = sizeof line->text - sizeof "\r\n" - line->length;
    size_t count = std::min(text.size(), room);

    memcpy(line->text + line->length, text.data(), count);
    line->length += count;
}

// Appends the field if the URL has it; whether it has.
static bool append_feature(Line *line, const char *url, const Feature &feature)
{
    const char *found = strstr(url, feature.mark);
    if (!found)
        return false;

    std::string_view value(found + strlen(feature.mark));
    value = value.substr(0, value.find_first_of("-/"));
    if (feature.dropped && value == feature.dropped)
        return true;

    // Also where no field stands before this one.
    if (&feature != features)
        append(line, ";");
    append(line, feature.name);
    append(line, value);
    append(line, feature.suffix);
    return true;
}

static void add_content_features(HttpRequest *request)
{
    Line line = {};
    bool has_feature = false;

    if (strstr(request->url, "NON-DLNA") &&
        !upnp_client_db_needs_4th_field(request->client)) {
        HTTP_add_header(request, no_features);
        return;
    }

    append(&line, "contentFeatures.dlna.org: ");
    for (const Feature &feature : features)
        has_feature |= append_feature(&line, request->url, feature);
    memcpy(line.text + line.length, "\r\n", sizeof "\r\n");
    HTTP_add_header(request, has_feature ? line.text : no_features);
}

static void add_seek_range(HttpRequest *request)
{
    char duration[TIME_BYTES];
    char line[96];

    seconds_to_string(request->duration_ms, duration, sizeof duration);
    snprintf(line, sizeof line,
             "AvailableSeekRange.DLNA.ORG: 1 npt=0.000-%s\r\n", duration);
    HTTP_add_header(request, line);
}

static void add_transfer_mode(HttpRequest              *request,
                              const http_header::Asked &asked)
{
    if (!asked.transfer_mode) {
        if (asked.interactive_flags)
            HTTP_add_header(request, interactive_line);
        else if (asked.streaming_flags)
            HTTP_add_header(request, streaming_line);
        return;
    }

    for (const TransferMode &mode : transfer_modes) {
        if (!upnp_starts_with(asked.transfer_mode, mode.name))
            continue;
        HTTP_add_header(request, mode.line);
        mode.set_priority(request->socket);
        return;
    }
}

void http_header::add_dlna_lines(HttpRequest *request, const Asked &asked)
{
    if (asked.content_features)
        add_content_features(request);
    if (request->duration_ms &&
        upnp_istrstr(request->header, "GetAvailableSeekRange.DLNA.ORG:"))
        add_seek_range(request);
    add_transfer_mode(request, asked);
}
