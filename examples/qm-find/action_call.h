// action_call.h - calls an action of a service. UPnP Device Architecture 1.0,
// section 3.2.
#ifndef QM_FIND_ACTION_CALL_H
#define QM_FIND_ACTION_CALL_H

#include "qm-find/description.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace find {

// Names and values, in order.
using Values = std::vector<std::pair<std::string, std::string>>;

// What the action answers, as it came. Nothing for a fault and for every other
// failure, which standard error then tells of.
std::optional<Values> call_action(const Service     &service,
                                  const std::string &action,
                                  const Values      &arguments);

// The value of that name, empty without one. Borrowed from values.
const std::string &value_of(const Values &values, const std::string &name);

}

#endif
