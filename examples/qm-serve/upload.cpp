// upload.cpp - files that clients send into a folder.

#include "qm-serve/upload.h"

#include "http/http_body.h"
#include "http/http_pages.h"
#include "qm-serve/client_needs.h"
#include "qm-serve/file_cache.h"
#include "qm-serve/media_type.h"
#include "qm-serve/stream.h"
#include "qm-serve/text_file.h"
#include "qm-serve/url_text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

static constexpr std::string_view upload_url = "/upload/";

// Leaves room for a number within the 255 bytes of a file name.
static constexpr size_t MAX_NAME_BYTES = 200;
static constexpr int    MAX_NUMBER = 9999;

// Filled before the server starts, then only read.
static std::string folder_path;
static int         folder_fd = -1;
static int32_t     limit_mb;

static std::atomic<uint32_t> upload_count;

// --- Names ------------------------------------------------------------------

static bool is_unfit(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == '/' || c == 0x7F;
}

// What stands behind "/upload/", if it can be the name of a visible file.
static std::string file_name_of(const std::string &path)
{
    std::string name = path.substr(std::min(upload_url.size(), path.size()));

    if (!path.starts_with(upload_url) || name.empty() || name[0] == '.' ||
        name.size() > MAX_NAME_BYTES ||
        std::any_of(name.begin(), name.end(), is_unfit))
        return "";
    return name;
}

// "song.mp3" becomes "song (2).mp3".
static std::string numbered(const std::string &name, int number)
{
    size_t dot = std::min(name.rfind('.'), name.size());

    return name.substr(0, dot) + " (" + std::to_string(number) + ")" +
           name.substr(dot);
}

// --- Files ------------------------------------------------------------------

// Creates the file for a body that is still coming in and returns its name,
// which begins with a dot, as that of no finished file does; empty on failure.
// A name may be taken by what an earlier run has left.
static std::string create_partial()
{
    std::string name;
    int         fd;

    do {
        name = ".upload-" + std::to_string(getpid()) + "-" +
               std::to_string(upload_count++) + ".part";
        fd = openat(folder_fd, name.c_str(),
                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    } while (fd == -1 && errno == EEXIST);
    if (fd == -1)
        return "";
    close(fd);
    return name;
}

// Fails where the name is taken. Some file systems know no such rename, others
// no links.
static bool rename_to_new(const char *partial, const char *name)
{
    return renameat2(folder_fd, partial, folder_fd, name, RENAME_NOREPLACE) ==
               0 ||
           (errno == EINVAL &&
            linkat(folder_fd, partial, folder_fd, name, 0) == 0);
}

// Gives a finished file its name or the next free one, which comes back; empty
// on failure.
static std::string publish(const std::string &partial, const std::string &name)
{
    std::string chosen = name;

    for (int number = 2; number <= MAX_NUMBER; ++number) {
        if (rename_to_new(partial.c_str(), chosen.c_str()))
            return chosen;
        if (errno != EEXIST)
            break;
        chosen = numbered(name, number);
    }
    return "";
}

// A peer that goes away in the middle of a chunked body looks like its end.
// One that has sent all of it still waits for the answer.
static bool peer_has_gone(int32_t socket)
{
    char    byte;
    ssize_t count = recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);

    return count == 0 || (count == -1 && errno != EAGAIN);
}

// Receives the body; the name of its file, empty on failure.
static std::string receive(HttpRequest *request, const std::string &name)
{
    std::string partial = create_partial();
    std::string path = folder_path + "/" + partial;
    std::string chosen;

    if (partial.empty())
        return "";
    if (HTTP_receive_file(request->socket, request->header, path.c_str(),
                          limit_mb) &&
        !peer_has_gone(request->socket))
        chosen = publish(partial, name);
    unlinkat(folder_fd, partial.c_str(), 0);
    return chosen;
}

// --- Exported ---------------------------------------------------------------

// The library counts a chunk when it is stored, so one huge chunk would pass
// its limit. The system's own stops the write in the middle.
static void limit_file_size()
{
    rlimit limit = {};

    if (limit_mb < 1 || getrlimit(RLIMIT_FSIZE, &limit) == -1)
        return;
    limit.rlim_cur =
        std::min(static_cast<rlim_t>(limit_mb) << 20, limit.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
}

bool serve::open_upload_folder(const char *path, int32_t limit)
{
    char *real = realpath(path, nullptr);

    if (!real)
        return false;
    folder_path = real;
    free(real);
    limit_mb = limit;
    limit_file_size();
    folder_fd = open(folder_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return folder_fd != -1;
}

void serve::close_upload_folder()
{
    if (folder_fd != -1)
        close(folder_fd);
    folder_fd = -1;
    folder_path.clear();
}

const std::string &serve::upload_folder()
{
    return folder_path;
}

bool serve::store_upload(const std::string &name, std::string_view text)
{
    bool        is_fit = !file_name_of(std::string(upload_url) + name).empty();
    std::string partial = is_fit ? create_partial() : "";
    bool        is_stored;

    if (partial.empty())
        return false;
    is_stored = write_text(folder_path + "/" + partial, text) &&
                !publish(partial, name).empty();
    unlinkat(folder_fd, partial.c_str(), 0);
    return is_stored;
}

int32_t serve::handle_upload(HttpRequest *request)
{
    std::string name = file_name_of(request_path(request->header));

    clear_modified(request);
    if (needs_of(request).known_uploads && !is_media(media_type(name.c_str())))
        return refuse(request, 400);
    // With a Content-Length the library waits until the peer closes.
    if (name.empty() || !HTTP_parse_header_chunked(request->header))
        return refuse(request, 400);

    name = receive(request, name);
    if (name.empty())
        return refuse(request, 500);
    request->mime_type = "text/plain; charset=utf-8";
    return HTTP_send_error_message(request, 201, (name + "\n").c_str());
}
