// address_watch.h - follows the machine's addresses while it serves.
#ifndef QM_SERVE_ADDRESS_WATCH_H
#define QM_SERVE_ADDRESS_WATCH_H

#include <csignal>

namespace serve {

// To be blocked before the watch starts, and waited for.
constexpr int ADDRESS_SIGNAL = SIGIO;

// Asks the kernel to raise the signal when an address or an interface comes or
// goes, unless the property "nicrestart" is off. Where that is not granted, the
// addresses are looked at every 30 seconds all the same.
void start_address_watch();
void stop_address_watch();

// To be called after the signal.
void addresses_may_have_changed();

// Restarts the servers if the addresses have changed. To be called every few
// seconds, and after the signal. Transfers under way go on.
void check_addresses();

}

#endif
