// upnp_directory.cpp - walks through directories, and removes whole trees.
//
// A tree is removed with a list instead of recursion, and with one directory
// open at a time: neither the small stack of a thread nor the limit of open
// files bounds its depth.

#include "files/upnp_directory.h"

#include "files/upnp_file.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_mem_text.h"
#include "runtime/upnp_thread.h"
#include "runtime/upnp_thread_once.h"

#include <stdio.h>
#include <string.h>
#include <string_view>
#include <sys/stat.h>

// The longest composed path, with its NUL.
static constexpr size_t PATH_BYTES = 2048;

static constexpr int32_t REMOVAL_PRIORITY = 3;

namespace {
// A directory that is to be removed. Its subdirectories stand before it in the
// list, so that it is empty when its turn comes again.
struct Pending {
    Pending *next;
    char    *path;  // behind the record, in the same block
    bool     is_walked;
};
}

static void free_text(char **text)
{
    if (*text)
        upnp_free_impl(*text);
    *text = nullptr;
}

static bool is_passed_over(std::string_view name)
{
    return name.starts_with('.') || name == "lost+found";
}

// The path of an entry, empty if it is too long: cut off it would be the path
// of something else.
static std::string_view compose(char (&path)[PATH_BYTES], const char *directory,
                                const char *name)
{
    int length = snprintf(path, sizeof(path), "%s%c%s", directory, '/', name);

    if (length < 0 || static_cast<size_t>(length) >= sizeof(path))
        return {};
    return { path, static_cast<size_t>(length) };
}

// The type bits of a file's mode, 0 if the system cannot tell.
static mode_t type_of(const char *path, int (*ask)(const char *, struct stat *))
{
    struct stat status = {};

    return ask(path, &status) == 0 ? status.st_mode & S_IFMT : 0;
}

// Makes an entry the current one. False when out of memory.
static bool stand_on(FileFind *find, std::string_view path, const char *name)
{
    free_text(&find->path);
    free_text(&find->name);
    find->path = mem::new_text(path);
    find->name = upnp_strdup_impl(name);
    if (!find->path || !find->name)
        return false;

    find->isLink = type_of(find->path, lstat) == S_IFLNK;
    find->isDirectory = type_of(find->path, stat) == S_IFDIR;
    return true;
}

static FileFind *open_walk(const char *directory)
{
    std::string_view text = directory;
    auto *find = static_cast<FileFind *>(upnp_calloc_impl(1, sizeof(FileFind)));
    char  path[PATH_BYTES];

    if (!find)
        return nullptr;

    if (text.ends_with('/'))
        text.remove_suffix(1);
    find->directory = mem::new_text(text);
    if (find->directory && !compose(path, find->directory, ".").empty())
        find->dir = opendir(path);
    if (!find->dir) {
        upnp_file_find_close(find);
        return nullptr;
    }
    return find;
}

FileFind *upnp_file_find_first_file(const char *directory)
{
    if (!directory || std::string_view(directory).starts_with("/proc"))
        return nullptr;
    return upnp_file_find_next_file(open_walk(directory));
}

FileFind *upnp_file_find_next_file(FileFind *find)
{
    char path[PATH_BYTES];

    if (!find)
        return nullptr;

    while (const dirent *entry = readdir(find->dir)) {
        if (is_passed_over(entry->d_name))
            continue;
        std::string_view text = compose(path, find->directory, entry->d_name);
        if (text.empty())
            continue;
        if (!stand_on(find, text, entry->d_name))
            break;
        return find;
    }
    upnp_file_find_close(find);
    return nullptr;
}

void upnp_file_find_close(FileFind *find)
{
    if (!find)
        return;
    if (find->dir)
        closedir(find->dir);
    free_text(&find->directory);
    free_text(&find->path);
    free_text(&find->name);
    upnp_free_impl(find);
}

// The root as "" would be a slip of the caller.
static bool names_directory(const char *directory)
{
    return directory && *directory;
}

void upnp_file_empty_dir(const char *directory)
{
    if (!names_directory(directory))
        return;
    for (FileFind *find = upnp_file_find_first_file(directory); find;
         find = upnp_file_find_next_file(find))
        upnp_file_unlink(find->path);
}

static bool is_kept(const char *path, const char *keep_suffix)
{
    return keep_suffix && std::string_view(path).ends_with(keep_suffix);
}

// Puts a directory in front of the list. When out of memory it just stays.
static void push(Pending **list, const char *path)
{
    size_t bytes = strlen(path) + 1;
    auto *row = static_cast<Pending *>(mem::new_block(sizeof(Pending) + bytes));

    if (!row)
        return;
    row->next = *list;
    row->path = reinterpret_cast<char *>(row + 1);
    memcpy(row->path, path, bytes);
    row->is_walked = false;
    *list = row;
}

// Deletes the files of a directory and puts its subdirectories on the list.
static void walk(Pending **list, Pending *directory, const char *keep_suffix)
{
    directory->is_walked = true;
    for (FileFind *find = upnp_file_find_first_file(directory->path); find;
         find = upnp_file_find_next_file(find)) {
        if (find->isDirectory)
            push(list, find->path);
        else if (!is_kept(find->path, keep_suffix))
            upnp_file_unlink(find->path);
    }
}

static void remove_tree(const char *directory, const char *keep_suffix,
                        bool keeps_top)
{
    Pending *list = nullptr;

    if (!names_directory(directory))
        return;

    push(&list, directory);
    while (Pending *first = list) {
        if (!first->is_walked) {
            walk(&list, first, keep_suffix);
            continue;
        }
        list = first->next;
        if (list || !keeps_top)
            upnp_dir_unlink(first->path);
        upnp_free_impl(first);
    }
}

static void *remove_dir_recursively(void *path)
{
    upnp_init_thread("_remove_dir_recursively");
    upnp_file_remove_dir_tree(static_cast<char *>(path), nullptr);
    upnp_free_impl(path);
    upnp_end_thread();
    return nullptr;
}

void upnp_file_remove_dir_tree(const char *directory, const char *keepSuffix)
{
    remove_tree(directory, keepSuffix, false);
}

void upnp_file_remove_dir_sub_tree(const char *directory,
                                   const char *keepSuffix)
{
    remove_tree(directory, keepSuffix, true);
}

void upnp_file_remove_dir_tree_background(const char *directory)
{
    char *path;

    if (!names_directory(directory))
        return;
    path = upnp_strdup_impl(directory);
    if (path &&
        !thread_once::start(remove_dir_recursively, path, REMOVAL_PRIORITY))
        upnp_free_impl(path);
}
