// upnp_wpl_text.h - a playlist as WPL text, both ways.
#ifndef DOCUMENTS_UPNP_WPL_TEXT_H
#define DOCUMENTS_UPNP_WPL_TEXT_H

#include "documents/upnp_wpl_store.h"

#include <stdint.h>

namespace wpl {

// The words of a file for the types and sources, which count from 1. Anything
// else is written as the first.
using Words = const char *const[4];
inline constexpr Words type_words = { "M", "P", "V", "X" };
inline constexpr Words source_words = { "file", "iTunes", "CDS", "online" };

// Appends the text and returns the record to use from then on, as the string
// calls do. A null filter leaves every src as it is. The playlist has a title.
UpnpString *append_text(UpnpString *str, const WplPlaylist *playlist,
                        WplSrcFilter filter, void *context);

// Reads a text. False for one that cannot be parsed, a null one included, and
// when out of memory. A text without a title succeeds, but *playlist is null.
bool parse_text(const char *text, WplPlaylist **playlist);

}

#endif
