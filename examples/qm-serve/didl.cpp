// didl.cpp - objects as DIDL-Lite (ContentDirectory:1, 2.8.1).
//
// The serializer holds each field to a limit and may cut in the middle of a
// character, so what can be long is made to fit before.

#include "qm-serve/didl.h"

#include "documents/upnp_xml.h"
#include "documents/upnp_xml_write.h"
#include "qm-serve/cover.h"
#include "qm-serve/dlna_fields.h"
#include "qm-serve/media_facts.h"
#include "qm-serve/media_type.h"
#include "qm-serve/thumbnail.h"
#include "qm-serve/title.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <unistd.h>

using namespace serve;

using Duration = std::unique_ptr<char, decltype(&upnp_free_impl)>;

namespace {
// A tree in the making. Once a node is missing the whole is of no use.
struct Document {
    XmlNode *root;  // owned
    bool     is_complete;
};

// What is asked for, by whom.
struct Asked {
    const MediaFolder &folder;
    const Filter      &filter;
    const ClientNeeds &needs;
    const char        *base_url;
    Covers             covers;
};

// A file as it is now.
struct File {
    const char *type;  // as the client knows it
    int64_t     size;  // -1: it cannot be opened
    time_t      modified;
    MediaFacts  facts;
};
}

// --- Filter -----------------------------------------------------------------

Filter serve::read_filter(std::string_view list)
{
    Filter filter = { list == "*", {} };

    while (!list.empty()) {
        size_t comma = std::min(list.find(','), list.size() - 1);

        filter.names.push_back(list.substr(0, list.find(',')));
        list.remove_prefix(comma + 1);
    }
    return filter;
}

// Whether name is asked for, or something that begins so: "res@size" cannot
// come without "res".
static bool wants(const Filter &filter, std::string_view name,
                  std::string_view beginning = {})
{
    return filter.all || std::any_of(filter.names.begin(), filter.names.end(),
                                     [=](std::string_view row) {
                                         return row == name ||
                                                (!beginning.empty() &&
                                                 row.starts_with(beginning));
                                     });
}

static bool wants_resource(const Filter &filter)
{
    return wants(filter, "res", "res@");
}

// What takes a look into the file.
static bool wants_facts(const Filter &filter)
{
    return wants_resource(filter) || wants(filter, "dc:creator") ||
           wants(filter, "upnp:artist") || wants(filter, "dc:date");
}

// --- Nodes ------------------------------------------------------------------

static XmlNode *add(Document &document, XmlNode *parent, const char *name,
                    const std::string &value)
{
    XmlNode *node = upnp_xml_new_node(name, value.c_str());

    if (node && parent)
        upnp_xml_add_as_subnode(parent, node);
    else
        document.is_complete = false;
    if (parent)
        return node;
    upnp_xml_release(node);
    return nullptr;
}

static void set(Document &document, XmlNode *node, const char *name,
                const std::string &value)
{
    XmlAttribute **end = node ? &node->attributes : nullptr;

    while (end && *end)
        end = &(*end)->next;
    if (end)
        *end = upnp_xml_new_attribute(name, value.c_str());
    if (!end || !*end)
        document.is_complete = false;
}

// --- Objects ----------------------------------------------------------------

// Some clients play MP4 files only where they are told a profile.
static constexpr char mp4_profile[] = "AVC_MP4_MP_SD_AAC_MULT5";

static bool is_video(const char *type)
{
    return upnp_starts_with(type, "video/");
}

static File look_at(const Asked &asked, const Object &object)
{
    const char *name = object.entry.name.c_str();
    const char *type = media_type(name);
    struct stat status;
    int         fd = open_inside(asked.folder, object.relative, status);
    File        file = { media_type_for(asked.needs, name), -1, 0, {} };

    if (fd == -1)
        return file;
    file.size = status.st_size;
    file.modified = status.st_mtime;
    file.facts = media_facts(fd, status, type);
    close(fd);
    if (asked.needs.mp4_profile && file.facts.profile.empty() &&
        strcmp(type, "video/mp4") == 0)
        file.facts.profile = mp4_profile;
    return file;
}

