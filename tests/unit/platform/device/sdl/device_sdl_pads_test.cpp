/* The desktop window and pads that come and go; and a call that wakes it once. */
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/device/sys.h"
#include "platform/draw/fb.h"
#include "platform/input/key.h"
#include "support/x_server.h"

#include <SDL.h>
#include <chrono>
#include <gtest/gtest.h>

/* What the message bus keeps to its end is not ours to free. */
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libdbus-1";
}

struct device_sdl_pads : testing::Test {
    void SetUp() override
    {
        static const x_server server;
        ASSERT_NE(server.name, "") << "Xvfb does not start";
        setenv("DISPLAY", server.name.c_str(), 1);
        setenv("SDL_VIDEODRIVER", "x11", 1);
        setenv("ZERV_DEVICE", "sdl", 1);
        ASSERT_EQ(sys_init(), 0);
        ASSERT_EQ(key_open(), 0);
        ASSERT_EQ(fb_open(320, 240), 0);
        (void)pass();
    }
    void TearDown() override
    {
        key_close();
        fb_close();
        EXPECT_EQ(sys_exit(), 0);
    }
    static key_report pass()
    {
        key_report report;
        key_check(&report);
        return report;
    }
    /* Plugged in and seen. */
    static SDL_Joystick *plug_in(int *index)
    {
        *index = SDL_JoystickAttachVirtual(SDL_JOYSTICK_TYPE_GAMECONTROLLER,
                                           SDL_CONTROLLER_AXIS_MAX, SDL_CONTROLLER_BUTTON_MAX, 0);
        EXPECT_GE(*index, 0) << SDL_GetError();
        (void)pass();
        return SDL_JoystickFromInstanceID(SDL_JoystickGetDeviceInstanceID(*index));
    }
};

TEST_F(device_sdl_pads, that_are_pulled_out_leave_their_place_to_others)
{
    for (int round = 0; round < 20; round++) {
        int index = -1;
        SDL_Joystick *pad = plug_in(&index);
        ASSERT_NE(pad, nullptr) << "not opened in round " << round;
        ASSERT_EQ(SDL_JoystickSetVirtualButton(pad, SDL_CONTROLLER_BUTTON_A, SDL_PRESSED), 0);
        EXPECT_EQ(pass().pressed, key_select) << round;
        ASSERT_EQ(SDL_JoystickDetachVirtual(index), 0);
        (void)pass();
        EXPECT_EQ(pass().held, 0u) << "nothing stays held";
    }
}

TEST_F(device_sdl_pads, one_that_is_pulled_out_leaves_the_other)
{
    int first = -1, second = -1;
    ASSERT_NE(plug_in(&first), nullptr);
    SDL_Joystick *kept = plug_in(&second);
    ASSERT_NE(kept, nullptr);
    ASSERT_EQ(SDL_JoystickDetachVirtual(first), 0);
    (void)pass();
    ASSERT_EQ(SDL_JoystickSetVirtualButton(kept, SDL_CONTROLLER_BUTTON_B, SDL_PRESSED), 0);
    EXPECT_EQ(pass().pressed, key_back);
    for (int i = SDL_NumJoysticks() - 1; i >= 0; i--) {
        if (SDL_JoystickIsVirtual(i)) {
            EXPECT_EQ(SDL_JoystickDetachVirtual(i), 0);
        }
    }
    (void)pass();
}

TEST_F(device_sdl_pads, a_call_wakes_once)
{
    clock_wake();
    clock_msleep(1000000);
    for (int i = 0; i < 10; i++) /* what the window system still has to say */
        (void)pass();
    const auto started = std::chrono::steady_clock::now();
    clock_msleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(29));
}
