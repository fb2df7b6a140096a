// upnp_app_dirs.cpp - where a program lies, where it keeps its data, and where
// media are looked for.

#include "config/upnp_app_dirs.h"

#include "config/upnp_ini_table.h"
#include "files/upnp_file.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static constexpr char product_name[] = "quorelmedia";

// Room for an entry of the user table.
static constexpr size_t USER_BYTES = 4096;

// One byte of the name stays unused.
static constexpr size_t APPNAME_BYTES = 1024;

// Guarded by g_ini_Section once that exists.
static char appname[APPNAME_BYTES];

static bool is_empty(const char *text)
{
    return !text || !*text;
}

// The text of a record, which is freed; null for null.
static char *take_text(UpnpString *str)
{
    char *text = upnp_string_copy_cstring(str);

    upnp_string_free(str);
    return text;
}

// The home directory of the user, in buffer; null for the superuser and for one
// who is not in the user table.
static const char *find_home(char *buffer, size_t size)
{
    uid_t   user = geteuid();
    passwd  entry;
    passwd *found = nullptr;

    if (user == 0 || getpwuid_r(user, &entry, buffer, size, &found) != 0 ||
        !found)
        return nullptr;
    return entry.pw_dir;
}

static char *default_data_directory()
{
    char *root = getAppDataDir();
    char *directory;
    bool  locked;

    if (!root)
        return upnp_strdup_impl(upnp_ini_file_get_EXE_Dir());

    locked = ini::lock();
    if (!*appname)
        strcpy(appname, product_name);
    directory =
        take_text(upnp_string_sprintf(nullptr, "%s%c%s", root, '/', appname));
    if (locked)
        ini::unlock();
    upnp_free_impl(root);
    return directory;
}

// Unlike a home, a base may end in a separator of its own.
static char *media_directory(const char *base, const char *suffix)
{
    char        buffer[USER_BYTES];
    const char *home = find_home(buffer, sizeof(buffer));
    const char *root = home ? home : is_empty(base) ? "" : base;
    bool is_joined = !home && *root && strchr("/\\", root[strlen(root) - 1]);

    return take_text(upnp_string_sprintf(
        nullptr, "%s%s%s%s", root, is_joined ? "" : "/", product_name, suffix));
}

void upnp_ini_file_set_default_appname(const char *name)
{
    bool locked;

    if (!name)
        return;
    locked = ini::lock();
    snprintf(appname, sizeof(appname) - 1, "%s", name);
    if (locked)
        ini::unlock();
}

const char *upnp_ini_file_get_EXE_Dir(void)
{
    ini::Startup &startup = ini::startup;
    const char   *directory;

    if (!ini::lock())
        return nullptr;
    if (!startup.exe_directory) {
        startup.exe_directory = upnp_strdup_impl(startup.exe_name);
        if (char *text = startup.exe_directory) {
            char *slash = strrchr(text, '/');
            *(slash ? slash : text) = '\0';
        }
    }
    directory = startup.exe_directory;
    ini::unlock();
    return directory;
}

void upnp_ini_file_init_DATA_Dir(void)
{
    char *directory = default_data_directory();

    if (is_empty(upnp_ini_file_getString(INI_APPDATA))) {
        upnp_ini_file_setPropertyByKey(INI_APPDATA, directory);
        upnp_file_mkdir(directory);
    } else {
        upnp_file_mkdir(upnp_ini_file_getString(INI_APPDATA));
    }
    if (is_empty(upnp_ini_file_getString(INI_INIPATH)))
        upnp_ini_file_setPropertyByKey(INI_INIPATH,
                                       upnp_ini_file_getString(INI_APPDATA));
    ini::drop_text(&directory);
}

char *getAppDataDir(void)
{
    char        buffer[USER_BYTES];
    const char *home = find_home(buffer, sizeof(buffer));

    return take_text(
        home ? upnp_string_sprintf(nullptr, "%s/.%s", home, product_name)
             : upnp_string_sprintf(nullptr, "/var/%s", product_name));
}

char *getPathExpandSpecialFolders(const char *path)
{
    return upnp_strdup_impl(path);
}

char *getMyVideoDir(const char *base)
{
    return media_directory(base, "/videos");
}

char *getMyPictureDir(const char *base)
{
    return media_directory(base, "/pictures");
}

char *getMyMusicDir(const char *base)
{
    return media_directory(base, "/music");
}
