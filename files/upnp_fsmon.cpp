// upnp_fsmon.cpp - hearing of changes in folders.
//
// Old kernels offer inotify as a device with an ioctl instead of system calls.

#include "files/upnp_fsmon.h"

#include "files/upnp_file.h"
#include "runtime/upnp_log.h"

#include <atomic>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

static constexpr uint32_t WATCHED = IN_CLOSE_WRITE | IN_MOVED_FROM |
                                    IN_MOVED_TO | IN_CREATE | IN_DELETE |
                                    IN_DELETE_SELF | IN_UNMOUNT;
static_assert(WATCHED == 0x27C8);

static constexpr unsigned long DEVICE_ADD_WATCH = 0x80085101;

namespace {
// What DEVICE_ADD_WATCH takes.
struct DeviceWatch {
    int32_t  fd;  // of the folder
    uint32_t mask;
};
}

// Whether the monitor came from the device.
static std::atomic<bool> is_device;

static int32_t add_device_watch(int32_t fd, const char *path)
{
    DeviceWatch watch = { open_read(path), WATCHED };
    int32_t     result;

    if (watch.fd == -1) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, "fsmon_add_watch",
                      "can not open watchdir %s!", path ? path : "");
        return -1;
    }
    result = ioctl(fd, DEVICE_ADD_WATCH, &watch);
    close_file(watch.fd);
    return result;
}

int32_t fsmon_init(void)
{
    int32_t fd = open_read("/dev/inotify");

    if (fd != -1)
        is_device = true;
    else
        fd = static_cast<int32_t>(syscall(SYS_inotify_init1, IN_CLOEXEC));
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "fsmon_init",
                  "fsmon_init returns %d", fd);
    return fd;
}

int32_t fsmon_add_watch(int32_t fd, const char *path)
{
    int32_t watch;

    if (is_device)
        return add_device_watch(fd, path);

    watch =
        static_cast<int32_t>(syscall(SYS_inotify_add_watch, fd, path, WATCHED));
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, "fsmon_add_watch",
                  "inotify_add_watch (%d, %s) returns %d", fd, path ? path : "",
                  watch);
    return watch;
}

void fsmon_release(int32_t fd)
{
    if (fd >= -1)
        close_file(fd);
}
