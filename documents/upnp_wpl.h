// upnp_wpl.h - playlists, kept in memory by id, and their file form, WPL.
//
// A playlist has a title, a type, a source and a list of items. Title and type
// together tell it apart: making or reading one that is there already finds or
// refreshes that one. Ids count up from 1 and are never used twice in a
// process. All playlists stay in memory until they are deleted; nothing is
// read at start, and nothing is written but by upnp_wpl_flush.
//
// An item belongs to the caller until it is added. Texts, items and arrays
// that are handed out are copies: the caller frees texts and arrays with
// upnp_free_impl, items with upnp_wpl_free_item.
//
// Results: a call that returns a number without saying what it means returns
// UPNP_WPL_OK, or UPNP_WPL_FAILED for a null argument, an unknown id, a track
// or an item that is not there, and when out of memory. What failed changed
// nothing. An output of a failed call stays as it was.
//
// Threads: any, between upnp_wpl_init and upnp_wpl_exit. One lock guards all
// playlists and is held while a file is read or written. Outside these two
// every call logs a critical message, and goes on without the lock if that
// does not end the process. A single item belongs to one thread at a time.
#ifndef DOCUMENTS_UPNP_WPL_H
#define DOCUMENTS_UPNP_WPL_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_string.h"
#include <stdint.h>

UPNP_C_BEGIN

enum {
    UPNP_WPL_OK            = 0,
    UPNP_WPL_OUT_OF_MEMORY = 8,   // of upnp_wpl_flush alone
    UPNP_WPL_FAILED        = 14
};

// Types are labels; a file names them by these letters.
enum { WPL_TYPE_M = 1, WPL_TYPE_P, WPL_TYPE_V, WPL_TYPE_X };

// Where a playlist comes from.
enum {
    WPL_SOURCE_UNKNOWN,
    WPL_SOURCE_FILE,
    WPL_SOURCE_ITUNES,
    WPL_SOURCE_CDS,
    WPL_SOURCE_ONLINE
};

typedef struct WplItemAttribute {
    char *name;   // owned
    char *value;  // owned
} WplItemAttribute;

// One media entry. All that it holds are tracked blocks.
typedef struct WplItem {
    char             *src;         // location or file name; owned
    WplItemAttribute *attributes;  // owned; may be null
    uint32_t          attribute_count;
} WplItem;

// Makes the text that stands in a file for an item's src: a tracked text, which
// is freed, or null for an empty one. It runs under the lock of the playlists
// and must not change them.
typedef char *(*WplSrcFilter)(void *context, const char *src);

// --- Start and end -----------------------------------------------------------

// Open and close the store; both may be repeated. Neither touches a playlist.
UPNP_API void upnp_wpl_init(void);
UPNP_API void upnp_wpl_exit(void);

// --- Playlists ---------------------------------------------------------------

// Makes a playlist without items from copies of the texts and gives its id.
// generator (the program that made it) and orig_filename may be null; type is
// taken as it is. If there is one of that title and type its id is given, and
// it stays as it is, but source WPL_SOURCE_CDS becomes its source.
UPNP_API uint32_t upnp_wpl_create_playlist(const char *title, uint32_t type,
                                           uint32_t    source,
                                           const char *generator,
                                           const char *orig_filename,
                                           uint32_t   *out_id);

// Releases a playlist, and deletes its file, unless that is the very file it
// was read from: the file stays if orig_filename is its path or null, and the
// source is neither WPL_SOURCE_CDS nor WPL_SOURCE_UNKNOWN.
UPNP_API uint32_t upnp_wpl_delete_playlist(uint32_t id);

// Replaces the title; null clears it. A playlist without a title is found by
// its id alone and cannot be written.
UPNP_API uint32_t upnp_wpl_rename_playlist(uint32_t id, const char *title);

// Sets the type, 1 to 4; any other fails.
UPNP_API uint32_t upnp_wpl_set_playlist_type(uint32_t id, uint32_t type);

// Gives what is asked for: every output may be null. A text that the playlist
// does not have leaves its output as it was. out_path is where the playlist's
// file stands or is to stand, out_count the number of items.
UPNP_API uint32_t upnp_wpl_get_playlist_properties(
    uint32_t id, char **out_title, uint32_t *out_type, uint32_t *out_source,
    char **out_generator, char **out_orig_filename, char **out_path,
    uint32_t *out_count);

// Walks over the ids in use, in rising order. first gives the lowest and a
// position in *state, next the following ones. 0 at the end, and for null.
// The walk stands changes: it keeps nothing but the position. If first gives 0
// *state is null, else the caller ends with release, also behind a 0 of next.
UPNP_API uint32_t upnp_wpl_find_first_playlist(void **state);
UPNP_API uint32_t upnp_wpl_find_next_playlist(void **state);

// Frees *state and stores null there. Null arguments do nothing.
UPNP_API void upnp_wpl_find_playlist_release(void **state);

// --- Items of a playlist; a track is a position, counted from 0 --------------

// Appends item, which needs a src. On success its contents belong to the
// playlist and the record is gone; on failure it stays the caller's.
UPNP_API uint32_t upnp_wpl_add_item(uint32_t id, WplItem *item);

