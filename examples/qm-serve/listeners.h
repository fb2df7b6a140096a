// listeners.h - the library's servers, brought up and down again.
#ifndef QM_SERVE_LISTENERS_H
#define QM_SERVE_LISTENERS_H

namespace serve {

// Starts a server on each address that the properties "ip" and "httpport" ask
// for, with its twin at the remote port, and prints their URLs, one a line.
// False if there is none at all or a twin has not its port; no free port ends
// the process through the library's critical log message.
bool start_listeners();

// Stops them, wakes the threads of all connections and waits, for a bounded
// time, until these have gone.
void stop_listeners();

}

#endif