std::string serve::protocol_info(std::string_view   type,
                                 const std::string &parameters)
{
    return "http-get:*:" + std::string(type.substr(0, type.find(';'))) + ":" +
           parameters;
}

// Players that look at the ending of a URL find the file's own.
static std::string url_of(const Asked &asked, const Object &object,
                          const File &file)
{
    static const char *const unknown = media_type("");

    size_t dot =
        file.type == unknown ? std::string::npos : object.entry.name.rfind('.');

    return asked.base_url + std::string("item/") +
           (asked.needs.dlna ? dlna_fields(file.type, file.facts) : "") +
           object.id +
           (dot == std::string::npos ? "" : object.entry.name.substr(dot));
}

static void set_duration(Document &document, XmlNode *node, const File &file,
                         const Asked &asked)
{
    bool is_needed = asked.needs.duration && !is_picture(file.type);

    if (!is_needed &&
        (!wants(asked.filter, "res@duration") || file.facts.duration_ms < 1))
        return;
    Duration text(
        upnp_duration_to_string(static_cast<uint64_t>(file.facts.duration_ms)),
        upnp_free_impl);
    set(document, node, "duration", text ? text.get() : "");
}

// Bytes in a second, on the average (ContentDirectory:1, B.2.1.3).
static void set_bitrate(Document &document, XmlNode *node, const File &file,
                        const Asked &asked)
{
    bool is_needed = asked.needs.video_bitrate && is_video(file.type);

    if (file.facts.duration_ms < 1 ||
        (!is_needed &&
         (!asked.needs.bitrate || !wants(asked.filter, "res@bitrate"))))
        return;
    set(document, node, "bitrate",
        std::to_string(file.size * 1000 / file.facts.duration_ms));
}

static XmlNode *add_resource(Document &document, XmlNode *item,
                             const Object &object, const File &file,
                             const Asked &asked)
{
    XmlNode *node = add(document, item, "res", url_of(asked, object, file));

    set(document, node, "protocolInfo",
        protocol_info(file.type, asked.needs.dlna
                                     ? dlna_parameters(file.type, file.facts)
                                     : "*"));
    if (wants(asked.filter, "res@size"))
        set(document, node, "size", std::to_string(file.size));
    return node;
}

static void add_artist(Document &document, XmlNode *item, const File &file,
                       const Asked &asked)
{
    std::string artist =
        fitted(xml_text(file.facts.artist), asked.needs.max_text);

    if (artist.empty())
        return;
    if (wants(asked.filter, "dc:creator"))
        add(document, item, "dc:creator", artist);
    if (wants(asked.filter, "upnp:artist"))
        add(document, item, "upnp:artist", artist);
}

// When the file was written: "2009-01-02", with "T03:04:05" behind it for some.
static void add_date(Document &document, XmlNode *item, const File &file,
                     const Asked &asked)
{
    static constexpr size_t DATE_BYTES = sizeof("2009-01-02");

    char text[32];

    if (!wants(asked.filter, "dc:date") ||
        upnp_format_time_to_localdate(file.modified, text, sizeof(text)) == 0)
        return;
    if (!asked.needs.time_in_date)
        text[DATE_BYTES - 1] = '\0';
    add(document, item, "dc:date", text);
}

static bool add_thumbnail(Document &document, XmlNode *node,
                          const Object &object, const Asked &asked)
{
    std::string url = thumbnail_url(object, asked.base_url);

    if (!url.empty())
        add(document, node, "upnp:albumArtURI", url);
    return !url.empty();
}

// The resource of a picture is its cover already.
static void add_cover(Document &document, XmlNode *node, const Object &object,
                      Asked &asked)
{
    bool wants_link = wants(asked.filter, "upnp:albumArtURI");
    bool wants_copy = asked.needs.art_as_resource &&
                      wants_resource(asked.filter) &&
                      !is_container(object.entry);

    if (wants_link && add_thumbnail(document, node, object, asked))
        wants_link = false;
    if (!wants_link && !wants_copy)
        return;
    std::optional<Object> cover = cover_of(asked.folder, object, asked.covers);
    if (!cover)
        return;
    File file = look_at(asked, *cover);
    if (file.size == -1)
        return;
    if (wants_link) {
        XmlNode *link = add(document, node, "upnp:albumArtURI",
                            url_of(asked, *cover, file));
        if (asked.needs.dlna && !file.facts.profile.empty())
            set(document, link, "dlna:profileID", file.facts.profile);
    }
    if (wants_copy && cover->id != object.id)
        add_resource(document, node, *cover, file, asked);
}

