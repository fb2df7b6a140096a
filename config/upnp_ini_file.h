// upnp_ini_file.h - the process-wide property table and its INI file.
//
// A property has a small key for code, a name for the command line and the
// file, a default, and a value once one was set. Texts handed out by
// upnp_ini_file_getString and upnp_ini_file_getPropParamName are the table's
// own: the next change of that property frees them, so a caller that keeps one
// copies it.
//
// Threads: calls are guarded by g_ini_Section; init and release belong to one
// thread. Before init and after release every call gives 0 or null.
#ifndef CONFIG_UPNP_INI_FILE_H
#define CONFIG_UPNP_INI_FILE_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_lock.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

// Keys of the library's own properties. 10, 11 and 12 are free.
enum {
    INI_FRIENDLYNAME          = 0,
    INI_IP                    = 1,
    INI_NICRESTART            = 2,
    INI_V                     = 3,
    INI_PLATFORM              = 4,
    INI_HTTPPORT              = 5,
    INI_ININAME               = 6,
    INI_INIPATH               = 7,
    INI_READ_ONLY             = 8,
    INI_SSDPTTL               = 9,
    INI_APPDATA               = 13,
    INI_CLEARCLIENTSONRESTART = 14,
    INI_DISABLELOCALSSDP      = 15,
    INI_ENABLETLS             = 16,
    INI_NMCMODE               = 17,
    INI_VLEVEL                = 18,
    INI_STACK_SIZE            = 19,
    INI_LANGUAGE              = 20,
    INI_KEYS                  = 288  // keys are below this
};

// Results of upnp_ini_file_create_property.
enum {
    INI_CREATED         = 0,
    INI_KEY_EXISTS      = 1,  // also: the key is 288 or more
    INI_NAME_EXISTS     = 2,
    INI_OUT_OF_MEMORY   = 3,
    INI_NO_NAME         = 5,
    INI_NOT_INITIALIZED = 6,
    INI_TABLE_FULL      = 7
};

// One row of the table. Texts are tracked and owned by the row.
typedef struct IniProperty {
    uint32_t key;           // 0 to 287
    char    *paramName;     // matched in any case
    char    *value;         // null: the default is in force
    char    *defaultValue;  // may be null
    int32_t  isList;        // 1: a comma-separated list
    int32_t  listCount;     // entries; 0 while the split has not been made
    char   **listValues;    // entry 0 owns the copy in which all entries lie
    char    *comment;       // written above the property; may be null
    int32_t  hidden;        // 1: never written and never taken from the file
    int32_t  disabled;      // 1: never written, and refuses every change
    int32_t  needsRestart;  // 1: a change sets restartPending
} IniProperty;

// Guards the table and the cached path.
UPNP_API extern CriticalSection g_ini_Section;

// --- Life -------------------------------------------------------------------

// Counted: the first call makes the lock and the library's rows.
UPNP_API void upnp_ini_file_init(void);

// Counted: the call that matches the first one frees everything.
UPNP_API void upnp_ini_file_release(void);

// Frees everything whatever the count.
UPNP_API void upnp_ini_file_release_on_exit(void);

// 1 between init and release.
UPNP_API int32_t upnp_ini_file_is_initialized(void);

// Deletes the INI file. Changes no value.
UPNP_API void upnp_ini_file_reset(void);

// --- Reading ----------------------------------------------------------------

// 1 if the key has a row.
UPNP_API int32_t upnp_ini_file_isValidKey(uint32_t key);

// The key of a name, in any case; -1 if there is none.
UPNP_API int32_t upnp_ini_file_getPropertyKey(const char *name);

// The row's name; null if none. Borrowed from the table.
UPNP_API const char *upnp_ini_file_getPropParamName(uint32_t key);

// The value, else the default, else null. Borrowed from the table.
UPNP_API const char *upnp_ini_file_getString(uint32_t key);

// 1 if the text above is not empty and does not begin with "0": "00" is
// false, "no" is true. isSet is the same question.
UPNP_API int32_t upnp_ini_file_getBoolean(uint32_t key);
UPNP_API int32_t upnp_ini_file_isSet(uint32_t key);

// The text above as a decimal number; 0 if there is none.
UPNP_API int32_t upnp_ini_file_getInt(uint32_t key);

