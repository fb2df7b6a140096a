// fuzz.cpp - what the fuzz targets share: sockets and files of memory, put in
// the place of the system's calls by the linker's --wrap.

#include "fuzz/fuzz.h"

#include "clientdb/upnp_client_db.h"
#include "config/upnp_ini_file.h"
#include "documents/upnp_resource.h"
#include "runtime/upnp_mem.h"
#include "server/upnp_server.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sanitizer/asan_interface.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr size_t           LARGE_BYTES = 64 << 10;
static constexpr size_t           MOST_BYTES = 256 << 10;
static constexpr uint8_t          STRETCHED = 1;
static constexpr size_t           STRETCH = 250;
static constexpr int              DISK = 5000;  // the open file's number
static constexpr std::string_view directory = "/memory";

wire::In    wire::in;
std::string wire::out;
bool        disk::exists;
std::string disk::content;

static size_t           position;  // in the open file
static std::string_view client_types;

// Stacks of blocks, and hundreds of megabytes of freed ones, cost more than
// half of the speed: a finding is run again by itself, with other options. Lost
// blocks show in the account of the tracked heap.
extern "C" const char *__asan_default_options()
{
    return "malloc_context_size=0:quarantine_size_mb=8:detect_leaks=0";
}

// --- The heap and the clock --------------------------------------------------

// The sanitizer maps a large block and unmaps it again. So there is one that
// stays, and a second one finds no memory.
static char large[MOST_BYTES];
static bool large_is_taken;

extern "C" void *__real_malloc(size_t size);
extern "C" void  __real_free(void *block);

extern "C" void *__wrap_malloc(size_t size)
{
    if (size <= LARGE_BYTES)
        return __real_malloc(size);
    if (size > MOST_BYTES || large_is_taken)
        return nullptr;
    large_is_taken = true;
    __asan_poison_memory_region(large, sizeof(large));
    __asan_unpoison_memory_region(large, size);
    return large;
}

extern "C" void __wrap_free(void *block)
{
    if (block != large) {
        __real_free(block);
        return;
    }
    large_is_taken = false;
    __asan_poison_memory_region(large, sizeof(large));
}

extern "C" void __wrap_Sleep(int32_t) {}

// --- Sockets -----------------------------------------------------------------

extern "C" ssize_t __wrap_recv(int, void *buffer, size_t size, int)
{
    size_t count = std::min({ size, wire::in.left, wire::in.most });

    if (count == 0)
        return wire::in.at_end;
    memcpy(buffer, wire::in.next, count);
    wire::in.next = static_cast<const char *>(wire::in.next) + count;
    wire::in.left -= count;
    return static_cast<ssize_t>(count);
}

extern "C" ssize_t __wrap_send(int, const void *data, size_t size, int)
{
    wire::out.append(static_cast<const char *>(data), size);
    return static_cast<ssize_t>(size);
}

extern "C" ssize_t __wrap_sendto(int, const void *data, size_t size, int,
                                 const sockaddr *, socklen_t)
{
    return __wrap_send(0, data, size, 0);
}

// --- Files -------------------------------------------------------------------

extern "C" int     __real_open(const char *path, int flags, mode_t mode);
extern "C" int     __real_close(int file);
extern "C" int     __real_stat(const char *path, struct stat *status);
extern "C" int     __real_unlink(const char *path);
extern "C" ssize_t __real_read(int file, void *buffer, size_t size);
extern "C" ssize_t __real_write(int file, const void *data, size_t size);
extern "C" off64_t __real_lseek64(int file, off64_t offset, int whence);

static bool is_on_disk(const char *path)
{
    return std::string_view(path).starts_with(directory);
}

static int fail()
{
    errno = ENOENT;
    return -1;
}

extern "C" int __wrap_open(const char *path, int flags, mode_t mode)
{
    if (!is_on_disk(path))
        return __real_open(path, flags, mode);
    position = 0;
    disk::exists |= (flags & O_CREAT) != 0;
    return disk::exists ? DISK : fail();
}

extern "C" int __wrap_close(int file)
{
    return file == DISK ? 0 : __real_close(file);
}

extern "C" int __wrap_stat(const char *path, struct stat *status)
{
    if (!is_on_disk(path))
        return __real_stat(path, status);
    *status = {};
    status->st_size = static_cast<off_t>(disk::content.size());
    return disk::exists || path == directory ? 0 : fail();
}

extern "C" int __wrap_unlink(const char *path)
{
    if (!is_on_disk(path))
        return __real_unlink(path);
    disk::exists = false;
    disk::content.clear();
    return 0;
}

extern "C" ssize_t __wrap_read(int file, void *buffer, size_t size)
{
    if (file != DISK)
        return __real_read(file, buffer, size);
    size_t count = disk::content.copy(static_cast<char *>(buffer), size,
                                      std::min(position, disk::content.size()));
    position += count;
    return static_cast<ssize_t>(count);
}

extern "C" ssize_t __wrap_write(int file, const void *data, size_t size)
{
    if (file != DISK)
        return __real_write(file, data, size);
    disk::content.replace(std::min(position, disk::content.size()), size,
                          static_cast<const char *>(data), size);
    position += size;
    return static_cast<ssize_t>(size);
}

extern "C" off64_t __wrap_lseek64(int file, off64_t offset, int whence)
{
    if (file != DISK)
        return __real_lseek64(file, offset, whence);
    if (whence == SEEK_CUR)
        offset += static_cast<off64_t>(position);
    else if (whence == SEEK_END)
        offset += static_cast<off64_t>(disk::content.size());
    position = static_cast<size_t>(offset);
    return offset;
}

void disk::store(const char *data, size_t size)
{
    exists = true;
    content.assign(data, size);
}

// --- The targets' helpers ----------------------------------------------------

void fuzz::require(bool condition)
{
    if (!condition)
        abort();
}

fuzz::Text fuzz::make_text(const uint8_t *data, size_t size)
{
    Text text = { std::make_unique<char[]>(size + 1), size };

    std::copy_n(data, size, text.bytes.get());
    return text;
}

fuzz::Text fuzz::stretch(const uint8_t *data, size_t size)
{
    auto marks = static_cast<size_t>(std::count(data, data + size, STRETCHED));
    size_t whole = size + marks * (STRETCH - 1);
    Text   text = { std::make_unique<char[]>(whole + 1), whole };
    char  *out = text.bytes.get();

    for (size_t i = 0; i < size; ++i)
        out = data[i] == STRETCHED ? std::fill_n(out, STRETCH, 'a')
                                   : std::fill_n(out, 1, data[i]);
    return text;
}

static int32_t get_client_types(char *, uint32_t *size, void **data)
{
    *size = static_cast<uint32_t>(client_types.size());
    *data = *size ? upnp_malloc_impl(*size) : nullptr;
    if (*data)
        memcpy(*data, client_types.data(), *size);
    return *data != nullptr;
}

void fuzz::load_client_types(const char *text, size_t size)
{
    if (!upnp_ini_file_is_initialized()) {
        upnp_ini_file_init();
        upnp_ini_file_setPropertyByKey(INI_APPDATA, directory.data());
        register_upnp_resource_get_function(get_client_types);
        // A server that is not running looks at the first byte of a mark only.
        g_server_running = 1;
    }
    client_types = { text, size };
    upnp_client_db_init();
}
