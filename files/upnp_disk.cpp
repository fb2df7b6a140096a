// upnp_disk.cpp - the space of the volume that holds a path.

#include "files/upnp_disk.h"

#include "runtime/upnp_log.h"

#include <sys/statvfs.h>

using LogNumber = unsigned long long;

static constexpr char function[] = "upnp_get_disk_info";

static void log_fields(const char *path, const struct statvfs &volume)
{
    upnp_log_impl(
        UPNP_LOG_TRACE, LOG_SYSTEM, function,
        "statvfs returned the following information about the file system at "
        "\"%s\":\n"
        "    f_bsize : %llu\n"
        "    f_frsize : %llu\n"
        "    f_blocks : %llu\n"
        "    f_bfree : %llu\n"
        "    f_bavail : %llu\n"
        "    f_files : %llu\n"
        "    f_ffree : %llu\n"
        "    f_favail : %llu\n"
        "    f_fsid : %llu\n"
        "    f_flag : %X\n"
        "    f_namemax : %llu",
        path, LogNumber{ volume.f_bsize }, LogNumber{ volume.f_frsize },
        LogNumber{ volume.f_blocks }, LogNumber{ volume.f_bfree },
        LogNumber{ volume.f_bavail }, LogNumber{ volume.f_files },
        LogNumber{ volume.f_ffree }, LogNumber{ volume.f_favail },
        LogNumber{ volume.f_fsid }, static_cast<unsigned>(volume.f_flag),
        LogNumber{ volume.f_namemax });
}

int32_t upnp_get_disk_info(const char *path, uint64_t *total,
                           uint64_t *available)
{
    struct statvfs volume;

    if (!path || !total || !available)
        return UPNP_DISK_BAD_PARAMETER;

    if (statvfs(path, &volume) != 0) {
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM, function,
                      "statvfs failed (path: %s)", path);
        return UPNP_DISK_FAILED;
    }
    log_fields(path, volume);

    *total = uint64_t{ volume.f_frsize } * volume.f_blocks;
    *available = uint64_t{ volume.f_frsize } * volume.f_bavail;
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, function,
                  "Total space: %llu bytes. Available: %llu bytes",
                  LogNumber{ *total }, LogNumber{ *available });
    return UPNP_DISK_OK;
}
