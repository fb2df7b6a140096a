// upnp_ini_table.h - the property table, as the units of this folder share it.
//
// A helper whose name ends in _locked expects g_ini_Section held. The lock is
// never held while the library logs: the log may be starting a thread, and
// that asks the table for the size of a stack.
#ifndef CONFIG_UPNP_INI_TABLE_H
#define CONFIG_UPNP_INI_TABLE_H

#include "config/upnp_ini_file.h"
#include <stdint.h>

namespace ini {

constexpr int16_t MAX_ROWS = 287;
constexpr int32_t MAX_IGNORED_PARAMS = 20;

// The hooks that are not exported; each may be null.
struct Hooks {
    IniNameHook   name_from_key;
    IniKeyHook    key_from_name;
    IniCodingHook decode_value;
    IniCodingHook encode_value;
};

struct OldName {
    char    *name;  // owned
    OldName *next;  // registered before this one; null ends
};

// What the start of a program leaves here and the release gives back. Texts
// are tracked and owned.
struct Startup {
    char    *exe_name;       // as in argv[0]; may be null
    char    *exe_directory;  // null until it is asked for
    OldName *old_names;      // of INI files, newest first
    char    *ignored_params[MAX_IGNORED_PARAMS];
    int32_t  ignored_count;
};

extern Hooks   hooks;    // filled before threads start
extern Startup startup;  // guarded by g_ini_Section once that exists

// Take and give back g_ini_Section. lock gives false, and takes nothing,
// before init and after release.
bool lock();
void unlock();

// The rows in order of creation, and how many there are. A creation moves them.
IniProperty *rows_locked();
int16_t      row_count_locked();

// The row of a key; null if there is none.
IniProperty *row_locked(uint32_t key);

// Adds a row, whose texts then belong to the table. False when out of memory.
bool append_row_locked(const IniProperty &row);

// Creates the library's own rows, and logs each that fails.
void create_library_rows();

// Forgets the path of the INI file, which is then put together anew.
void drop_path_locked();

// Forgets the split of a list, which is then made anew.
void drop_list_locked(IniProperty *row);

// Marks that a change waits for a restart.
void set_restart_pending();

// The value, else the default, else null. Borrowed from the row.
const char *text_of(const IniProperty &row);

// A decimal number, cut to its low 32 bits; 0 for null and for no number.
int32_t number_of(const char *text);

// Whether the product keeps this property in coded form.
bool is_restricted(uint32_t key);

// Sets a value through the decoding hook. Without force_hidden a hidden
// property stays as it is, and without force_replace one that has a value.
// Unknown names are dropped. Takes the lock itself.
void set_by_name(const char *name, const char *value, bool force_hidden,
                 bool force_replace);

// A copy of the path of the INI file, null without one. Unlike the cached path
// it outlives a change of "inipath". Caller frees with upnp_free_impl.
char *copy_path();

// Whether the INI file is UTF-16. Once it was, it stays so in this process.
bool is_utf16();

// Frees *text, which may be null, and stores null there.
void drop_text(char **text);

}

#endif
