// admin_playlists.h - the stored playlists, on the administration page.
#ifndef QM_SERVE_ADMIN_PLAYLISTS_H
#define QM_SERVE_ADMIN_PLAYLISTS_H

#include "qm-serve/admin.h"

namespace serve {

// Imports WPL files of the media folder; lists the stored playlists and
// renames, deletes or exports one.
extern const AdminSection playlists_section;

}

#endif
