// describe.cpp - the command that prints what a device can do.

#include "qm-find/commands.h"

#include "qm-find/description.h"

#include <cstdio>
#include <cstdlib>
#include <string>

using namespace find;

static constexpr int STEP = 4;

// Columns that most names fit in.
static constexpr int LABEL_COLUMNS = 11;
static constexpr int NAME_COLUMNS = 24;

static void print_fact(int indent, const char *label, const std::string &value)
{
    if (!value.empty())
        printf("%*s%-*s %s\n", indent, "", LABEL_COLUMNS, label, value.c_str());
}

static std::string joined(const std::vector<std::string> &values)
{
    std::string result;

    for (const std::string &value : values)
        result += (result.empty() ? "" : " | ") + value;
    return result;
}

static void print_action(int indent, const Action &action)
{
    printf("%*s%s\n", indent, "", action.name.c_str());
    for (const Argument &row : action.arguments) {
        printf("%*s%-3s %-*s %s", indent + STEP, "",
               row.is_input ? "in" : "out", NAME_COLUMNS, row.name.c_str(),
               row.type.c_str());
        if (!row.allowed_values.empty())
            printf(": %s", joined(row.allowed_values).c_str());
        putchar('\n');
    }
}

// Whether all could be read.
static bool print_service(int indent, const Service &service)
{
    printf("%*s%s\n", indent, "", service.type.c_str());
    print_fact(indent + STEP, "control", service.control_url);

    std::optional<std::vector<Action>> actions = read_actions(service);
    if (!actions)
        return false;
    for (const Action &action : *actions)
        print_action(indent + STEP, action);
    return true;
}

static bool print_device(int indent, const Device &device)
{
    int  inner = indent + STEP;
    bool is_whole = true;

    printf("%*s%s\n", indent, "", device.name.c_str());
    print_fact(inner, "type", device.type);
    print_fact(inner, "UDN", device.udn);
    print_fact(inner, "made by", device.maker);
    print_fact(inner, "model", device.model);
    print_fact(inner, "page", device.page_url);
    for (const Icon &icon : device.icons)
        print_fact(inner, "icon", icon.type + " " + icon.size + " " + icon.url);
    for (const Service &service : device.services)
        is_whole &= print_service(inner, service);
    for (const Device &embedded : device.devices)
        is_whole &= print_device(inner, embedded);
    return is_whole;
}

int find::describe(Arguments arguments)
{
    std::optional<Device> device = read_device(arguments[0]);

    return device && print_device(0, *device) ? EXIT_SUCCESS : EXIT_FAILURE;
}
