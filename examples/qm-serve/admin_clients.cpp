// admin_clients.cpp - the machines met, on the administration page.

#include "qm-serve/admin_clients.h"

#include "clientdb/upnp_client_query.h"
#include "qm-serve/client_access.h"
#include "qm-serve/client_list.h"
#include "qm-serve/title.h"
#include "qm-serve/url_text.h"
#include "runtime/upnp_date.h"
#include "runtime/upnp_mem.h"

#include <charconv>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

using namespace serve;

using CText = std::unique_ptr<char, decltype(&upnp_free_impl)>;
using Types = std::vector<std::pair<int32_t, std::string>>;

// --- Types ------------------------------------------------------------------

// Whether text begins with ",012,", the id of another type.
static bool begins_row(std::string_view text)
{
    return text.size() > 4 && text[0] == ',' && text[4] == ',' &&
           text.substr(1, 3).find_first_not_of("0123456789") == text.npos;
}

// "000,First,001,Second"; names may hold commas.
static Types client_types()
{
    CText       table(upnp_client_db_get_table(), upnp_free_impl);
    std::string text = std::string(",") + (table ? table.get() : "");
    Types       types;

    for (size_t i = 0; i < text.size(); ++i) {
        if (begins_row(std::string_view(text).substr(i))) {
            types.push_back({ std::stoi(text.substr(i + 1, 3)), "" });
            i += 4;
        } else if (!types.empty()) {
            types.back().second += text[i];
        }
    }
    return types;
}

static bool is_type(int32_t id)
{
    for (const auto &[type, name] : client_types()) {
        if (type == id)
            return true;
    }
    return false;
}

// --- The table --------------------------------------------------------------

// Several types share a name.
static std::string options(const Types &types, int32_t chosen)
{
    std::string html;

    for (const auto &[type, name] : types) {
        html += "<option value=\"" + std::to_string(type) + "\"" +
                (type == chosen ? " selected" : "") + ">" + html_escaped(name) +
                " (" + std::to_string(type) + ")</option>\n";
    }
    return html;
}

static std::string time_text(time_t seconds)
{
    char text[32] = "";

    if (seconds != 0 &&
        upnp_format_time_to_localdate(seconds, text, sizeof(text)) > 10)
        text[10] = ' ';
    return text;
}

static std::string cell(const std::string &text)
{
    return "<td>" + html_escaped(xml_text(text)) + "</td>";
}

static std::string row(const Client &client, const Types &types,
                       const std::string &token)
{
    // clang-format off
    return
        "<tr>" +
        cell(client.name) +
        cell(client.ip) +
        cell(client.mac) +
        cell(client.is_enabled ? "allowed" : "denied") +
        cell(time_text(last_request(client.ip))) +
        "\n<td>" + form_head(clients_section, token) +
        "<input type=\"hidden\" name=\"mac\" value=\"" +
        html_escaped(client.mac) + "\">"
        "<select name=\"type\" aria-label=\"Type\">\n" +
        options(types, client.type) +
        "</select>\n"
        "<button name=\"do\" value=\"retype\">Set type</button>\n" +
        (client.is_enabled
            ? "<button name=\"do\" value=\"disable\">Deny</button>\n"
            : "<button name=\"do\" value=\"enable\">Allow</button>\n") +
        "<button name=\"do\" value=\"delete\">Forget</button>\n"
        "</form></td></tr>\n";
    // clang-format on
}

static std::string html(const std::string &token)
{
    std::vector<Client> clients = known_clients();
    Types               types = client_types();
    std::string page = "<p>What is set here stays, whatever the machine sends. "
                       "A machine that is forgotten is recognised anew.</p>\n";

    if (clients.empty())
        return page + "<p>None yet.</p>\n";
    page += "<table>\n<tr><th>Name</th><th>Address</th><th>MAC</th>"
            "<th>State</th><th>Last request</th><th>Type</th></tr>\n";
    for (const Client &client : clients)
        page += row(client, types, token);
    return page + "</table>\n";
}

// --- Changes ----------------------------------------------------------------

static bool retype(Client &client, const FormFields &fields)
{
    std::string text = field(fields, "type");
    const char *end = text.c_str() + text.size();
    auto [rest, error] = std::from_chars(text.c_str(), end, client.type);

    return error == std::errc() && rest == end && is_type(client.type) &&
           settle(client);
}

static bool act(const FormFields &fields)
{
    std::string           action = field(fields, "do");
    std::optional<Client> client = find_client(field(fields, "mac"));

    if (!client)
        return false;
    if (action == "delete")
        return forget_client(client->mac);
    if (action == "retype")
        return retype(*client, fields);
    client->is_enabled = action == "enable";
    return (client->is_enabled || action == "disable") && settle(*client);
}

const AdminSection serve::clients_section = { "clients", "Clients", html, act,
                                              nullptr };
