/* How often the machine is asked for its battery. */
#include "platform/device/power/battery.h"

#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

static int64_t clock_ms = -1; /* the machine's own until a test sets it */
static int looks = 0;

/* Both stand before the C library's own. */
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
    return next(name);
}

TEST(battery_time, is_asked_for_every_ten_seconds)
{
    clock_ms = 1000; /* just after the machine has started */
    EXPECT_GE(battery_level(), 0);
    EXPECT_EQ(looks, 1) << "the first time at once";
    clock_ms += 9999;
    EXPECT_GE(battery_level(), 0);
    EXPECT_EQ(looks, 1);
    clock_ms += 1;
    EXPECT_GE(battery_level(), 0);
    EXPECT_EQ(looks, 2);
    EXPECT_GE(battery_level(), 0);
    EXPECT_EQ(looks, 2);
    clock_ms = -1;
}
