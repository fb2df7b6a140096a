// handlers.cpp - what is served under which URL.
//
// "/" and "/media/" are the list of the folder, "/media/a/" that of a folder
// in it, "/media/a/b.mp3" a file.

#include "qm-serve/handlers.h"

#include "http/http.h"
#include "qm-serve/media_folder.h"
#include "qm-serve/media_type.h"
#include "qm-serve/pages.h"
#include "qm-serve/stream.h"
#include "qm-serve/url_text.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

static constexpr char media_url[] = "/media/";

// Filled before the server starts, then only read.
static serve::MediaFolder media;

// OPTIONS and every method that the library does not know come here as well.
// Their bodies are not read, so the connection ends.
static bool is_get_or_head(const HttpRequest *request)
{
    return strncmp(request->header, "GET ", 4) == 0 ||
           strncmp(request->header, "HEAD ", 5) == 0;
}

static int32_t refuse_method(HttpRequest *request)
{
    request->close_connection = 1;
    return serve::send_status(request, 405, "Allow: GET, HEAD\r\n");
}

// Links in a folder's page work with a "/" at the end of its URL only.
static int32_t redirect_to_folder(HttpRequest       *request,
                                  const std::string &relative)
{
    std::string location =
        "Location: " + (media_url + serve::percent_coded(relative)) + "/\r\n";

    return serve::send_status(request, 301, location.c_str());
}

static int32_t send_failure(HttpRequest *request, int error)
{
    switch (error) {
    case EACCES: return serve::send_status(request, 403, nullptr);
    case EMFILE:
    case ENFILE:
    case ENOMEM: return serve::send_status(request, 500, nullptr);
    default: return serve::send_status(request, 404, nullptr);
    }
}

static int32_t answer_path(HttpRequest *request, const std::string &relative)
{
    struct stat status;
    int         fd = serve::open_inside(media, relative, status);
    int32_t     result;

    if (fd == -1)
        return send_failure(request, errno);

    if (S_ISREG(status.st_mode)) {
        result = serve::send_file(request, fd, status,
                                  serve::media_type(relative.c_str()));
        close(fd);
        return result;
    }

    if (!relative.empty() && relative.back() != '/') {
        close(fd);
        return redirect_to_folder(request, relative);
    }
    return serve::send_page(
        request,
        serve::folder_page(relative, serve::list_folder(media, fd, relative)));
}

static int32_t handle_media(HttpRequest *request)
{
    std::string path = serve::request_path(request->header);

    if (!is_get_or_head(request))
        return refuse_method(request);
    if (!path.starts_with(media_url))
        return serve::send_status(request, 404, nullptr);
    return answer_path(request, path.substr(strlen(media_url)));
}

static int32_t handle_root(HttpRequest *request)
{
    std::string path = serve::request_path(request->header);

    if (!is_get_or_head(request))
        return refuse_method(request);
    if (path == "/")
        return answer_path(request, "");
    if (path == "/media")
        return serve::send_status(request, 301, "Location: /media/\r\n");
    return serve::send_status(request, 404, nullptr);
}

bool serve::register_folder(const char *path)
{
    if (!open_folder(media, path))
        return false;

    // Without this the library would look for an empty URL instead of "/".
    upnp_http_set_default_url("/");
    upnp_http_register_handler(handle_media, HTTP_METHOD_GET | HTTP_METHOD_HEAD,
                               media_url, 0, 1);
    upnp_http_register_handler(handle_root, HTTP_METHOD_GET | HTTP_METHOD_HEAD,
                               "/", 0, 1);
    return true;
}

void serve::unregister_folder()
{
    http_unregister_all_handlers();
    close_folder(media);
}
