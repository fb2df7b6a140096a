// action_call.cpp - calls an action of a service.

#include "qm-find/action_call.h"

#include "common/xml_names.h"
#include "documents/upnp_xml_write.h"
#include "http/http_client.h"
#include "qm-find/console.h"
#include "qm-find/http_exchange.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_socket.h"

#include <algorithm>
#include <memory>

using namespace find;
using xml_names::Tree;

// --- Asking ------------------------------------------------------------------

static std::string escaped(const std::string &text)
{
    std::unique_ptr<char, decltype(&upnp_free_impl)> result(
        upnp_xml_escape_cond(text.c_str(), 0), upnp_free_impl);

    return result ? result.get() : "";
}

static std::string envelope(const Service &service, const std::string &action,
                            const Values &arguments)
{
    std::string list;

    for (const auto &[name, value] : arguments)
        list += "<" + name + ">" + escaped(value) + "</" + name + ">";
    // clang-format off
    return
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\""
        " s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">"
        "<s:Body>"
        "<u:" + action + " xmlns:u=\"" + escaped(service.type) + "\">" +
        list +
        "</u:" + action + ">"
        "</s:Body>"
        "</s:Envelope>\n";
    // clang-format on
}

static bool send_call(Exchange &exchange, const Service &service,
                      const std::string &action, const Values &arguments)
{
    std::string body = envelope(service, action, arguments);
    std::string header = "\"" + service.type + "#" + action + "\"";

    if (!open_exchange(exchange, service.control_url))
        return false;
    if (HTTP_post_request(exchange.socket, exchange.url.c_str(), header.c_str(),
                          body.c_str()) != 0 ||
        upnp_send(exchange.socket, body.data(),
                  static_cast<int64_t>(body.size())) == -1)
        return complain(exchange.url, "the request could not be sent");
    return read_answer(exchange);
}

// --- Answers -----------------------------------------------------------------

// The element in the body of an envelope.
static const XmlNode *find_answer(const XmlNode *tree)
{
    const XmlNode *body =
        tree ? xml_names::find(tree->children, "Body") : nullptr;

    return body ? body->children : nullptr;
}

static Values values_in(const XmlNode *parent)
{
    Values values;

    for (const XmlNode *node = parent->children; node; node = node->next)
        values.emplace_back(node->name, node->value ? node->value : "");
    return values;
}

// <detail><UPnPError><errorCode>701</errorCode><errorDescription>...
static void complain_of_fault(const std::string &action, const XmlNode *fault)
{
    const char *code = upnp_xml_find_tag_value(fault, "errorCode");
    const char *text = upnp_xml_find_tag_value(fault, "errorDescription");
    const char *other = upnp_xml_find_tag_value(fault, "faultstring");

    if (code)
        complain(action,
                 std::string("error ") + code + " " + (text ? text : ""));
    else
        complain(action, std::string("fault ") + (other ? other : ""));
}

static std::optional<Values> read_values(Exchange          &exchange,
                                         const std::string &action)
{
    std::optional<std::string> document = read_document(exchange);
    Tree tree(document ? upnp_xml_parse(document->c_str()) : nullptr,
              upnp_xml_release);
    const XmlNode *answer = find_answer(tree.get());

    if (answer && xml_names::is_called(answer, "Fault"))
        complain_of_fault(action, answer->children);
    else if (document && !has_succeeded(exchange))
        complain_of_status(exchange);
    else if (answer && xml_names::is_called(answer, action + "Response"))
        return values_in(answer);
    else if (document)
        complain(exchange.url, "the answer is none to " + action);
    return {};
}

// --- Exported ----------------------------------------------------------------

std::optional<Values> find::call_action(const Service     &service,
                                        const std::string &action,
                                        const Values      &arguments)
{
    std::optional<Values> values;
    Exchange              exchange;

    if (send_call(exchange, service, action, arguments))
        values = read_values(exchange, action);
    close_exchange(exchange);
    return values;
}

const std::string &find::value_of(const Values &values, const std::string &name)
{
    static const std::string empty;
    auto                     row =
        std::find_if(values.begin(), values.end(),
                     [&](const auto &value) { return value.first == name; });

    return row == values.end() ? empty : row->second;
}
