// tag_reader.h - reads tags, durations and media profiles out of files.
#ifndef QM_SERVE_TAG_READER_H
#define QM_SERVE_TAG_READER_H

#include "qm-serve/media_facts.h"

namespace serve {

// The facts of a file of this MIME type. Closes the descriptor. A file made
// for the purpose may crash this: see facts_process.h.
MediaFacts read_facts(int fd, const char *type);

}

#endif
