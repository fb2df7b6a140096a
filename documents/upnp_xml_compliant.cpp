// upnp_xml_compliant.cpp - holds the fields of DIDL-Lite to their limits.

#include "documents/upnp_xml_compliant.h"

#include "runtime/upnp_date.h"
#include "runtime/upnp_dlna.h"

#include <string.h>

static constexpr char     ellipsis[] = "...";
static constexpr uint32_t ELLIPSIS_BYTES = sizeof(ellipsis) - 1;
static constexpr size_t   DURATION_BYTES = 128;

namespace {
enum FieldType : uint8_t {
    DROP_IF_TOO_LONG,
    CUT,
    CUT_WITH_ELLIPSIS,
    BOOLEAN,
    DURATION,
    DATE,
    PROTOCOL_INFO
};

struct Field {
    const char *name;     // null for any other name
    uint32_t    maximum;  // bytes that pass whatever they are
    FieldType   type;
};
}

// clang-format off
static constexpr Field fields[] = {
    { "dc:title",          256, CUT_WITH_ELLIPSIS },
    { "protocolInfo",        0, PROTOCOL_INFO },
    { "upnp:album",        256, CUT_WITH_ELLIPSIS },
    { "upnp:genre",        256, CUT_WITH_ELLIPSIS },
    { "upnp:albumArtURI", 1024, DROP_IF_TOO_LONG },
    { "upnp:channelNr",     11, DROP_IF_TOO_LONG },
    { "unknown",           256, DROP_IF_TOO_LONG },
    { "dc:date",             0, DATE },
    { "upnp:class",        256, CUT },
    { "dc:creator",        256, CUT_WITH_ELLIPSIS },
    { "restricted",          0, BOOLEAN },
    { "duration",            0, DURATION },
    { nullptr,            1024, CUT_WITH_ELLIPSIS },
};
// clang-format on

static const Field &find_field(const char *name)
{
    const Field *field = fields;

    while (field->name && strcmp(field->name, name) != 0)
        ++field;
    return *field;
}

static UpnpString *add_boolean(UpnpString *text, const char *value)
{
    bool is_false = *value == '0' || strcmp(value, "false") == 0;

    return upnp_string_add(text, is_false ? "0" : "1", 1);
}

static UpnpString *add_duration(UpnpString *text, const char *value)
{
    char    buffer[DURATION_BYTES];
    int32_t ms = static_cast<int32_t>(upnp_convert_time_to_long(value));

    upnp_format_time(ms, buffer);
    return upnp_string_concat(text, buffer);
}

// The byte behind the third colon, or null.
static const char *find_fourth_field(const char *value)
{
    for (int colons = 0; colons < 3; ++colons) {
        value = strchr(value, ':');
        if (!value)
            return nullptr;
        ++value;
    }
    return value;
}

// Keeps the parameters of the fourth field that are well formed:
// "http-get:*:audio/mpeg:a;b=1;c=2" becomes "http-get:*:audio/mpeg:b=1;c=2".
static UpnpString *add_protocol_info(UpnpString *text, const char *value)
{
    const char *parameter = find_fourth_field(value);
    bool        is_first = true;

    if (!parameter || *parameter == '*')
        return upnp_string_concat(text, value);

    text =
        upnp_string_add(text, value, static_cast<uint32_t>(parameter - value));
    while (text && *parameter != '\0') {
        uint32_t length = 0;

        if (upnp_get_otherParamLength(parameter, nullptr, nullptr, &length)) {
            if (!is_first)
                text = upnp_string_add(text, ";", 1);
            if (text)
                text = upnp_string_add(text, parameter, length);
            is_first = false;
        }
        parameter += length;
        if (*parameter == ';')
            ++parameter;
    }
    return text;
}

UpnpString *xml::add_compliant_field(UpnpString *text, const char *name,
                                     const char *value)
{
    if (!name || *name == '\0')
        return upnp_string_concat(text, value);

    const Field &field = find_field(name);
    switch (field.type) {
    case DURATION: return add_duration(text, value);
    case PROTOCOL_INFO: return add_protocol_info(text, value);
    default: break;
    }
    if (strlen(value) <= field.maximum)
        return upnp_string_concat(text, value);

    switch (field.type) {
    case CUT: return upnp_string_add(text, value, field.maximum);
    case CUT_WITH_ELLIPSIS:
        text = upnp_string_add(text, value, field.maximum - ELLIPSIS_BYTES);
        return text ? upnp_string_concat(text, ellipsis) : nullptr;
    case BOOLEAN: return add_boolean(text, value);
    case DATE:
        return upnp_date_is_valid(value) ? upnp_string_concat(text, value)
                                         : text;
    default: return text;
    }
}
