// upnp_resource.cpp - finds resources, and keeps the small ones in memory.
//
// An entry of the cache never changes once it is filled and is never dropped
// while the library lives, so its data is copied without the lock.

#include "documents/upnp_resource.h"

#include "config/upnp_app_dirs.h"
#include "files/upnp_file.h"
#include "runtime/upnp_lock.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_string.h"

#include <algorithm>
#include <string.h>

static constexpr int32_t CACHE_ENTRIES = 100;

// Zero bytes behind each block: one character of 16 bits.
static constexpr uint64_t TERMINATOR_BYTES = 2;

const char *const strAllowedExt[UPNP_RESOURCE_EXTENSIONS] = {
    "xml", "txt", "ico", "jpg", "png",
};

namespace {
struct CachedResource {
    char    *name;  // tracked, owned; null: the entry is free
    void    *data;  // tracked, owned
    uint32_t size;
};
}

// Filled from the front; guarded by cache_lock while cache_lock_ready is 1.
// The mutex lives as long as the process, as a thread may still wait for it.
static CachedResource            cache[CACHE_ENTRIES];
static constinit CriticalSection cache_lock = {
    PTHREAD_MUTEX_INITIALIZER, 0, 0,
};
static int32_t cache_lock_ready;  // read and written atomically

static UpnpResourceGetFunction get_function;

static bool lock_cache()
{
    if (!shared::load(cache_lock_ready))
        return false;
    EnterCriticalSection(&cache_lock);
    return true;
}

static void unlock_cache(bool is_held)
{
    if (is_held)
        LeaveCriticalSection(&cache_lock);
}

// The entry of this name, else the first free one, else the end.
static CachedResource *find_entry_locked(const char *name)
{
    return std::find_if(std::begin(cache), std::end(cache),
                        [name](const CachedResource &entry) {
                            return !entry.name || strcmp(entry.name, name) == 0;
                        });
}

// A zeroed block for size bytes and the terminator; null when out of memory.
static void *new_block(uint32_t size)
{
    uint64_t bytes = size + TERMINATOR_BYTES;

    return bytes <= UINT32_MAX
               ? upnp_calloc_impl(1, static_cast<uint32_t>(bytes))
               : nullptr;
}

// The path of a resource, or null without an executable directory. Caller
// frees.
static UpnpString *path_of(const char *name)
{
    const char *directory = upnp_ini_file_get_EXE_Dir();

    return directory ? upnp_string_sprintf(nullptr, "%s/resources/%s",
                                           directory, name)
                     : nullptr;
}

// Views and translated texts change while the product runs: never kept.
static bool may_be_cached(const char *name)
{
    const char *dot = strrchr(name, '.');

    return dot && !strstr(name, "strings-") && !strstr(name, "views/") &&
           std::any_of(std::begin(strAllowedExt), std::end(strAllowedExt),
                       [dot](const char *extension) {
                           return strcmp(dot + 1, extension) == 0;
                       });
}

static void add_to_cache_locked(const char *name, const void *data,
                                uint32_t size)
{
    CachedResource *entry = find_entry_locked(name);

    if (entry == std::end(cache)) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "add_to_cache",
                      "too many files (%d)", static_cast<int>(CACHE_ENTRIES));
        return;
    }
    if (entry->name)
        return;

    char *name_copy = upnp_strdup_impl(name);
    void *data_copy = name_copy ? upnp_malloc_impl(size) : nullptr;
    if (!data_copy) {
        if (name_copy)
            upnp_free_impl(name_copy);
        return;
    }
    memcpy(data_copy, data, size);
    *entry = { name_copy, data_copy, size };
}

// Reads the whole file: its block, and its size in *size_out; or null.
static void *read_file(const char *path, uint32_t *size_out)
{
    UpnpFileStat stat = {};
    UpnpFile    *file = nullptr;
    void        *data = nullptr;

    if (!upnp_is_file(path))
        return nullptr;
    file = upnp_file_open_read(path);
    if (!file)
        return nullptr;
    if (upnp_file_stat(path, &stat) != 0)
        goto out;

    data = new_block(static_cast<uint32_t>(stat.size));
    if (data) {
        *size_out = static_cast<uint32_t>(stat.size);
        upnp_file_read(file, data, *size_out);
    }
out:
    upnp_file_close(file);
    return data;
}

void upnp_resource_init(void)
{
    shared::store(cache_lock_ready, 1);

    bool is_held = lock_cache();
    std::fill(std::begin(cache), std::end(cache), CachedResource{});
    unlock_cache(is_held);
}

void upnp_resource_exit(void)
{
    bool is_held = lock_cache();

    for (CachedResource &entry : cache) {
        if (!entry.name)
            break;
        upnp_free_impl(entry.name);
        upnp_free_impl(entry.data);
        entry = {};
    }
    shared::store(cache_lock_ready, 0);
    unlock_cache(is_held);
}

void register_upnp_resource_get_function(UpnpResourceGetFunction function)
{
    get_function = function;
}

int32_t upnp_resource_exists(const char *name)
{
    UpnpString *path = name ? path_of(name) : nullptr;
    int32_t     exists = path && upnp_file_exists(path->buffer);

    upnp_string_safe_free(&path);
    return exists;
}

int32_t upnp_resource_get(char *name, uint32_t *size_out, void **data_out)
{
    if (size_out)
        *size_out = 0;
    if (data_out)
        *data_out = nullptr;
    if (!name || !size_out || !data_out)
        return 0;

    char *query = strrchr(name, '?');
    if (query)
        *query = '\0';
    if (get_function)
        return get_function(name, size_out, data_out);

    bool            is_held = lock_cache();
    CachedResource *entry = find_entry_locked(name);
    bool            is_cached = entry != std::end(cache) && entry->name;
    unlock_cache(is_held);
    if (is_cached) {
        *size_out = entry->size;
        *data_out = new_block(entry->size);
        if (*data_out)
            memcpy(*data_out, entry->data, entry->size);
        return *data_out != nullptr;
    }

    UpnpString *path = path_of(name);
    if (path)
        *data_out = read_file(path->buffer, size_out);
    upnp_string_safe_free(&path);
    if (!*data_out)
        return 0;

    if (*size_out != 0 && may_be_cached(name)) {
        is_held = lock_cache();
        add_to_cache_locked(name, *data_out, *size_out);
        unlock_cache(is_held);
    }
    return 1;
}
