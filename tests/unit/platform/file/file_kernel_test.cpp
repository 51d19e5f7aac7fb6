/* Folders that no disk holds. */
#include "platform/file/file.h"

#include "support/scratch.h"

#include <sys/sysmacros.h>

static bool is_kernels_own(const char *dir)
{
    struct stat about;
    EXPECT_EQ(stat(dir, &about), 0) << dir;
    return file_is_kernels_own(dir, &about);
}

TEST(file_kernel, knows_what_the_kernel_shows)
{
    EXPECT_TRUE(is_kernels_own("/proc"));
    EXPECT_TRUE(is_kernels_own("/proc/self"));
    EXPECT_TRUE(is_kernels_own("/sys"));
}

TEST(file_kernel, takes_what_a_disk_or_memory_holds)
{
    const scratch folder;
    EXPECT_FALSE(is_kernels_own(folder.path.c_str()));
    EXPECT_FALSE(is_kernels_own("/"));
    struct stat about = {};
    EXPECT_FALSE(file_is_kernels_own("none", &about));
}

TEST(file_kernel, the_folder_of_devices_is_told_by_its_device)
{
    struct stat devices, root;
    ASSERT_EQ(stat("/dev", &devices), 0);
    ASSERT_EQ(stat("/", &root), 0);
    const bool is_mounted = devices.st_dev != root.st_dev;
    EXPECT_EQ(file_is_kernels_own("/", &devices), is_mounted);
    EXPECT_EQ(is_kernels_own("/dev"), is_mounted);
    struct stat other = devices;
    other.st_dev = makedev(250, 250);
    EXPECT_FALSE(file_is_kernels_own("/", &other));
}
