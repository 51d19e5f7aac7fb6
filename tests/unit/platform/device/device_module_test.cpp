/* Devices that are files beside the program. */
#include "platform/base/device.h"
#include "platform/device/device_module.h"

#include <climits>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

/* The folder of this program, where modules are looked for. */
static std::string own_folder()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string whole(path, length > 0 ? static_cast<size_t>(length) : 0);
    return whole.substr(0, whole.rfind('/') + 1);
}

static std::string told_of(const char *file)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(device_module_load(file), nullptr);
    return testing::internal::GetCapturedStderr();
}

TEST(device_module, one_that_is_missing_is_told_in_one_line)
{
    EXPECT_EQ(told_of("zerv-device-none.so"),
              "there is no zerv-device-none.so beside the program\n");
}

TEST(device_module, a_file_that_is_no_library_is_told_in_one_line)
{
    const std::string name = "zerv-device-text.so", path = own_folder() + name;
    std::ofstream(path) << "not a library";
    const std::string told = told_of(name.c_str());
    EXPECT_EQ(told.find(name + " cannot be used: "), 0u) << told;
    EXPECT_EQ(told.find('\n'), told.size() - 1) << told;
    unlink(path.c_str());
}

TEST(device_module, a_library_that_holds_no_device_is_refused)
{
    EXPECT_EQ(
        told_of("zerv-device-other.so"),
        "zerv-device-other.so cannot be used: it belongs to another version of the program\n");
}

TEST(device_module, one_of_another_version_is_refused)
{
    EXPECT_EQ(told_of("zerv-device-old.so"),
              "zerv-device-old.so cannot be used: it belongs to another version of the program\n");
}

TEST(device_module, one_with_another_record_is_refused)
{
    EXPECT_EQ(
        told_of("zerv-device-short.so"),
        "zerv-device-short.so cannot be used: it belongs to another version of the program\n");
}

TEST(device_module, one_that_fits_is_handed_out)
{
    const device *loaded = device_module_load("zerv-device-fits.so");
    ASSERT_NE(loaded, nullptr);
    EXPECT_STREQ(loaded->name, "fits");
}
