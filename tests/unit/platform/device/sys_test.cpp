/* Which device is taken, and what is asked of it. */
#include "platform/base/fault.h"
#include "platform/device/sys.h"
#include "unit/platform/manual_device.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

class sys : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        for (const char *name : {"ZERV_DEVICE", "DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"})
            unsetenv(name);
        setenv("ZERV_VIRTUAL_SCRIPT", "/dev/null", 1);
    }
    void TearDown() override { sys_exit(); }
};

TEST_F(sys, a_machine_without_a_screen_is_told_so_in_one_line)
{
    if (device_linux.fits())
        GTEST_SKIP() << "a console with a frame buffer has a screen";
    testing::internal::CaptureStderr();
    EXPECT_EQ(sys_init(), -1) << "a script is read only by whom it was named";
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(told.find("there is no screen: "), 0u) << told;
    EXPECT_EQ(told.find('\n'), told.size() - 1) << told;
    EXPECT_EQ(sys_exit(), 0);
}

TEST_F(sys, takes_the_device_that_is_named)
{
    setenv("ZERV_DEVICE", "virtual", 1);
    ASSERT_EQ(sys_init(), 0);
    EXPECT_STREQ(device_current->name, "virtual");
}

TEST_F(sys, any_sign_of_a_desktop_is_one)
{
    const auto said = [] {
        testing::internal::CaptureStderr();
        if (sys_init() == 0)
            (void)sys_exit();
        return testing::internal::GetCapturedStderr();
    };
    setenv("ZERV_DEVICE", "sdl", 1);
    if (said().find("there is no device") == 0)
        GTEST_SKIP() << "built without a window";
    unsetenv("ZERV_DEVICE");
    /* None of these has a window to offer, but each asks for one. */
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"}) {
        setenv(name, "nowhere", 1);
        EXPECT_NE(said().find("there is no screen"), 0u) << name;
        unsetenv(name);
    }
}

TEST_F(sys, an_empty_name_names_none)
{
    setenv("ZERV_DEVICE", "", 1);
    testing::internal::CaptureStderr();
    (void)sys_init(); /* what this machine has decides */
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("device \"\""), std::string::npos);
}

TEST_F(sys, time_goes_on_for_late_workers)
{
    setenv("ZERV_DEVICE", "virtual", 1);
    ASSERT_EQ(sys_init(), 0);
    EXPECT_EQ(sys_exit(), 0);
    EXPECT_NE(device_current, nullptr) << "a late worker may still ask for the time";
    EXPECT_EQ(clock_msec(), 1000000);
}

TEST_F(sys, fails_for_a_device_that_is_not_there)
{
    setenv("ZERV_DEVICE", "toaster", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(sys_init(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "there is no device \"toaster\"\n");
    EXPECT_EQ(sys_exit(), 0);
    EXPECT_EQ(sys_exit(), 0) << "closing what was never opened";
}

TEST_F(sys, faults_are_reported_after_the_real_work)
{
    setenv("ZERV_DEVICE", "virtual", 1);
    fault_set("sys_init");
    EXPECT_EQ(sys_init(), -1);
    fault_set("sys_exit");
    ASSERT_EQ(sys_init(), 0);
    EXPECT_EQ(sys_exit(), -1);
    EXPECT_EQ(sys_status(), 0);
    fault_set("");
    EXPECT_EQ(sys_exit(), 0);
}

TEST_F(sys, the_battery_is_a_percentage)
{
    device_current = nullptr;
    EXPECT_EQ(sys_get_battery_level(), 100);
    EXPECT_EQ(sys_status(), 0);
    device_current = &manual_device;
    const int32_t levels[][2] = {{57, 57}, {-3, 0}, {250, 100}};
    for (const auto &each : levels) {
        manual_battery = each[0];
        EXPECT_EQ(sys_get_battery_level(), each[1]);
    }
}
