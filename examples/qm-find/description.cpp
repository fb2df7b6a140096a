// description.cpp - what a device tells of itself: its own document, and those
// of its services.

#include "qm-find/description.h"

#include "common/xml_names.h"
#include "qm-find/console.h"
#include "qm-find/http_exchange.h"
#include "qm-find/url_reference.h"

#include <algorithm>
#include <map>
#include <string_view>

using namespace find;
using xml_names::is_called;
using xml_names::Tree;

// --- Elements ----------------------------------------------------------------

static const XmlNode *child(const XmlNode *parent, std::string_view name)
{
    return parent ? xml_names::find(parent->children, name) : nullptr;
}

static std::string_view raw_text(const XmlNode *parent, std::string_view name)
{
    static constexpr std::string_view blanks = " \t\r\n";
    const XmlNode                    *node = child(parent, name);
    std::string_view value = node && node->value ? node->value : "";

    value.remove_prefix(
        std::min(value.find_first_not_of(blanks), value.size()));
    return value.substr(0, value.find_last_not_of(blanks) + 1);
}

static std::string text(const XmlNode *parent, std::string_view name)
{
    return printable(raw_text(parent, name));
}

// What read makes of each of the elements of that name in a list. A list that
// is not there is empty.
template <typename Row, typename Context>
static std::vector<Row> read_list(const XmlNode *list, std::string_view name,
                                  Row (*read)(const XmlNode *, const Context &),
                                  const Context &context)
{
    std::vector<Row> rows;

    for (const XmlNode *node = child(list, name); node;
         node = xml_names::find(node->next, name))
        rows.push_back(read(node, context));
    return rows;
}

// The root of a document, with that name.
static Tree read_root(const std::string &url, std::string_view name)
{
    std::optional<std::string> document = fetch(url);
    Tree tree(document ? upnp_xml_parse(document->c_str()) : nullptr,
              upnp_xml_release);

    if (document && (!tree || !is_called(tree.get(), name))) {
        complain(url, "no <" + std::string(name) + "> document");
        tree.reset();
    }
    return tree;
}

// --- Devices -----------------------------------------------------------------

static std::string url_in(const XmlNode *parent, std::string_view name,
                          const std::string &base)
{
    return resolve(base, raw_text(parent, name));
}

static Icon read_icon(const XmlNode *node, const std::string &base)
{
    return { .type = text(node, "mimetype"),
             .size = text(node, "width") + "x" + text(node, "height") + "x" +
                     text(node, "depth"),
             .url = url_in(node, "url", base) };
}

static Service read_service(const XmlNode *node, const std::string &base)
{
    return { .type = text(node, "serviceType"),
             .actions_url = url_in(node, "SCPDURL", base),
             .control_url = url_in(node, "controlURL", base) };
}

static Device read_device_at(const XmlNode *node, const std::string &base)
{
    Device device;

    device.name = text(node, "friendlyName");
    device.type = text(node, "deviceType");
    device.udn = text(node, "UDN");
    device.maker = text(node, "manufacturer");
    device.model = text(node, "modelName");
    device.page_url = url_in(node, "presentationURL", base);
    device.icons = read_list(child(node, "iconList"), "icon", read_icon, base);
    device.services =
        read_list(child(node, "serviceList"), "service", read_service, base);
    device.devices =
        read_list(child(node, "deviceList"), "device", read_device_at, base);
    if (std::string number = text(node, "modelNumber"); !number.empty())
        device.model += " " + number;
    return device;
}

std::optional<Device> find::read_device(const std::string &url)
{
    Tree           tree = read_root(url, "root");
    const XmlNode *node = child(tree.get(), "device");

    if (!tree)
        return {};
    if (!node) {
        complain(url, "no device in the description");
        return {};
    }
    std::string base = clean_url(raw_text(tree.get(), "URLBase"));
    return read_device_at(node, base.empty() ? clean_url(url) : base);
}

std::vector<Service> find::all_services(const Device &device)
{
    std::vector<Service> services = device.services;

    for (const Device &inner : device.devices) {
        std::vector<Service> more = all_services(inner);
        services.insert(services.end(), more.begin(), more.end());
    }
    return services;
}

// --- Actions -----------------------------------------------------------------

using Variables = std::map<std::string_view, const XmlNode *>;

static Variables read_variables(const XmlNode *table)
{
    Variables variables;

    for (const XmlNode *node = child(table, "stateVariable"); node;
         node = xml_names::find(node->next, "stateVariable"))
        variables.emplace(raw_text(node, "name"), node);
    return variables;
}

static std::string read_value(const XmlNode *node, const Variables &)
{
    return printable(node->value ? node->value : "");
}

static Argument read_argument(const XmlNode *node, const Variables &variables)
{
    auto           row = variables.find(raw_text(node, "relatedStateVariable"));
    const XmlNode *variable = row == variables.end() ? nullptr : row->second;

    return { .name = text(node, "name"),
             .is_input = raw_text(node, "direction") == "in",
             .type = text(variable, "dataType"),
             .allowed_values =
                 read_list(child(variable, "allowedValueList"), "allowedValue",
                           read_value, variables) };
}

static Action read_action(const XmlNode *node, const Variables &variables)
{
    return { .name = text(node, "name"),
             .arguments = read_list(child(node, "argumentList"), "argument",
                                    read_argument, variables) };
}

std::optional<std::vector<Action>> find::read_actions(const Service &service)
{
    Tree tree = read_root(service.actions_url, "scpd");

    if (!tree)
        return {};
    return read_list(child(tree.get(), "actionList"), "action", read_action,
                     read_variables(child(tree.get(), "serviceStateTable")));
}
