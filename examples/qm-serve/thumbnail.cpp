// thumbnail.cpp - small pictures of files, made by a helper program.
//
// The helper sees names of this program's making alone: that of a media file
// could hold blanks, quotes and what looks like an option.

#include "qm-serve/thumbnail.h"

#include "config/upnp_ini_file.h"
#include "files/upnp_directory.h"
#include "files/upnp_file.h"
#include "qm-serve/media_type.h"
#include "qm-serve/picture.h"
#include "qm-serve/stream.h"
#include "runtime/upnp_process.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <set>
#include <unistd.h>

using namespace serve;
namespace fs = std::filesystem;
using std::chrono::steady_clock;

// Helpers at a time.
static constexpr int MAX_JOBS = 4;

// A helper that takes longer is ended.
static constexpr auto PATIENCE = std::chrono::seconds(15);

// Pictures that are kept from one run to the next, some 100 MB of them.
static constexpr size_t MAX_KEPT = 10'000;

// Files that are not tried again.
static constexpr size_t MAX_FAILED = 4096;

static constexpr size_t MAX_ENDING = 8;

namespace {
struct Job {
    std::string              key;  // empty: the row is free
    steady_clock::time_point deadline;
};
}

// Set before the server starts, then only read.
static const MediaFolder *media;  // null: there is no helper
static std::string        program;
static std::string        parameters;
static std::string        kept_folder;  // with "/"

static std::mutex              jobs_lock;
static std::condition_variable job_ended;
static Job                     jobs[MAX_JOBS];
static std::set<std::string>   failed;  // these three guarded by jobs_lock
static std::atomic<bool>       is_ending;

// --- Names ------------------------------------------------------------------

// What a picture depends on. The key is also the beginning of its file's name.
static std::string key_of(const struct stat &status)
{
    char text[128];
    char key[17];

    snprintf(text, sizeof(text), "%ju %ju %jd %jd %ld",
             uintmax_t{ status.st_dev }, uintmax_t{ status.st_ino },
             intmax_t{ status.st_size }, intmax_t{ status.st_mtim.tv_sec },
             status.st_mtim.tv_nsec);
    snprintf(key, sizeof(key), "%016" PRIx64, name_key(text));
    return key;
}

static std::string kept_path(const std::string &key)
{
    return kept_folder + key + ".jpg";
}

// ".mp4" of "clip.mp4": helpers may look at it. Empty if it is not that simple.
static std::string ending_of(const std::string &name)
{
    std::string ending = fs::path(name).extension();
    bool        is_simple = ending.size() <= MAX_ENDING &&
                     std::all_of(ending.begin(), ending.end(), [](char c) {
                         return c == '.' || isalnum(static_cast<uint8_t>(c));
                     });

    return is_simple ? ending : "";
}

// A word in quotes is not taken apart at blanks.
static std::string word(const std::string &path)
{
    return path.find(' ') == path.npos ? path : '"' + path + '"';
}

static std::string filled(std::string_view words, const std::string &input,
                          const std::string &output)
{
    std::string text;

    for (size_t i = 0; i < words.size(); ++i) {
        std::string_view mark = words.substr(i, 2);
        bool             is_mark = mark == "%i" || mark == "%o";

        text += is_mark ? word(mark == "%i" ? input : output)
                        : std::string(1, words[i]);
        i += is_mark;
    }
    return text;
}

// --- Making -----------------------------------------------------------------

static int32_t is_over(int32_t job)
{
    return is_ending || steady_clock::now() > jobs[job].deadline;
}

static bool is_jpeg(const std::string &path)
{
    int  fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    bool result =
        fd != -1 && std::string_view(picture_profile(fd)).starts_with("JPEG");

    if (fd != -1)
        close(fd);
    return result;
}

// A picture gets its name when it is complete.
static bool run_helper(int32_t job, const std::string &file)
{
    std::string     beginning = kept_folder + jobs[job].key;
    std::string     input = beginning + "-in" + ending_of(file);
    std::string     output = beginning + "-out.jpg";
    std::error_code error;
    std::error_code none;
    bool            is_made;

    fs::remove(input, none);
    fs::create_symlink(file, input, error);
    is_made = !error &&
              system_call_waiting_prio(
                  program.c_str(), filled(parameters, input, output).c_str(), 0,
                  is_over, job) == 0 &&
              is_jpeg(output) &&
              rename(output.c_str(), kept_path(jobs[job].key).c_str()) == 0;
    fs::remove(output, none);
    fs::remove(input, none);
    return is_made;
}

