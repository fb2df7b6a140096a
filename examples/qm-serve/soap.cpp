// soap.cpp - actions of UPnP services: read, called, answered.

#include "qm-serve/soap.h"

#include "common/xml_names.h"
#include "documents/upnp_xml_write.h"
#include "http/http_pages.h"
#include "qm-serve/file_cache.h"
#include "runtime/upnp_string.h"
#include "server/upnp_error.h"

#include <charconv>
#include <cstring>

static constexpr char xml_type[] = "text/xml; charset=\"utf-8\"";
static constexpr char declaration[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

using namespace serve;
using xml_names::find;
using xml_names::is_called;
using xml_names::Tree;

// --- Reading ----------------------------------------------------------------

// The element in the body of an envelope; null if there is none.
static const XmlNode *find_action(const XmlNode *tree)
{
    const XmlNode *body = nullptr;

    if (tree && is_called(tree, "Envelope"))
        body = find(tree->children, "Body");
    return body ? body->children : nullptr;
}

// The prefix of an action may be bound to the service further up, but where it
// is bound in place, as control points do it, it must be this service.
static bool is_of_service(const XmlNode *action, const char *service)
{
    for (const XmlAttribute *row = action->attributes; row; row = row->next) {
        if (strncmp(row->name, "xmlns", strlen("xmlns")) == 0 && row->value &&
            upnp_starts_with(row->value, "urn:") &&
            strcmp(row->value, service) != 0)
            return false;
    }
    return true;
}

int32_t serve::call_action(HttpRequest *request, const char *service,
                           std::span<const SoapAction> actions)
{
    Tree           tree(upnp_xml_parse(request->body), upnp_xml_release);
    const XmlNode *node = find_action(tree.get());
    SoapCall       call = { request, service, nullptr, nullptr };

    clear_modified(request);
    if (!node || !is_of_service(node, service))
        return send_fault(call, INVALID_ACTION);
    for (const SoapAction &row : actions) {
        if (!is_called(node, row.name))
            continue;
        call.action = row.name;
        call.arguments = node->children;
        return row.answer(call);
    }
    return send_fault(call, INVALID_ACTION);
}

const char *serve::argument(const SoapCall &call, const char *name)
{
    const XmlNode *node = find(call.arguments, name);

    if (!node)
        return nullptr;
    return node->value ? node->value : "";
}

bool serve::number_argument(const SoapCall &call, const char *name,
                            uint32_t &number)
{
    const char *text = argument(call, name);

    if (!text)
        return false;
    const char *end = text + strlen(text);
    auto [rest, error] = std::from_chars(text, end, number);
    return error == std::errc() && rest == end;
}

// --- Answering --------------------------------------------------------------

// A null parent stands for an earlier failure.
static XmlNode *add(XmlNode *parent, const char *name, const char *value)
{
    XmlNode *node = parent ? upnp_xml_new_node(name, value) : nullptr;

    if (node)
        upnp_xml_add_as_subnode(parent, node);
    return node;
}

static bool set(XmlNode *node, const char *name, const char *value)
{
    XmlAttribute *attribute =
        node ? upnp_xml_new_attribute(name, value) : nullptr;

    if (!attribute)
        return false;
    attribute->next = node->attributes;
    node->attributes = attribute;
    return true;
}

// Null when out of memory.
static UpnpString *answer_text(const SoapCall                     &call,
                               std::initializer_list<SoapArgument> arguments)
{
    std::string name = std::string("u:") + call.action + "Response";
    Tree     tree(upnp_xml_new_node("s:Envelope", nullptr), upnp_xml_release);
    XmlNode *answer =
        add(add(tree.get(), "s:Body", nullptr), name.c_str(), nullptr);
    bool is_complete = set(tree.get(), "s:encodingStyle",
                           "http://schemas.xmlsoap.org/soap/encoding/") &&
                       set(tree.get(), "xmlns:s",
                           "http://schemas.xmlsoap.org/soap/envelope/") &&
                       set(answer, "xmlns:u", call.service);

    for (const SoapArgument &row : arguments)
        is_complete &= add(answer, row.name, row.value.c_str()) != nullptr;
    return is_complete ? upnp_xml_tree_to_string_valid(tree.get(), 0, 1)
                       : nullptr;
}

int32_t serve::send_answer(const SoapCall                     &call,
                           std::initializer_list<SoapArgument> arguments)
{
    UpnpString *answer = answer_text(call, arguments);
    UpnpString *text = nullptr;
    int32_t     result;

    if (answer)
        text = upnp_string_concat_string(upnp_string_create(declaration, 0),
                                         answer);
    upnp_string_safe_free(&answer);
    if (!text)
        return send_fault(call, CANNOT_PROCESS);

    call.request->mime_type = xml_type;
    call.request->content_length = upnp_string_get_length(text);
    result = HTTP_send(call.request, upnp_string_get_cstring(text));
    upnp_string_free(text);
    return result;
}

int32_t serve::send_fault(const SoapCall &call, int32_t code)
{
    return upnp_send_error(call.request, code);
}

int32_t serve::refuse_subscription(HttpRequest *request)
{
    return HTTP_send_error_code(request, 501);
}
