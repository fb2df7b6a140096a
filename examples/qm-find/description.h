// description.h - what a device tells of itself: its own document, and those
// of its services. UPnP Device Architecture 1.0, sections 2.1 and 2.3.
//
// Texts are fit for a terminal and for the line of a request; what a document
// lacks is empty. URLs are whole.
#ifndef QM_FIND_DESCRIPTION_H
#define QM_FIND_DESCRIPTION_H

#include <optional>
#include <string>
#include <vector>

namespace find {

struct Service {
    std::string type;  // "urn:schemas-upnp-org:service:SwitchPower:1"
    std::string actions_url;
    std::string control_url;
};

struct Icon {
    std::string type;  // "image/png"
    std::string size;  // "48x48x24"
    std::string url;
};

struct Device {
    std::string          name;
    std::string          type;
    std::string          udn;
    std::string          maker;
    std::string          model;  // with its number
    std::string          page_url;
    std::vector<Icon>    icons;
    std::vector<Service> services;
    std::vector<Device>  devices;  // embedded ones
};

struct Argument {
    std::string              name;
    bool                     is_input;
    std::string              type;            // of its state variable
    std::vector<std::string> allowed_values;  // empty: any
};

struct Action {
    std::string           name;
    std::vector<Argument> arguments;  // in the order of a call
};

// Both say on standard error why there is none.
std::optional<Device>              read_device(const std::string &url);
std::optional<std::vector<Action>> read_actions(const Service &service);

// All services of a device, also of those within it, outer ones first.
std::vector<Service> all_services(const Device &device);

}

#endif
