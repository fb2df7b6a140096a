// upnp_app_dirs.h - where a program lies, where it keeps its data, and where
// media are looked for.
//
// Threads: any; the name of the application and the two properties are settled
// by the thread that starts the program.
#ifndef CONFIG_UPNP_APP_DIRS_H
#define CONFIG_UPNP_APP_DIRS_H

#include "runtime/upnp_api.h"

UPNP_C_BEGIN

// The name of the application's own directory, cut to 1022 bytes. Null is
// ignored; while it is empty, as at load, "quorelmedia" takes its place.
UPNP_API void upnp_ini_file_set_default_appname(const char *name);

// The directory of the executable: its name up to the last "/", without it;
// empty for a name without one. Null while no name is set, before init and when
// out of memory. Worked out once. Borrowed: valid until the table is released.
UPNP_API const char *upnp_ini_file_get_EXE_Dir(void);

// Gives the properties "appdata" and "inipath" their values if they are empty:
// the application's directory under getAppDataDir, and the value of "appdata".
// Creates the directory "appdata", its last level only; a failure goes
// unnoticed.
UPNP_API void upnp_ini_file_init_DATA_Dir(void);

// --- New texts: caller frees with upnp_free_impl; null when out of memory ---

// "/home/user/.quorelmedia", or "/var/quorelmedia" for the superuser and for a
// user who is not in the user table. The effective user counts.
UPNP_API char *getAppDataDir(void);

// A copy of path; null for null. Linux has nothing to expand.
UPNP_API char *getPathExpandSpecialFolders(const char *path);

// "/home/user/quorelmedia/videos", "/pictures" and "/music". For the superuser
// and for an unknown user "quorelmedia" lies under base instead, which may be
// null or empty: it then lies under "/".
UPNP_API char *getMyVideoDir(const char *base);
UPNP_API char *getMyPictureDir(const char *base);
UPNP_API char *getMyMusicDir(const char *base);

UPNP_C_END
#endif
