// picture.h - what kind of picture a file is, and how large.
#ifndef QM_SERVE_PICTURE_H
#define QM_SERVE_PICTURE_H

namespace serve {

// The DLNA media profile of a JPEG or PNG picture, such as "JPEG_SM"; empty
// for other files and for pictures that fit in no profile. Never freed. Reads
// the first bytes at most; the position of fd stays.
const char *picture_profile(int fd);

}

#endif
