// media_facts.h - what a media file tells about itself.
//
// Reading tags takes time, so the facts of the files seen last are kept for
// all connections. Threads: any.
#ifndef QM_SERVE_MEDIA_FACTS_H
#define QM_SERVE_MEDIA_FACTS_H

#include <cstdint>
#include <string>
#include <sys/stat.h>

namespace serve {

struct MediaFacts {
    std::string title;  // UTF-8; empty if the file tells none
    std::string artist;
    int32_t     duration_ms = 0;  // 0: not known, or a picture
    std::string profile;          // DLNA.ORG_PN; empty if none fits for sure
};

// The facts of an open file of this MIME type; what is no media has none. The
// descriptor stays open; its position may move.
MediaFacts media_facts(int fd, const struct stat &status, const char *type);

}

#endif