// A copy of the item at track, or null.
UPNP_API WplItem *upnp_wpl_get_item_by_track(uint32_t id, uint32_t track);

// Walks over the items: copies, one a call, null at the end, for null, when
// out of memory and once the playlist is deleted. *state is set by first for
// every known id, also for a playlist without items; the caller ends with
// release. The walk keeps id and position alone, so that a removal in front
// of it makes it skip an item.
UPNP_API WplItem *upnp_wpl_find_first_playlist_item(uint32_t id, void **state);
UPNP_API WplItem *upnp_wpl_find_next_playlist_item(void **state);

// Frees *state and stores null there. Null arguments do nothing.
UPNP_API void upnp_wpl_find_playlist_item_release(void **state);

// Replaces the src of the item at track.
UPNP_API uint32_t upnp_wpl_set_item_src(uint32_t id, uint32_t track,
                                        const char *src);

// Moves the item at from, counted from 0, to the place to, counted from 1.
// Equal numbers move nothing, although they name two places; to 0 moves
// nothing either. of a, b, c, d: (0, 3) gives b, c, a, d; (3, 1) d, a, b, c.
UPNP_API uint32_t upnp_wpl_set_item_track(uint32_t id, uint32_t from,
                                          uint32_t to);

// Remove one item: that at track, or the first one of that exact src, which is
// given itself or as that of item. item stays the caller's.
UPNP_API uint32_t upnp_wpl_remove_item_by_track(uint32_t id, uint32_t track);
UPNP_API uint32_t upnp_wpl_remove_item_by_file(uint32_t id, const char *src);
UPNP_API uint32_t upnp_wpl_remove_item(uint32_t id, const WplItem *item);

// --- Single items, which are the caller's ------------------------------------

// An item with a copy of src and no attributes. Null for null and when out of
// memory.
UPNP_API WplItem *upnp_wpl_create_item(const char *src);

// Releases an item and all it holds. May be null.
UPNP_API void upnp_wpl_free_item(WplItem *item);

// Appends a pair of copies. There is no test for doubles: of several values of
// one name the first is read.
UPNP_API uint32_t upnp_wpl_add_item_attribute(WplItem *item, const char *name,
                                              const char *value);

// The same for the name "title". A second title is not read.
UPNP_API uint32_t upnp_wpl_set_item_title(WplItem *item, const char *title);

// A copy of the first value of that exact name, or null.
UPNP_API char *upnp_wpl_get_item_attribute(const WplItem *item,
                                           const char    *name);
UPNP_API char *upnp_wpl_get_item_title(const WplItem *item);

// --- Cache: a number of the caller's for each item ---------------------------

// Keeps a copy of count values, until items are added, removed or moved. Does
// nothing unless count is the number of items, and when out of memory.
UPNP_API void upnp_wpl_set_cache(uint32_t id, uint32_t count,
                                 const uint32_t *values);

// Gives a copy of the values that are kept. Leaves *out_values as it was if
// there are none or count is not the number of items.
UPNP_API void upnp_wpl_get_cache(uint32_t id, uint32_t count,
                                 uint32_t **out_values);

// --- WPL texts and files -----------------------------------------------------

// Append the playlist as WPL to string, a record of the caller's that stays
// valid also when they fail. They fail for a playlist without a title. No value
// is escaped: a title with "<" cannot be read back. A null filter leaves every
// src as it is.
UPNP_API uint32_t upnp_wpl_convert_to_xml(uint32_t id, UpnpString *string);
UPNP_API uint32_t upnp_wpl_convert_to_xml_with_filter(uint32_t     id,
                                                      UpnpString  *string,
                                                      WplSrcFilter filter,
                                                      void        *context);

// Makes a playlist of a WPL text. If there is one of its title and type, that
// one takes over items and source, and the generator if the text has one. An
// item's attributes come in reverse order. Fails for a text without a title.
UPNP_API uint32_t upnp_wpl_convert_from_xml(uint32_t         *out_id,
                                            const UpnpString *string);

// Reads a WPL file. With *id_inout 0 it makes or refreshes a playlist, as
// above, and gives its id; a new one keeps path as the place of its file,
// unless it comes from iTunes. Else it reloads the playlist of that id, which
// keeps its title; a file of another title whose source is WPL_SOURCE_CDS is
// then written anew under the title kept.
UPNP_API uint32_t upnp_wpl_create_playlist_from_file(const char *path,
                                                     uint32_t   *id_inout);

// Writes the playlist to its file: that of its path, else a new one in
// directory, named after the title with "#" for blanks and for / \ ? : and *.
// A path once made is kept, also when the rest fails. A file that exists is
// replaced only for source WPL_SOURCE_CDS, and never when it is the playlist's
// orig_filename. A playlist without a title, but with a path, writes an empty
// file. UPNP_WPL_OUT_OF_MEMORY if no name could be made of the title, as when
// there is neither title nor path. A write that the disk refuses is not
// reported. out_path, which may be null, receives the path on success, unless
// memory did not suffice to make one.
UPNP_API uint32_t upnp_wpl_flush(uint32_t id, const char *directory,
                                 char **out_path);

UPNP_C_END
#endif
