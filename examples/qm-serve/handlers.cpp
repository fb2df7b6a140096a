// handlers.cpp - what is served under which URL.
//
// "/" and "/media/" are the list of the folder, "/media/a/" that of a folder
// in it, "/media/a/b.mp3" a file. DLNA fields may stand behind "/media/".
// "/item/ID.mp3" is a file by its ObjectID, with DLNA fields in front of it
// too.
// "/thumb/ID.jpg" is a small picture of that file, if there is a helper.
// "/admin" is the administration page.
// "/auth/ott" and "/ra?TOKEN" begin the session of a client from outside.
// "/upload/" takes files in, if uploads were asked for. The device's documents
// and its services have paths of their own.

#include "qm-serve/handlers.h"

#include "http/http.h"
#include "http/http_body.h"
#include "qm-serve/admin.h"
#include "qm-serve/byte_range.h"
#include "qm-serve/client_access.h"
#include "qm-serve/client_needs.h"
#include "qm-serve/connection_manager.h"
#include "qm-serve/content_directory.h"
#include "qm-serve/device.h"
#include "qm-serve/dlna_fields.h"
#include "qm-serve/file_cache.h"
#include "qm-serve/folder_watch.h"
#include "qm-serve/media_folder.h"
#include "qm-serve/media_type.h"
#include "qm-serve/object_id.h"
#include "qm-serve/pages.h"
#include "qm-serve/playlist_store.h"
#include "qm-serve/remote.h"
#include "qm-serve/stream.h"
#include "qm-serve/thumbnail.h"
#include "qm-serve/upload.h"
#include "qm-serve/url_text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <unistd.h>

static constexpr std::string_view media_url = "/media/";
static constexpr std::string_view item_url = "/item/";
static constexpr std::string_view thumb_url = "/thumb/";

// What the library makes of the URL that begins a session.
static constexpr std::string_view session_url = "/webbrowse";

static constexpr uint32_t ALL_METHODS =
    HTTP_METHOD_GET | HTTP_METHOD_HEAD | HTTP_METHOD_POST |
    HTTP_METHOD_SUBSCRIBE | HTTP_METHOD_UNSUBSCRIBE | HTTP_METHOD_NOTIFY;

// Filled before the server starts, then only read.
static serve::MediaFolder media;
static const char        *methods = "GET, HEAD, OPTIONS";

// --- Files and folders ------------------------------------------------------

// The head builder looks for DLNA fields in the whole URL. What it may find is
// what the server's links carry, and nothing that is part of a name.
static void leave_fields_only(HttpRequest *request, std::string_view fields)
{
    snprintf(request->url, sizeof(request->url), "%s%.*s", media_url.data(),
             static_cast<int>(fields.size()), fields.data());
}

static int32_t answer_file(HttpRequest *request, int fd,
                           const struct stat &status,
                           const std::string &relative)
{
    const char *type = serve::media_type(relative.c_str());

    serve::set_modified(request, status);
    if (serve::asks_for_time(request))
        request->duration_ms = serve::media_facts(fd, status, type).duration_ms;
    return serve::send_file(
        request, fd, status,
        serve::media_type_for(serve::needs_of(request), relative.c_str()));
}

// Folders have a "/" at the end of their paths, whether asked for so or not.
static int32_t answer_folder(HttpRequest *request, int fd, std::string relative)
{
    if (!relative.empty() && relative.back() != '/')
        relative += '/';
    return serve::send_page(
        request,
        serve::folder_page(relative, serve::list_folder(media, fd, relative)));
}

static int32_t send_failure(HttpRequest *request, int error)
{
    bool is_shortage = error == EMFILE || error == ENFILE || error == ENOMEM;

    return serve::send_error(request, is_shortage ? 500 : 404);
}

static int32_t answer_path(HttpRequest *request, const std::string &relative)
{
    struct stat status;
    int         fd = serve::recall_file(request, media, relative, status);

    if (fd != -1)
        return answer_file(request, fd, status, relative);

    fd = serve::open_inside(media, relative, status);
    if (fd == -1)
        return send_failure(request, errno);
    if (S_ISDIR(status.st_mode))
        return answer_folder(request, fd, relative);
    if (!serve::keep_file(request, relative, fd, status))
        return serve::send_error(request, 500);
    return answer_file(request, fd, status, relative);
}