static Job *find_job_locked(const std::string &key)
{
    Job *found = std::find_if(std::begin(jobs), std::end(jobs),
                              [&](const Job &row) { return row.key == key; });

    return found == std::end(jobs) ? nullptr : found;
}

// The number of a job for this picture, which goes back with end_job; -1 if
// there is nothing to do any more.
static int32_t begin_job(const std::string &key)
{
    std::unique_lock guard(jobs_lock);

    job_ended.wait(guard, [&] {
        return is_ending || (!find_job_locked(key) && find_job_locked(""));
    });
    if (is_ending || failed.contains(key) ||
        upnp_file_exists(kept_path(key).c_str()))
        return -1;

    Job *job = find_job_locked("");
    *job = { key, steady_clock::now() + PATIENCE };
    return static_cast<int32_t>(job - jobs);
}

static void end_job(int32_t job, bool is_made)
{
    std::lock_guard guard(jobs_lock);

    if (failed.size() == MAX_FAILED)
        failed.clear();
    if (!is_made && !is_ending)
        failed.insert(jobs[job].key);
    jobs[job].key.clear();
    job_ended.notify_all();
}

// The path of an open file, whatever links led to it.
static std::string path_of(int fd)
{
    std::error_code error;

    return fs::read_symlink("/proc/self/fd/" + std::to_string(fd), error);
}

// Makes the picture of an open file unless somebody else has done so.
static void make(int fd, const std::string &key)
{
    std::string file = path_of(fd);
    int32_t     job = file.empty() ? -1 : begin_job(key);

    if (job != -1)
        end_job(job, run_helper(job, file));
}

// --- Requests ---------------------------------------------------------------

static bool is_pictured(const Object &object)
{
    std::string_view type = media_type(object.entry.name.c_str());

    return !is_container(object.entry) &&
           (type.starts_with("image/") || type.starts_with("video/"));
}

// The open picture of a file; -1 if there is none.
static int open_thumbnail(const Object &object)
{
    struct stat status;
    int         file = open_inside(*media, object.relative, status);
    int         picture;

    if (file == -1)
        return -1;

    std::string key = key_of(status);
    std::string path = kept_path(key);
    picture = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (picture == -1) {
        make(file, key);
        picture = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    close(file);
    return picture;
}

// Pictures that are still wanted are made again.
static void limit_kept()
{
    std::error_code        error;
    fs::directory_iterator entry(kept_folder, error);
    size_t                 count = 0;

    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
        ++count;
    if (count > MAX_KEPT)
        upnp_file_empty_dir(kept_folder.c_str());
}

bool serve::open_thumbnails(const char *command, const MediaFolder &folder)
{
    std::string     words = command;
    const char     *data = upnp_ini_file_getString(INI_APPDATA);
    std::error_code error;

    kept_folder = fs::absolute(data ? data : "", error) / "thumbnails/";
    errno = EINVAL;
    if (words.find("%i") == words.npos || words.find("%o") == words.npos ||
        kept_folder.find('"') != kept_folder.npos)
        return false;
    fs::create_directories(kept_folder, error);
    errno = error.value();
    if (error)
        return false;
    limit_kept();

    program = words.substr(0, words.find(' '));
    parameters = words.substr(program.size());
    media = &folder;
    return true;
}

void serve::end_thumbnails()
{
    std::lock_guard guard(jobs_lock);

    is_ending = true;
    job_ended.notify_all();
}

bool serve::has_thumbnails()
{
    return media != nullptr;
}

std::string serve::thumbnail_url(const Object &object, const char *base_url)
{
    if (!has_thumbnails() || !is_pictured(object))
        return "";
    return std::string(base_url) + "thumb/" + object.id + ".jpg";
}

int32_t serve::answer_thumbnail(HttpRequest *request, std::string_view name)
{
    std::optional<Object> object;
    struct stat           status;
    int                   fd = -1;
    int32_t               result;

    if (has_thumbnails())
        object = find_object(*media, name.substr(0, name.find('.')));
    if (object && is_pictured(*object))
        fd = open_thumbnail(*object);
    if (fd == -1)
        return send_error(request, 404);

    result = fstat(fd, &status) == 0
                 ? send_file(request, fd, status, "image/jpeg")
                 : send_error(request, 500);
    close(fd);
    return result;
}