static XmlNode *add_object(Document &document, const Object &object,
                           const char *kind, const ClientNeeds &needs)
{
    XmlNode *node = add(document, document.root, kind, "");

    set(document, node, "id", object.id);
    set(document, node, "parentID", object.parent_id);
    set(document, node, "restricted", "1");
    add(document, node, "dc:title", fitted(object.entry.title, needs.max_text));
    add(document, node, "upnp:class", object.entry.upnp_class);
    return node;
}

// How many children the client is shown; 0 if they cannot be read.
static size_t count_children(const Asked &asked, const Object &object)
{
    auto contents = children(asked.folder, object, {});

    if (!contents)
        return 0;
    return static_cast<size_t>(
        std::count_if(contents->entries.begin(), contents->entries.end(),
                      [&](const ListedEntry &entry) {
                          return is_shown(asked.needs, entry);
                      }));
}

static void add_container(Document &document, const Object &object,
                          Asked &asked)
{
    const Filter &filter = asked.filter;
    XmlNode      *node = add_object(document, object, "container", asked.needs);

    if (wants(filter, "@searchable") || wants(filter, "container@searchable"))
        set(document, node, "searchable", "1");
    if (wants(filter, "@childCount") || wants(filter, "container@childCount"))
        set(document, node, "childCount",
            std::to_string(count_children(asked, object)));
    // The class demands it; -1 is "not known".
    if (object.entry.kind == EntryKind::FOLDER)
        add(document, node, "upnp:storageUsed", "-1");
    add_cover(document, node, object, asked);
}

static void add_file(Document &document, XmlNode *item, const Object &object,
                     const Asked &asked)
{
    if (!wants_facts(asked.filter))
        return;
    File file = look_at(asked, object);
    if (file.size == -1)
        return;
    add_artist(document, item, file, asked);
    add_date(document, item, file, asked);
    if (!wants_resource(asked.filter))
        return;
    XmlNode *resource = add_resource(document, item, object, file, asked);
    set_duration(document, resource, file, asked);
    set_bitrate(document, resource, file, asked);
}

static void add_item(Document &document, const Object &object, Asked &asked)
{
    XmlNode *node = add_object(document, object, "item", asked.needs);
    Object   original = original_of(object);

    if (is_reference(object.entry) &&
        (wants(asked.filter, "@refID") || wants(asked.filter, "item@refID")))
        set(document, node, "refID", original.id);
    add_file(document, node, original, asked);
    add_cover(document, node, original, asked);
}

static Document begin_document(const Filter &filter)
{
    Document document = { upnp_xml_new_node("DIDL-Lite", nullptr), true };

    set(document, document.root, "xmlns",
        "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/");
    set(document, document.root, "xmlns:dc",
        "http://purl.org/dc/elements/1.1/");
    set(document, document.root, "xmlns:upnp",
        "urn:schemas-upnp-org:metadata-1-0/upnp/");
    if (wants(filter, "upnp:albumArtURI"))
        set(document, document.root, "xmlns:dlna",
            "urn:schemas-dlna-org:metadata-1-0/");
    return document;
}

std::string serve::didl(const MediaFolder         &folder,
                        const std::vector<Object> &objects,
                        const Filter &filter, const ClientNeeds &needs,
                        const char *base_url)
{
    Asked       asked = { folder, filter, needs, base_url, {} };
    Document    document = begin_document(filter);
    UpnpString *text = nullptr;
    std::string result;

    for (const Object &object : objects) {
        if (is_container(object.entry))
            add_container(document, object, asked);
        else
            add_item(document, object, asked);
    }
    if (document.is_complete)
        text = (needs.unlimited
                    ? upnp_xml_tree_to_string_valid
                    : upnp_xml_tree_to_compliant_string)(document.root, 0, 1);
    if (text)
        result = text_for(needs, upnp_string_get_cstring(text));
    upnp_string_safe_free(&text);
    upnp_xml_release(document.root);
    return result;
}