// 1 if a value is set, also one that equals the default.
UPNP_API int32_t upnp_ini_file_isModified(uint32_t key);

// The flags; 1 for a key without a row.
UPNP_API int32_t upnp_ini_file_propertyIsDisabled(uint32_t key);
UPNP_API int32_t upnp_ini_file_propertyIsHidden(uint32_t key);

// A copy of entry index of a list property, null behind the last one. An entry
// between two commas is empty; a last one with nothing behind its comma is
// null. A property that is no list has its value as entry 0, and so has a list
// of one; the default is not given then. Caller frees with upnp_free_impl.
UPNP_API char *upnp_ini_file_get_next_CSV(uint32_t key, int32_t index);

// All rows, "name=value\r\n" each, hidden ones included; null if the table is
// empty. Caller frees with upnp_string_free.
UPNP_API UpnpString *upnp_ini_file_get_all_properties(void);

// Path of the INI file, from "inipath" and "ininame"; null without one of
// them. Borrowed: valid until one of the two changes.
UPNP_API const char *upnp_ini_file_get_ini_path(void);

// Whether a property that needs a restart has changed; and clearing that.
UPNP_API int32_t upnp_ini_file_restartPending(void);
UPNP_API void    upnp_ini_file_reset_restartPending(void);

// Name of the executable. The setter takes over a tracked text.
UPNP_API const char *upnp_ini_file_get_EXE_Name(void);
UPNP_API void        upnp_set_EXE_Name(char *name);

// --- Changing ---------------------------------------------------------------

// Adds a row; name, defaultValue and comment are copied, the flags become 0
// or 1. Returns a result named above. Row pointers do not survive this.
UPNP_API int32_t upnp_ini_file_create_property(
    uint32_t key, const char *name, const char *defaultValue,
    const char *comment, int32_t isList, int32_t hidden, int32_t disabled,
    int32_t needsRestart);

// Sets a value, hidden or set before; null goes back to the default. A
// disabled property stays as it is.
UPNP_API void upnp_ini_file_setPropertyByKey(uint32_t key, const char *value);

// Set the flags. Keys without a row are ignored.
UPNP_API void upnp_ini_file_disableProperty(uint32_t key, int32_t flag);
UPNP_API void upnp_ini_file_hideProperty(uint32_t key, int32_t flag);

// Puts a copy of name in front of the names of old INI files, which the start
// takes over.
UPNP_API void upnp_ini_file_add_default_file(const char *name);

// --- The file ---------------------------------------------------------------

// Reads the INI file. Values set before stay, hidden properties are not taken,
// unknown names are dropped, and a last line without a line end does not
// count. A UTF-16 file is remembered as such.
UPNP_API void upnp_ini_file_read_properties(void);

// Writes all visible properties, the defaults too, over the old file, unless
// "read_only" is set. UTF-16 if a UTF-16 file was read.
UPNP_API void upnp_ini_file_write_properties(void);

// --- Coded properties -------------------------------------------------------

// Hooks by which a product keeps properties out of plain sight. All optional.
typedef int32_t (*IniPredicate)(uint32_t key);       // is it coded?
typedef const char *(*IniNameHook)(uint32_t key);    // name in the file; borrowed
typedef uint32_t (*IniKeyHook)(const char *name);    // 0xFFFFFFFF: not known
typedef char *(*IniCodingHook)(const char *value);   // tracked; library frees

UPNP_API extern IniPredicate cb_is_restricted;
UPNP_API extern IniPredicate cb_is_encrypted;  // stored for the programs

// Stores the six hooks, before any thread is started. They run on the thread of
// the call that needs them, and may find g_ini_Section held by it. encodeValue
// may be given null and may give null.
// upnp_ini_file_get_all_properties asks isRestricted with a row's position in
// the table; everywhere else it is asked with the key.
UPNP_API void upnp_ini_set_obfuscation(IniPredicate  isRestricted,
                                       IniNameHook   nameFromKey,
                                       IniKeyHook    keyFromName,
                                       IniCodingHook decodeValue,
                                       IniCodingHook encodeValue,
                                       IniPredicate  isEncrypted);

UPNP_C_END
#endif
