// connection_manager.h - the service ConnectionManager:1.
#ifndef QM_SERVE_CONNECTION_MANAGER_H
#define QM_SERVE_CONNECTION_MANAGER_H

namespace serve {

// Registers the service.
void register_connection_manager();

}

#endif
