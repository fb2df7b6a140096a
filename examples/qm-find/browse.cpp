// browse.cpp - the command that prints what a media server holds.

#include "qm-find/commands.h"

#include "common/xml_names.h"
#include "qm-find/action_call.h"
#include "qm-find/console.h"
#include "qm-find/description.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

using namespace find;
using xml_names::is_called;
using xml_names::Tree;

static constexpr char service_type[] =
    "urn:schemas-upnp-org:service:ContentDirectory:";

static constexpr int  STEP = 4;
static constexpr char page_size[] = "200";

// A server that always has one more is no use to anybody.
static constexpr uint64_t MOST_OBJECTS = 1000000;

// Above any real tree; containers may hold each other.
static constexpr int MOST_LEVELS = 64;

namespace {
struct Options {
    const char *url = nullptr;
    const char *object_id = "0";
    int         levels = 1;
};
}

static bool print_children(const Service &service, const std::string &id,
                           int level, int levels);

// --- Objects -----------------------------------------------------------------

static std::string_view attribute(const XmlNode *node, const char *name)
{
    const char *value = upnp_xml_find_attribute_value(node, name);

    return value ? value : "";
}

static std::string text_of(const XmlNode *object, std::string_view name)
{
    const XmlNode *node = xml_names::find(object->children, name);

    return printable(node && node->value ? node->value : "");
}

template <typename Number>
static bool read_number(std::string_view text, Number &number)
{
    const char *end = text.data() + text.size();
    auto [rest, error] = std::from_chars(text.data(), end, number);

    return error == std::errc() && rest == end;
}

// The third field of "http-get:*:audio/mpeg:*".
static std::string_view mime_type(std::string_view protocol)
{
    for (int i = 0; i < 2; ++i)
        protocol.remove_prefix(
            std::min(protocol.size(), protocol.find(':') + 1));
    return protocol.substr(0, protocol.find(':'));
}

// "http://host/file  audio/mpeg, 3.4 MB, 0:03:25"
static void print_resource(int indent, const XmlNode *node)
{
    std::string facts;
    uint64_t    size;

    auto add = [&](std::string_view fact) {
        if (!fact.empty())
            facts.append(facts.empty() ? "  " : ", ").append(fact);
    };
    add(mime_type(attribute(node, "protocolInfo")));
    if (read_number(attribute(node, "size"), size))
        add(readable_size(size));
    add(attribute(node, "duration"));
    add(attribute(node, "resolution"));
    printf("%*s%s%s\n", indent, "",
           printable(node->value ? node->value : "").c_str(),
           printable(facts).c_str());
}

static void print_item(int indent, const XmlNode *item)
{
    printf("%*s%s  [%s]\n", indent, "", text_of(item, "title").c_str(),
           text_of(item, "class").c_str());
    for (const XmlNode *node = xml_names::find(item->children, "res"); node;
         node = xml_names::find(node->next, "res"))
        print_resource(indent + STEP, node);
}

// A container is followed by its id, which opens it.
static void print_container(int indent, const XmlNode *container)
{
    std::string count(attribute(container, "childCount"));

    printf("%*s%s/  [%s]  id %s", indent, "",
           text_of(container, "title").c_str(),
           text_of(container, "class").c_str(),
           printable(attribute(container, "id")).c_str());
    if (!count.empty())
        printf("  (%s)", printable(count).c_str());
    putchar('\n');
}

// --- Pages -------------------------------------------------------------------

// Counts the objects of a page. False after a failure further down.
static bool print_page(const Service &service, const XmlNode *didl, int level,
                       int levels, uint64_t &count)
{
    for (const XmlNode *node = didl->children; node; node = node->next) {
        bool is_container = is_called(node, "container");

        if (is_container)
            print_container(level * STEP, node);
        else if (is_called(node, "item"))
            print_item(level * STEP, node);
        else
            continue;
        ++count;
        if (is_container && level + 1 < levels &&
            !print_children(service, std::string(attribute(node, "id")),
                            level + 1, levels))
            return false;
    }
    return true;
}

// The next page of a container, from a child on. Its total is 0 where the
// server does not know it.
static bool read_page(const Service &service, const std::string &id,
                      uint64_t start, Tree &didl, uint64_t &total)
{
    std::optional<Values> answer =
        call_action(service, "Browse",
                    { { "ObjectID", id },
                      { "BrowseFlag", "BrowseDirectChildren" },
                      { "Filter", "*" },
                      { "StartingIndex", std::to_string(start) },
                      { "RequestedCount", page_size },
                      { "SortCriteria", "" } });

    if (!answer)
        return false;
    didl.reset(upnp_xml_parse(value_of(*answer, "Result").c_str()));
    if (!didl || !read_number(value_of(*answer, "TotalMatches"), total))
        return complain(service.control_url, "the answer is no list");
    return true;
}

bool print_children(const Service &service, const std::string &id, int level,
                    int levels)
{
    uint64_t start = 0;
    uint64_t total = 0;
    uint64_t count;

    do {
        Tree didl(nullptr, upnp_xml_release);

        count = 0;
        if (!read_page(service, id, start, didl, total) ||
            !print_page(service, didl.get(), level, levels, count))
            return false;
        start += count;
        if (start > MOST_OBJECTS)
            return complain(id, "too many objects");
    } while (count > 0 && (total == 0 || start < total));
    return true;
}

// --- The command -------------------------------------------------------------

static bool read_options(Arguments arguments, Options &options)
{
    int count = 0;

    for (size_t i = 0; i < arguments.size(); ++i) {
        if (strcmp(arguments[i], "--depth") == 0) {
            if (++i == arguments.size() ||
                !read_number(std::string_view(arguments[i]), options.levels) ||
                options.levels < 1 || options.levels > MOST_LEVELS)
                return false;
        } else if (count < 2) {
            (count++ == 0 ? options.url : options.object_id) = arguments[i];
        } else {
            return false;
        }
    }
    return count > 0;
}

int find::browse(Arguments arguments)
{
    Options options;

    if (!read_options(arguments, options))
        return BAD_USAGE;
    std::optional<Device> device = read_device(options.url);
    if (!device)
        return EXIT_FAILURE;

    for (const Service &service : all_services(*device)) {
        if (service.type.starts_with(service_type))
            return print_children(service, options.object_id, 0, options.levels)
                       ? EXIT_SUCCESS
                       : EXIT_FAILURE;
    }
    complain(options.url, "the device has no ContentDirectory");
    return EXIT_FAILURE;
}
