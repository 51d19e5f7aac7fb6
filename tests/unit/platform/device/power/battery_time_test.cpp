/* How often the machine is asked for its battery. */
#include "platform/device/power/battery.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

static int64_t clock_ms = -1; /* the machine's own until a test sets it */
static int looks = 0;

/* The path below the folder at hand that stands for one of the machine's. */
static std::string stand_in(const char *path)
{
    const std::string wanted = path, folder = "/sys/class/power_supply";
    return wanted.rfind(folder, 0) == 0 ? "machine" + wanted.substr(folder.size()) : wanted;
}

/* All three stand before the C library's own. */
extern "C" FILE *fopen(const char *path, const char *mode)
{
    static const auto next = reinterpret_cast<decltype(&fopen)>(dlsym(RTLD_NEXT, "fopen"));
    return next(stand_in(path).c_str(), mode);
}

extern "C" int clock_gettime(clockid_t id, timespec *to) noexcept
{
    if (clock_ms < 0 || id != CLOCK_MONOTONIC)
        return static_cast<int>(syscall(SYS_clock_gettime, id, to));
    *to = {clock_ms / 1000, clock_ms % 1000 * 1000000};
    return 0;
}

extern "C" DIR *opendir(const char *name)
{
    static const auto next = reinterpret_cast<decltype(&opendir)>(dlsym(RTLD_NEXT, "opendir"));
    looks += std::string(name) == "/sys/class/power_supply";
    return next(stand_in(name).c_str());
}

static void put(const char *path, const char *line)
{
    FILE *file = fopen(path, "w");
    ASSERT_NE(file, nullptr);
    fputs(line, file);
    fclose(file);
}

TEST(battery_time, is_asked_for_every_ten_seconds)
{
    ASSERT_EQ(system("rm -rf machine && mkdir -p machine/BAT0"), 0);
    put("machine/BAT0/type", "Battery\n");
    put("machine/BAT0/capacity", "0\n"); /* empty, not unknown */
    clock_ms = 1000;                     /* just after the machine has started */
    EXPECT_EQ(battery_level(), 0);
    EXPECT_EQ(looks, 1) << "the first time at once";
    put("machine/BAT0/capacity", "57\n");
    clock_ms += 9999;
    EXPECT_EQ(battery_level(), 0);
    EXPECT_EQ(looks, 1);
    clock_ms += 1;
    EXPECT_EQ(battery_level(), 57);
    EXPECT_EQ(looks, 2);
    EXPECT_EQ(battery_level(), 57);
    EXPECT_EQ(looks, 2);
    clock_ms = -1;
}
