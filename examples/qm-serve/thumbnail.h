// thumbnail.h - small pictures of files, made by a helper program.
//
// A picture is made when it is first asked for, and kept in the folder
// "thumbnails" of the program's data for as long as its file stays the same.
// Threads: any, but for the calls that open and close.
#ifndef QM_SERVE_THUMBNAIL_H
#define QM_SERVE_THUMBNAIL_H

#include "http/http.h"
#include "qm-serve/object_id.h"

#include <string>
#include <string_view>

namespace serve {

// Takes the helper into use, for files of a folder that stays. The command is
// a program and its arguments, among them the words "%i" for the file and "%o"
// for the JPEG picture that is to be made. False, with errno, if one of these
// is missing or there is no place for the pictures.
bool open_thumbnails(const char *command, const MediaFolder &folder);

// Ends the helpers that run: their requests are answered within a second.
void end_thumbnails();

// Whether there is a helper at all.
bool has_thumbnails();

// The URL of the picture, on the server of base_url, which ends in "/". Empty
// for objects that have none.
std::string thumbnail_url(const Object &object, const char *base_url);

// Answers a request for the picture of that name, "ID.jpg".
int32_t answer_thumbnail(HttpRequest *request, std::string_view name);

}

#endif
