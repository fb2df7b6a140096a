// didl.cpp - objects as DIDL-Lite (ContentDirectory:1, 2.8.1).
//
// The serializer holds each field to a limit and may cut in the middle of a
// character, so what can be long is made to fit before.

#include "qm-serve/didl.h"

#include "documents/upnp_xml.h"
#include "documents/upnp_xml_write.h"
#include "qm-serve/dlna_fields.h"
#include "qm-serve/media_facts.h"
#include "qm-serve/media_type.h"
#include "qm-serve/title.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_mem.h"

#include <algorithm>
#include <memory>
#include <unistd.h>

// Bytes of a title and a name, escaped.
static constexpr size_t MAX_TITLE = 256;

using namespace serve;

using Duration = std::unique_ptr<char, decltype(&upnp_free_impl)>;

namespace {
// A tree in the making. Once a node is missing the whole is of no use.
struct Document {
    XmlNode *root;  // owned
    bool     is_complete;
};

// A file as it is now.
struct File {
    const char *type;
    int64_t     size;  // -1: it cannot be opened
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

static bool wants_artist(const Filter &filter)
{
    return wants(filter, "dc:creator") || wants(filter, "upnp:artist");
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

static File look_at(const MediaFolder &folder, const Object &object)
{
    const char *type = media_type(object.entry.name.c_str());
    struct stat status;
    int         fd = open_inside(folder, object.relative, status);
    File        file = { type, -1, {} };

    if (fd == -1)
        return file;
    file.size = status.st_size;
    file.facts = media_facts(fd, status, type);
    close(fd);
    return file;
}

std::string serve::protocol_info(std::string_view   type,
                                 const std::string &parameters)
{
    return "http-get:*:" + std::string(type.substr(0, type.find(';'))) + ":" +
           parameters;
}

// Players that look at the ending of a URL find the file's own.
static std::string url_of(const Object &object, const File &file,
                          const char *base_url)
{
    static const char *const unknown = media_type("");

    size_t dot =
        file.type == unknown ? std::string::npos : object.entry.name.rfind('.');

    return std::string(base_url) + "item/" +
           dlna_fields(file.type, file.facts) + object.id +
           (dot == std::string::npos ? "" : object.entry.name.substr(dot));
}

static void add_resource(Document &document, XmlNode *item,
                         const Object &object, const File &file,
                         const Filter &filter, const char *base_url)
{
    XmlNode *node = add(document, item, "res", url_of(object, file, base_url));

    set(document, node, "protocolInfo",
        protocol_info(file.type, dlna_parameters(file.type, file.facts)));
    if (wants(filter, "res@size"))
        set(document, node, "size", std::to_string(file.size));
    if (wants(filter, "res@duration") && file.facts.duration_ms > 0) {
        Duration text(upnp_duration_to_string(
                          static_cast<uint64_t>(file.facts.duration_ms)),
                      upnp_free_impl);
        set(document, node, "duration", text ? text.get() : "");
    }
}

static void add_artist(Document &document, XmlNode *item, const File &file,
                       const Filter &filter)
{
    std::string artist = fitted(xml_text(file.facts.artist), MAX_TITLE);

    if (artist.empty())
        return;
    if (wants(filter, "dc:creator"))
        add(document, item, "dc:creator", artist);
    if (wants(filter, "upnp:artist"))
        add(document, item, "upnp:artist", artist);
}

static XmlNode *add_object(Document &document, const Object &object,
                           const char *kind)
{
    XmlNode *node = add(document, document.root, kind, "");

    set(document, node, "id", object.id);
    set(document, node, "parentID", object.parent_id);
    set(document, node, "restricted", "1");
    add(document, node, "dc:title", fitted(object.entry.title, MAX_TITLE));
    add(document, node, "upnp:class", object.entry.upnp_class);
    return node;
}

static void add_container(Document &document, const MediaFolder &folder,
                          const Object &object, const Filter &filter)
{
    XmlNode *node = add_object(document, object, "container");

    if (wants(filter, "@searchable") || wants(filter, "container@searchable"))
        set(document, node, "searchable", "1");
    if (wants(filter, "@childCount") || wants(filter, "container@childCount")) {
        auto contents = children(folder, object, {});
        set(document, node, "childCount",
            std::to_string(contents ? contents->entries.size() : 0));
    }
    // The class demands it; -1 is "not known".
    add(document, node, "upnp:storageUsed", "-1");
}

static void add_item(Document &document, const MediaFolder &folder,
                     const Object &object, const Filter &filter,
                     const char *base_url)
{
    XmlNode *node = add_object(document, object, "item");

    if (!wants_resource(filter) && !wants_artist(filter))
        return;
    File file = look_at(folder, object);
    if (file.size == -1)
        return;
    add_artist(document, node, file, filter);
    if (wants_resource(filter))
        add_resource(document, node, object, file, filter, base_url);
}

static Document begin_document()
{
    Document document = { upnp_xml_new_node("DIDL-Lite", nullptr), true };

    set(document, document.root, "xmlns",
        "urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/");
    set(document, document.root, "xmlns:dc",
        "http://purl.org/dc/elements/1.1/");
    set(document, document.root, "xmlns:upnp",
        "urn:schemas-upnp-org:metadata-1-0/upnp/");
    return document;
}

std::string serve::didl(const MediaFolder         &folder,
                        const std::vector<Object> &objects,
                        const Filter &filter, const char *base_url)
{
    Document    document = begin_document();
    UpnpString *text = nullptr;
    std::string result;

    for (const Object &object : objects) {
        if (object.entry.is_folder)
            add_container(document, folder, object, filter);
        else
            add_item(document, folder, object, filter, base_url);
    }
    if (document.is_complete)
        text = upnp_xml_tree_to_compliant_string(document.root, 0, 1);
    if (text)
        result = upnp_string_get_cstring(text);
    upnp_string_safe_free(&text);
    upnp_xml_release(document.root);
    return result;
}
