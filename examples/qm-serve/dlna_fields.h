// dlna_fields.h - the DLNA fields that the URLs of media files carry.
//
// "/media/-PNMP3-OP11-CI0-FLAGS01700000/a/b.mp3" is the file "a/b.mp3". The
// library makes contentFeatures.dlna.org of the fields, and reads from -OP
// which kinds of seeking the file allows. They stand in front of the path, so
// that nothing in a name is taken for one of them.
#ifndef QM_SERVE_DLNA_FIELDS_H
#define QM_SERVE_DLNA_FIELDS_H

#include "qm-serve/media_facts.h"

#include <string>
#include <string_view>

namespace serve {

// The fields of a file with the "/" behind them; empty for what is no media.
std::string dlna_fields(const char *type, const MediaFacts &facts);

// The same as the fourth field of a protocolInfo; "*" for what is no media.
std::string dlna_parameters(const char *type, const MediaFacts &facts);

// How many bytes of a path behind "/media/" are fields; 0 for none.
size_t dlna_fields_length(std::string_view path);

}

#endif