// What stands behind the "." of an ID is there for the player.
static int32_t answer_item(HttpRequest *request, std::string_view name)
{
    auto object = serve::find_object(media, name.substr(0, name.find('.')));

    return object ? answer_path(request, object->relative)
                  : serve::send_error(request, 404);
}

// --- Requests ---------------------------------------------------------------

static bool is_options(const HttpRequest *request)
{
    return strncmp(request->header, "OPTIONS ", 8) == 0;
}

// Whether a body follows the head. No handler but the upload reads one.
static bool has_body(const HttpRequest *request)
{
    return HTTP_parse_header_size(request->header) > 0 ||
           (request->method != HTTP_METHOD_GET &&
            HTTP_parse_header_chunked(request->header));
}

static bool reads_only(const HttpRequest *request)
{
    return request->method == HTTP_METHOD_GET ||
           request->method == HTTP_METHOD_HEAD;
}

// Path is the decoded path of a GET, a HEAD or an OPTIONS.
static int32_t answer(HttpRequest *request, std::string_view path)
{
    bool   is_item = path.starts_with(item_url);
    size_t fields;

    if (is_options(request))
        return serve::send_options(request, methods);
    if (path == "/" || path == "/media" || request->url == session_url)
        return answer_path(request, "");
    if (serve::is_document(path))
        return serve::send_document(request, path);
    if (path.starts_with(thumb_url))
        return serve::answer_thumbnail(request, path.substr(thumb_url.size()));
    if (!is_item && !path.starts_with(media_url))
        return serve::send_error(request, 404);

    path.remove_prefix(is_item ? item_url.size() : media_url.size());
    fields = serve::dlna_fields_length(path);
    leave_fields_only(request, path.substr(0, fields));
    path.remove_prefix(fields);
    return is_item ? answer_item(request, path)
                   : answer_path(request, std::string(path));
}

// What is not there cannot be written, either. Who is denied may still read
// what the announcements lead to: clients ask on and on for documents that they
// do not get. Outside there are no announcements.
static int32_t handle_request(HttpRequest *request)
{
    std::string path = serve::request_path(request->header);

    serve::clear_modified(request);
    if (!serve::admit(request) &&
        (request->from_remote_listener || !serve::is_document(path)))
        return serve::turn_away(request);
    if (!reads_only(request) || has_body(request))
        return serve::refuse(request, reads_only(request) ? 400 : 404);
    return answer(request, path);
}

// --- Registration -----------------------------------------------------------

bool serve::register_folder(const char *path)
{
    if (!open_folder(media, path))
        return false;

    // Without this the library would look for an empty URL instead of "/".
    upnp_http_set_default_url("/");
    upnp_http_register_handler(handle_request, ALL_METHODS, media_url.data(), 0,
                               1);
    upnp_http_register_handler(handle_request, ALL_METHODS, item_url.data(), 0,
                               1);
    // Also for what is no path: the library's page for that knows no TLS.
    upnp_http_register_handler(handle_request, ALL_METHODS, "", 0, 1);
    open_playlist_store(media);
    register_admin();
    register_content_directory(media);
    register_connection_manager();
    start_folder_watch(media);
    return true;
}

bool serve::register_upload(const char *path, int32_t limit_mb)
{
    if (!open_upload_folder(path, limit_mb))
        return false;
    methods = "GET, HEAD, OPTIONS, POST";
    upnp_http_register_handler(admitted_at_home<handle_upload>,
                               HTTP_METHOD_POST, "/upload/", 0, 0);
    return true;
}

bool serve::register_thumbnails(const char *command)
{
    return open_thumbnails(command, media);
}

void serve::unregister_all()
{
    http_unregister_all_handlers();
    close_remote();
    stop_folder_watch();
    forget_content_directory();
    close_playlist_store();
    close_upload_folder();
    close_folder(media);
}
