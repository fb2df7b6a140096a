// upnp_cmdline.h - the command line, which sets properties before the INI file
// does.
//
// Each property is an option of its name: "-httpport 9001". A program calls
// upnp_ini_file_init, adds its own properties and names, and then calls
// upnp_ini_file_parse_cmdline once, which also reads the INI file.
//
// Threads: the thread that starts the program.
#ifndef CONFIG_UPNP_CMDLINE_H
#define CONFIG_UPNP_CMDLINE_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Takes the options, settles the directories, takes over an INI file of an
// earlier version where there is none yet, and reads the file. 0; or 1, with
// the usage printed and only the options in front taken, if an argument holds
// "?" or "help". argv[0] is kept as the name of the executable unless one is
// set; argc may be 0 and argv then null.
//
// An option has one or two dashes and the name of a property in any case; also
// of a hidden one, while a disabled one and an unknown name are dropped. Its
// value is the next argument, but if that is missing or begins with "-" the
// value is empty: numbers below 0 cannot be given. Arguments without a dash in
// other places are passed over. "-inifile path" sets "inipath" and "ininame"; a
// name without a directory sets both to it.
UPNP_API int32_t upnp_ini_file_parse_cmdline(int32_t argc, char **argv);

// Prints how to call the program to standard output. A null name is empty.
UPNP_API void usage(const char *programName);

// An argument, with its dashes, that the parser passes over; what follows it
// is looked at as usual. 1, or 0 for null, when 20 are there, when out of
// memory, and before init.
UPNP_API int32_t upnp_ini_file_add_ignored_cmdline_param(const char *param);

UPNP_C_END
#endif
