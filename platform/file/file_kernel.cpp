/* file_kernel: folders that no disk holds. */
#include "platform/file/file.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>

/* Those that the header lacks. */
constexpr uint32_t fuse_control = 0x65735543, queues = 0x19800202, configuration = 0x62656570,
                   remote_calls = 0x67596969;

static constexpr uint32_t kernels_own[] = {
    PROC_SUPER_MAGIC,      SYSFS_MAGIC,         DEBUGFS_MAGIC,
    TRACEFS_MAGIC,         DEVPTS_SUPER_MAGIC,  CGROUP_SUPER_MAGIC,
    SECURITYFS_MAGIC,      SELINUX_MAGIC,       SMACK_MAGIC,
    PSTOREFS_MAGIC,        CGROUP2_SUPER_MAGIC, BPF_FS_MAGIC,
    EFIVARFS_MAGIC,        BINFMTFS_MAGIC,      HUGETLBFS_MAGIC,
    USBDEVICE_SUPER_MAGIC, NSFS_MAGIC,          SOCKFS_MAGIC,
    PIPEFS_MAGIC,          fuse_control,        queues,
    configuration,         remote_calls,
};

/* The folder of devices looks like any folder in memory; a device number of its own tells it. */
static bool is_devices(const struct stat *about)
{
    struct stat devices;
    struct stat root;
    return stat("/dev", &devices) == 0 && stat("/", &root) == 0 &&
           about->st_dev == devices.st_dev && devices.st_dev != root.st_dev;
}

bool file_is_kernels_own(const char *dir, const struct stat *about)
{
    struct statfs system;
    if (statfs(dir, &system) != 0)
        return false;
    const uint32_t type = static_cast<uint32_t>(system.f_type);
    const auto *end = std::end(kernels_own);
    return std::find(std::begin(kernels_own), end, type) != end || is_devices(about);
}
