// listeners.h - one listener on each address of the machine.
#ifndef QM_SERVE_LISTENERS_H
#define QM_SERVE_LISTENERS_H

namespace serve {

// Opens the listeners that the properties "ip" and "httpport" ask for, starts
// their threads and prints their URLs. A failure ends the process through the
// library's critical log message.
void start_listeners();

// Closes them, wakes the threads of all connections and waits, for a bounded
// time, until these have gone.
void stop_listeners();

}

#endif
