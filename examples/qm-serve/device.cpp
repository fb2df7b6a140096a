// device.cpp - the media server as a UPnP device: its texts and its icon.
//
// URLs in the description are relative to its own, so that it reads the same on
// every network. UPnP Device Architecture 1.0, section 2.1.

#include "qm-serve/device.h"

#include "config/upnp_ini_file.h"
#include "qm-serve/client_needs.h"
#include "qm-serve/scpd.h"
#include "qm-serve/search_responder.h"
#include "qm-serve/url_text.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"
#include "runtime/upnp_udn.h"
#include "ssdp/upnp_ssdp.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

using serve::html_escaped;

static constexpr char     default_name[] = "qm-serve on %HOSTNAME%";
static constexpr uint32_t HOST_BYTES = 64;

static constexpr char xml_type[] = "text/xml; charset=\"utf-8\"";

// A blue square with a white triangle, 48 pixels wide and high.
static constexpr unsigned char icon[] = {
#include "qm-serve/icon.inc"
};

namespace {
struct Document {
    std::string_view path;
    const char      *type;
    std::string      content;
};
}

// Filled before the server starts, then only read.
static Document documents[] = {
    { "/QMSDeviceDescription.xml", xml_type, {} },
    { "/ContentDirectory.xml", xml_type, {} },
    { "/ConnectionManager.xml", xml_type, {} },
    { "/icon.png", "image/png", {} },
};

static const Document *find_document(std::string_view path)
{
    const Document *document =
        std::find_if(std::begin(documents), std::end(documents),
                     [=](const Document &row) { return row.path == path; });

    return document == std::end(documents) ? nullptr : document;
}

// --- The description ---------------------------------------------------------

static std::string service(const std::string &name)
{
    // clang-format off
    return
        "<service>\n"
        "<serviceType>"
        "urn:schemas-upnp-org:service:" + name + ":1</serviceType>\n"
        "<serviceId>urn:upnp-org:serviceId:" + name + "</serviceId>\n"
        "<SCPDURL>/" + name + ".xml</SCPDURL>\n"
        "<controlURL>/" + name + "/Control</controlURL>\n"
        "<eventSubURL>/" + name + "/Event</eventSubURL>\n"
        "</service>\n";
    // clang-format on
}

static std::string description(const char *friendly_name)
{
    // clang-format off
    return
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<root xmlns=\"urn:schemas-upnp-org:device-1-0\""
        " xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">\n"
        "<specVersion><major>1</major><minor>0</minor></specVersion>\n"
        "<device>\n"
        "<deviceType>urn:schemas-upnp-org:device:MediaServer:1</deviceType>\n"
        "<friendlyName>" + html_escaped(friendly_name) + "</friendlyName>\n"
        "<manufacturer>QuorelMedia</manufacturer>\n"
        "<modelDescription>Serves the files of a folder</modelDescription>\n"
        "<modelName>qm-serve</modelName>\n"
        "<modelNumber>1</modelNumber>\n"
        "<UDN>" + upnp_get_server_udn() + "</UDN>\n"
        "<dlna:X_DLNADOC>DMS-1.50</dlna:X_DLNADOC>\n"
        "<iconList>\n"
        "<icon><mimetype>image/png</mimetype><width>48</width>"
        "<height>48</height><depth>8</depth><url>/icon.png</url></icon>\n"
        "</iconList>\n"
        "<serviceList>\n" +
        service("ContentDirectory") + service("ConnectionManager") +
        "</serviceList>\n"
        "<presentationURL>/</presentationURL>\n"
        "</device>\n"
        "</root>\n";
    // clang-format on
}

// --- The device --------------------------------------------------------------

bool serve::create_device()
{
    const char *name = upnp_ini_file_getString(INI_FRIENDLYNAME);
    char       *friendly_name = upnp_util_create_friendlyname(
              upnp_util_string_is_empty(name) ? default_name : name, HOST_BYTES);

    if (!friendly_name)
        return false;
    documents[0].content = description(friendly_name);
    documents[1].content = content_directory_scpd();
    documents[2].content = connection_manager_scpd();
    documents[3].content.assign(std::begin(icon), std::end(icon));
    upnp_free_impl(friendly_name);

    upnp_ssdp_isMediaServer();
    answer_searches();
    return true;
}

bool serve::is_document(std::string_view path)
{
    return find_document(path) != nullptr;
}

// Some clients make nothing of URLs that begin with "/". The base ends with it.
static std::string with_absolute_urls(std::string text, const char *base_url)
{
    static constexpr std::string_view tags[] = { "URL>/", "<url>/" };

    for (std::string_view tag : tags) {
        for (size_t i = 0; (i = text.find(tag, i)) != text.npos;) {
            i += tag.size() - 1;
            text.replace(i, 1, base_url);
        }
    }
    return text;
}

// The head builder looks for DLNA fields in the whole URL: nothing but the
// path is left to it.
int32_t serve::send_document(HttpRequest *request, std::string_view path)
{
    const Document *document = find_document(path);
    std::string     content = document->content;

    if (document == documents && needs_of(request).absolute_urls &&
        !request->from_remote_listener)
        content = with_absolute_urls(content, request->base_url);

    snprintf(request->url, sizeof(request->url), "%s", document->path.data());
    request->mime_type = document->type;
    request->content_length = static_cast<int64_t>(content.size());
    return HTTP_send(request, content.c_str());
}
