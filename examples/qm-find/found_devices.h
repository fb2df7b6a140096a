// found_devices.h - the devices that the network tells of.
#ifndef QM_FIND_FOUND_DEVICES_H
#define QM_FIND_FOUND_DEVICES_H

namespace find {

// Registers a handler that prints a line when a device appears, and another
// when it says byebye:
//
//     found  UDN  TYPE  LOCATION  SERVER
//     gone   UDN
//
// Fields stand behind tabs.
void print_devices();

}

#endif
