// upnp_path.cpp - joins, splits and creates paths.

#include "files/upnp_file.h"

#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <cstring>
#include <string_view>

static bool is_separator(char c)
{
    return c == '/' || c == '\\';
}

// Where the first directory to be made may end. A drive is not one.
static char *behind_root(char *path)
{
    if (path[1] != ':')
        return path + 1;
    return path[2] == '/' ? path + 3 : path + 2;
}

// Whatever stands at path already, a file as well, counts as made.
static int32_t make_directory(const char *path)
{
    if (upnp_file_exists(path) || upnp_file_mkdir(path) == 0)
        return 0;

    upnp_log_impl(UPNP_LOG_WARNING, LOG_SYSTEM, "upnp_file_create_path",
                  "error creating directory: %s", path);
    return -1;
}

static int32_t make_directories(char *path, char *from)
{
    for (char *slash = strchr(from, '/'); slash;
         slash = strchr(slash + 1, '/')) {
        *slash = '\0';
        if (make_directory(path) == -1)
            return -1;
        *slash = '/';
    }
    return make_directory(path);
}

char *upnp_file_build_path(const char *directory, const char *name)
{
    std::string_view head = directory ? directory : "";
    std::string_view tail = name ? name : "";
    uint64_t         length;
    char            *path;

    if (head.empty() || tail.empty())
        return nullptr;

    if (is_separator(head.back()))
        head.remove_suffix(1);
    if (is_separator(tail.front()))
        tail.remove_prefix(1);

    length = head.size() + 1 + tail.size();
    if (length >= UINT32_MAX)
        return nullptr;

    path = static_cast<char *>(
        upnp_malloc_impl(static_cast<uint32_t>(length + 1)));
    if (!path)
        return nullptr;

    memcpy(path, head.data(), head.size());
    path[head.size()] = '/';
    memcpy(path + head.size() + 1, tail.data(), tail.size());
    path[length] = '\0';
    return path;
}

char *upnp_file_fullpath(const char *path)
{
    return to_unix_path(upnp_strdup_impl(path));
}

void upnp_file_split_path(const char *path, char **directory_out,
                          char **name_out)
{
    std::string_view text;
    size_t           separator;
    size_t           directory_length;

    if (directory_out)
        *directory_out = nullptr;
    if (name_out)
        *name_out = nullptr;
    if (!path || !*path)
        return;

    text = path;
    separator = text.find_last_of("/\\");
    directory_length = separator;

    // A name alone is handed out twice, but never without the name.
    if (separator == std::string_view::npos) {
        if (!name_out)
            return;
        *name_out = upnp_strdup_impl(path);
        if (directory_out)
            *directory_out = upnp_strdup_impl(path);
        return;
    }

    // The root cannot be cut off: "/file" is all directory. A drive root keeps
    // its separator: "C:/x" is "C:/" and "x".
    if (separator == 0)
        directory_length = text.size();
    else if (separator == 2 && text[1] == ':')
        directory_length = 3;

    if (directory_out) {
        *directory_out = upnp_strdup_impl(path);
        if (!*directory_out)
            return;
        (*directory_out)[directory_length] = '\0';
    }
    if (name_out && separator > 0 && path[separator + 1])
        *name_out = upnp_strdup_impl(path + separator + 1);
}

int32_t upnp_file_create_path(const char *path)
{
    char   *copy;
    int32_t result;

    if (!path || !*path)
        return -1;

    copy = upnp_strdup_impl(path);
    if (!copy) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "upnp_file_create_path",
                      "error creating directory - out of memory");
        return -1;
    }
    result = make_directories(copy, behind_root(copy));
    upnp_free_impl(copy);
    return result;
}

int32_t upnp_file_ensure_path_exists(const char *path)
{
    return upnp_file_exists(path) ? 0 : upnp_file_create_path(path);
}
