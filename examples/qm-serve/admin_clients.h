// admin_clients.h - the machines met, on the administration page.
#ifndef QM_SERVE_ADMIN_CLIENTS_H
#define QM_SERVE_ADMIN_CLIENTS_H

#include "qm-serve/admin.h"

namespace serve {

// Lists them and enables, disables, retypes or forgets one.
extern const AdminSection clients_section;

}

#endif
