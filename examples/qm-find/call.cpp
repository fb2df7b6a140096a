// call.cpp - the command that calls an action.

#include "qm-find/commands.h"

#include "qm-find/action_call.h"
#include "qm-find/console.h"
#include "qm-find/description.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace find;

namespace {
struct ServiceAction {
    Service service;
    Action  action;
};
}

// "Volume=10" is split at its first "=", so that values may hold more of them.
static bool read_values(Arguments texts, Values &values)
{
    for (const char *text : texts) {
        const char *equal = strchr(text, '=');

        if (!equal || equal == text) {
            complain(text, "no NAME=VALUE");
            return false;
        }
        values.emplace_back(std::string(text, equal), equal + 1);
    }
    return true;
}

// The first of all services that has it. One that cannot be read does not keep
// the others from being looked at.
static std::optional<ServiceAction> find_action(const Device      &device,
                                                const std::string &name)
{
    for (const Service &service : all_services(device)) {
        for (Action &action :
             read_actions(service).value_or(std::vector<Action>())) {
            if (action.name == name)
                return ServiceAction{ service, std::move(action) };
        }
    }
    complain(name, "no service has such an action");
    return {};
}

// Devices may rely on the order of their description. What is missing is
// theirs to judge.
static bool sort_values(const Action &action, Values &values)
{
    auto position = [&](const std::string &name) {
        return std::find_if(action.arguments.begin(), action.arguments.end(),
                            [&](const Argument &row) {
                                return row.is_input && row.name == name;
                            });
    };

    for (const auto &[name, value] : values) {
        if (position(name) == action.arguments.end())
            return complain(name, action.name + " takes no such argument");
    }
    std::stable_sort(values.begin(), values.end(),
                     [&](const auto &a, const auto &b) {
                         return position(a.first) < position(b.first);
                     });
    return true;
}

int find::soap(Arguments arguments)
{
    Values values;

    if (!read_values(arguments.subspan(2), values))
        return BAD_USAGE;
    std::optional<Device> device = read_device(arguments[0]);
    if (!device)
        return EXIT_FAILURE;
    std::optional<ServiceAction> found = find_action(*device, arguments[1]);
    if (!found || !sort_values(found->action, values))
        return EXIT_FAILURE;

    std::optional<Values> answer =
        call_action(found->service, found->action.name, values);
    if (!answer)
        return EXIT_FAILURE;
    for (const auto &[name, value] : *answer)
        printf("%s=%s\n", printable(name).c_str(),
               printable(value, "\n\t").c_str());
    return EXIT_SUCCESS;
}
