// upnp_cmdline.cpp - the command line, and INI files of earlier versions.

#include "config/upnp_cmdline.h"

#include "config/upnp_app_dirs.h"
#include "config/upnp_ini_table.h"
#include "files/upnp_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"

#include <stdio.h>
#include <string.h>

static void keep_exe_name(int32_t argc, char **argv)
{
    if (argc < 1 || !argv || !argv[0] || upnp_ini_file_get_EXE_Name())
        return;
    upnp_set_EXE_Name(upnp_strdup_impl(argv[0]));
    upnp_ini_file_get_EXE_Dir();
}

static bool asks_for_usage(const char *argument)
{
    return strchr(argument, '?') || strstr(argument, "help");
}

static bool is_ignored(const char *argument)
{
    bool found = false;

    if (!ini::lock())
        return false;
    for (int32_t i = 0; i < ini::startup.ignored_count && !found; ++i)
        found = strcmp(ini::startup.ignored_params[i], argument) == 0;
    ini::unlock();
    return found;
}

static void set_ini_file(const char *path)
{
    char *directory = nullptr;
    char *name = nullptr;

    upnp_file_split_path(path, &directory, &name);
    if (directory)
        upnp_ini_file_setPropertyByKey(INI_INIPATH, directory);
    if (name)
        upnp_ini_file_setPropertyByKey(INI_ININAME, name);
    ini::drop_text(&directory);
    ini::drop_text(&name);
}

static void set_option(const char *argument, const char *value)
{
    const char *name = argument + (argument[1] == '-' ? 2 : 1);

    if (strcmp(name, "inifile") == 0)
        set_ini_file(value);
    else
        ini::set_by_name(name, value, true, true);
}

// False if an argument asks for the usage; what follows it is not taken.
static bool take_arguments(int32_t argc, char **argv)
{
    for (int32_t i = 1; i < argc && argv && argv[i]; ++i) {
        const char *argument = argv[i];
        if (asks_for_usage(argument))
            return false;
        if (*argument != '-' || is_ignored(argument))
            continue;

        const char *next = i + 1 < argc ? argv[i + 1] : nullptr;
        bool        has_value = next && *next != '-';
        set_option(argument, has_value ? next : "");
        if (has_value)
            ++i;
    }
    return true;
}

// A copy of the old name at this place, null behind the last. Looked up each
// time, since copying a file and logging want no lock.
static char *copy_old_name(int32_t index)
{
    char *copy = nullptr;

    if (!ini::lock())
        return nullptr;
    ini::OldName *old = ini::startup.old_names;
    for (; old && index > 0; --index)
        old = old->next;
    if (old)
        copy = upnp_strdup_impl(old->name);
    ini::unlock();
    return copy;
}

// Copies the file of that name in directory, which may be null, to path.
static bool take_over(const char *directory, const char *name, const char *path,
                      const char *how)
{
    char *old_path = upnp_file_build_path(directory, name);
    bool  exists = old_path && upnp_file_exists(old_path);

    if (exists) {
        upnp_file_copy(old_path, path);
        upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM,
                      "upnp_ini_file_check_for_old_inis",
                      "%s ini file %s copied to %s", how, old_path, path);
    }
    ini::drop_text(&old_path);
    return exists;
}

// Goes on at a hit: of several old files the one registered first is copied
// last, and wins.
static void check_for_old_inis()
{
    char *path = ini::copy_path();

    if (!path)
        return;
    if (!upnp_file_exists(path)) {
        for (int32_t i = 0; char *name = copy_old_name(i); ++i) {
            if (!take_over(upnp_ini_file_getString(INI_INIPATH), name, path,
                           "existing"))
                take_over(upnp_ini_file_get_EXE_Dir(), name, path, "exisiting");
            ini::drop_text(&name);
        }
    }
    ini::drop_text(&path);
}

int32_t upnp_ini_file_parse_cmdline(int32_t argc, char **argv)
{
    keep_exe_name(argc, argv);
    if (!take_arguments(argc, argv)) {
        usage(argv[0]);
        return 1;
    }
    upnp_ini_file_init_DATA_Dir();
    check_for_old_inis();
    upnp_ini_file_read_properties();
    upnp_ini_file_reset_restartPending();
    return 0;
}

void usage(const char *programName)
{
    const char *name = programName ? programName : "";

    printf("\nusage: %s\n\n", name);
    puts("       all params from the .ini file can be used as an option, "
         "preceded by a -");
    printf("       e.g. %s -v 255\n", name);
    puts("       -inifile path and filename of ini file");
    puts("       -inipath path to ini file");
    puts("       -ininame filename of ini file");
}

int32_t upnp_ini_file_add_ignored_cmdline_param(const char *param)
{
    char *copy = nullptr;

    if (!param || !ini::lock())
        return 0;
    ini::Startup &startup = ini::startup;
    if (startup.ignored_count < ini::MAX_IGNORED_PARAMS)
        copy = upnp_strdup_impl(param);
    if (copy)
        startup.ignored_params[startup.ignored_count++] = copy;
    ini::unlock();
    return copy != nullptr;
}
