/* The bare device and what the kernel says: panels, consoles, the axes of event devices. */
#include "unit/platform/device/linux/device_linux_kernel.h"

#include "platform/base/device.h"
#include "platform/base/owner.h"
#include "platform/device/linux/device_linux.h"
#include "platform/draw/fb.h"
#include "platform/input/key.h"
#include "support/scratch.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/eventfd.h>
#include <vector>

/* ---- The panel ---- */

static kernel_panel good_panel()
{
    kernel_panel made = {};
    made.shape.xres = 4;
    made.shape.yres = 3;
    made.shape.bits_per_pixel = 32;
    made.shape.red = {.offset = 16, .length = 8, .msb_right = 0};
    made.shape.green = {.offset = 8, .length = 8, .msb_right = 0};
    made.shape.blue = {.offset = 0, .length = 8, .msb_right = 0};
    made.shape.transp = {.offset = 24, .length = 8, .msb_right = 0};
    made.memory.line_length = 16;
    made.memory.visual = FB_VISUAL_TRUECOLOR;
    return made;
}

struct linux_screen : testing::Test {
    void SetUp() override
    {
        test_panel = good_panel();
        test_console = {};
    }
    void TearDown() override { EXPECT_EQ(linux_screen_close(), 0); }

    /* What it said while it opened; it must have failed and left nothing open. */
    static std::string refusal()
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(linux_screen_open(4, 3), -1);
        EXPECT_TRUE(test_panel.fd < 0 || fcntl(test_panel.fd, F_GETFD) < 0) << "left open";
        test_panel.fd = -1;
        EXPECT_TRUE(test_console.modes.empty()) << "the console is still the user's";
        const fb_surface frame = {};
        EXPECT_EQ(linux_screen_show(&frame), -1);
        EXPECT_EQ(linux_screen_power(1), -1);
        return testing::internal::GetCapturedStderr();
    }
    static std::string refusal_of(const std::function<void(kernel_panel *)> &change)
    {
        test_panel = good_panel();
        change(&test_panel);
        return refusal();
    }
    static uint32_t pixel(size_t x, size_t y)
    {
        uint32_t value = 0;
        EXPECT_EQ(pread(test_panel.fd, &value, 4,
                        static_cast<off_t>(y * test_panel.memory.line_length + x * 4)),
                  4);
        return value;
    }
};

TEST_F(linux_screen, shows_frames_and_leaves_it_black)
{
    ASSERT_EQ(linux_screen_open(4, 3), 0);
    fb_surface *frame = fb_create(4, 3);
    ASSERT_NE(frame, nullptr);
    fb_clear(frame, 0xF800);
    EXPECT_EQ(linux_screen_show(frame), 0);
    fb_free(frame);
    EXPECT_EQ(pixel(0, 0), 0xFFFF0000u) << "nothing below shines through";
    EXPECT_EQ(pixel(3, 2), 0xFFFF0000u);
    EXPECT_EQ(linux_screen_power(0), 0);
    EXPECT_EQ(linux_screen_power(1), 0);
    EXPECT_EQ(test_panel.blanks, (std::vector<uint64_t>{FB_BLANK_POWERDOWN, FB_BLANK_UNBLANK}));
    const int kept = dup(test_panel.fd);
    EXPECT_EQ(linux_screen_close(), 0);
    test_panel.fd = kept;
    EXPECT_EQ(pixel(0, 0), 0u);
    EXPECT_EQ(pixel(3, 2), 0u);
    close(kept);
}

TEST_F(linux_screen, a_panel_that_lost_its_picture_is_drawn_whole)
{
    ASSERT_EQ(linux_screen_open(4, 3), 0);
    const owner<fb_surface, fb_free> frame(fb_create(4, 3));
    fb_clear(frame.get(), 0xF800);
    EXPECT_EQ(linux_screen_show(frame.get()), 0);
    const uint32_t garbage[12] = {};
    ASSERT_EQ(pwrite(test_panel.fd, garbage, sizeof garbage, 0), ssize_t{sizeof garbage});
    frame->changes = {
        .partial = true, .count = 0, .rects = {}}; /* as when the same is shown again */
    EXPECT_EQ(linux_screen_show(frame.get()), 0);
    EXPECT_EQ(pixel(0, 0), 0u) << "what is known to be there is not drawn";
    linux_screen_lost();
    EXPECT_EQ(linux_screen_show(frame.get()), 0);
    EXPECT_EQ(pixel(0, 0), 0xFFFF0000u);
    EXPECT_EQ(pixel(3, 2), 0xFFFF0000u);
}

/* ---- Sleep ---- */

struct sleep_seen {
    int64_t slept_ms = 5000;
    int watch = -1, again = 0;
    std::vector<bool> told;
};
static sleep_seen nap;

static int nap_watch()
{
    return nap.watch < 0 ? -1 : dup(nap.watch);
}

static void nap_again(int fd)
{
    uint64_t count = 0;
    EXPECT_EQ(read(fd, &count, sizeof count), ssize_t{sizeof count});
    nap.again++;
}

static int64_t nap_slept_ms()
{
    return nap.slept_ms;
}

static constinit const linux_sleep nap_sleep = {
    .watch = nap_watch,
    .watch_again = nap_again,
    .slept_ms = nap_slept_ms,
};

struct linux_sleep_of : testing::Test {
    void SetUp() override
    {
        nap = {};
        kernel = linux_sleep_current;
        device_woke = [](bool slept) { nap.told.push_back(slept); };
    }
    void TearDown() override
    {
        EXPECT_EQ(linux_input_close(), 0);
        if (nap.watch >= 0)
            close(nap.watch);
        linux_sleep_current = kernel;
        device_woke = nullptr;
    }
    static void open(bool watched)
    {
        nap.watch = watched ? eventfd(0, EFD_NONBLOCK) : -1;
        linux_sleep_current = &nap_sleep;
        ASSERT_EQ(linux_input_open(), 0);
    }
    static void ring()
    {
        const uint64_t one = 1;
        ASSERT_EQ(write(nap.watch, &one, sizeof one), ssize_t{sizeof one});
    }
    const linux_sleep *kernel = nullptr;
};

TEST_F(linux_sleep_of, the_end_of_a_sleep_ends_a_wait_and_is_told_once)
{
    open(true);
    ring();
    nap.slept_ms += 3000;
    linux_input_wait(1000000000);
    linux_input_poll();
    EXPECT_EQ(nap.told, std::vector<bool>{true});
    EXPECT_EQ(nap.again, 1);
    linux_input_wait(0);
    linux_input_poll();
    linux_input_poll();
    EXPECT_EQ(nap.told.size(), 1u);
}

TEST_F(linux_sleep_of, a_clock_that_is_set_is_told_from_a_sleep)
{
    open(true);
    ring();
    linux_input_wait(1000000000);
    linux_input_poll();
    EXPECT_EQ(nap.told, std::vector<bool>{false});
}

TEST_F(linux_sleep_of, a_kernel_without_a_watch_is_asked_each_time)
{
    open(false);
    linux_input_poll();
    EXPECT_TRUE(nap.told.empty());
    nap.slept_ms += 99;
    linux_input_poll();
    EXPECT_TRUE(nap.told.empty()) << "two clocks are not read at once";
    nap.slept_ms += 100;
    linux_input_poll();
    linux_input_poll();
    EXPECT_EQ(nap.told, std::vector<bool>{true});
}

/* A jump of this machine's clock is nothing a test may cause. */
TEST_F(linux_sleep_of, the_kernel_s_own_watch_is_silent_while_nothing_happens)
{
    const int64_t before = kernel->slept_ms();
    ASSERT_EQ(linux_input_open(), 0);
    EXPECT_GE(linux_sleep_watch(), 0);
    linux_input_wait(0);
    linux_input_poll();
    EXPECT_TRUE(nap.told.empty());
    EXPECT_LT(kernel->slept_ms() - before, 100);
}

TEST_F(linux_screen, says_why_a_panel_cannot_be_used)
{
    EXPECT_EQ(refusal_of([](kernel_panel *it) { it->open_error = EACCES; }),
              "cannot use /dev/fb0: Permission denied\n");
    EXPECT_EQ(refusal_of([](kernel_panel *it) { it->shape_error = ENODEV; }),
              "cannot use /dev/fb0: No such device\n");
    EXPECT_EQ(refusal_of([](kernel_panel *it) { it->memory_error = ENODEV; }),
              "cannot use /dev/fb0: No such device\n");
    EXPECT_EQ(refusal_of([](kernel_panel *it) { it->opens_empty = true; }),
              "cannot use /dev/fb0: Permission denied\n");
}

TEST_F(linux_screen, a_panel_of_another_kind_is_not_used)
{
    const std::string unknown = "cannot use /dev/fb0: Operation not supported\n";
    for (const uint32_t bits : {0u, 1u, 4u, 7u, 33u, 64u})
        EXPECT_EQ(refusal_of([=](kernel_panel *it) { it->shape.bits_per_pixel = bits; }), unknown)
            << bits;
    EXPECT_EQ(refusal_of([](kernel_panel *it) { it->shape.xres = 0; }), unknown);
    EXPECT_EQ(refusal_of([](kernel_panel *it) { it->shape.yres = 0; }), unknown);
    EXPECT_EQ(refusal_of([](kernel_panel *it) { it->memory.line_length = 15; }), unknown);
}

TEST_F(linux_screen, the_smallest_panel_is_one_pixel)
{
    for (const uint32_t bits : {8u, 9u, 16u, 32u}) {
        test_panel = good_panel();
        test_panel.shape.xres = test_panel.shape.yres = 1;
        test_panel.shape.bits_per_pixel = bits;
        test_panel.memory.line_length = (bits + 7) / 8;
        EXPECT_EQ(linux_screen_open(1, 1), 0) << bits;
        EXPECT_EQ(linux_screen_close(), 0);
        EXPECT_TRUE(test_panel.red.empty()) << "true colours have no palette";
    }
}

TEST_F(linux_screen, numbers_of_colours_get_their_colours)
{
    test_panel.shape.bits_per_pixel = 8;
    test_panel.memory.visual = FB_VISUAL_PSEUDOCOLOR;
    ASSERT_EQ(linux_screen_open(4, 3), 0);
    ASSERT_EQ(test_panel.red.size(), 256u);
    const auto expect = [](size_t at, uint16_t red, uint16_t green, uint16_t blue) {
        EXPECT_EQ(test_panel.red[at], red) << at;
        EXPECT_EQ(test_panel.green[at], green) << at;
        EXPECT_EQ(test_panel.blue[at], blue) << at;
    };
    expect(0x00, 0, 0, 0);
    expect(0xE0, 65535, 0, 0);
    expect(0x1C, 0, 65535, 0);
    expect(0x03, 0, 0, 65535);
    expect(0xFF, 65535, 65535, 65535);
    fb_surface *frame = fb_create(4, 3);
    ASSERT_NE(frame, nullptr);
    fb_clear(frame, 0xFFE0);
    EXPECT_EQ(linux_screen_show(frame), 0);
    fb_free(frame);
    EXPECT_EQ(pixel(0, 0), 0xFCFCFCFCu) << "red and green, four pixels of them";
}

TEST_F(linux_screen, keeps_the_console_from_drawing_meanwhile)
{
    test_console.is_there = true;
    ASSERT_EQ(linux_screen_open(4, 3), 0);
    EXPECT_EQ(test_console.modes, std::vector<uint64_t>{KD_GRAPHICS});
    EXPECT_GE(fcntl(test_console.fd, F_GETFD), 0);
    EXPECT_EQ(linux_screen_close(), 0);
    EXPECT_EQ(test_console.modes, (std::vector<uint64_t>{KD_GRAPHICS, KD_TEXT}));
    EXPECT_LT(fcntl(test_console.fd, F_GETFD), 0);
}

TEST_F(linux_screen, a_console_that_has_no_modes_is_left_alone)
{
    test_console.is_there = true;
    test_console.mode_error = ENOTTY;
    ASSERT_EQ(linux_screen_open(4, 3), 0);
    EXPECT_LT(fcntl(test_console.fd, F_GETFD), 0);
    EXPECT_EQ(linux_screen_close(), 0);
    EXPECT_EQ(test_console.modes, std::vector<uint64_t>{KD_GRAPHICS});
}

/* ---- The axes ---- */

struct linux_axes_said : testing::Test {
    void SetUp() override
    {
        test_pad = {};
        test_pad.fd = static_cast<int>(syscall(SYS_memfd_create, "pad", 0));
        ASSERT_GE(test_pad.fd, 0);
    }
    void TearDown() override
    {
        close(test_pad.fd);
        test_pad.fd = -1;
    }
    static void axis(unsigned number, int32_t least, int32_t most, int32_t now = 0)
    {
        test_pad.axes.push_back(number);
        test_pad.ranges[number].minimum = least;
        test_pad.ranges[number].maximum = most;
        test_pad.ranges[number].value = now;
    }
    static linux_axes asked() { return linux_axes_of(test_pad.fd); }
    static bool has_panel(const linux_axes &all)
    {
        return all.panel.x.least != all.panel.x.most || all.panel.y.least != all.panel.y.most;
    }
};

TEST_F(linux_axes_said, a_touch_panel_has_the_kernel_s_ranges_and_its_place_now)
{
    axis(ABS_MT_POSITION_X, 10, 500, 33);
    axis(ABS_MT_POSITION_Y, 700, 20, 44);
    const linux_axes all = asked();
    EXPECT_EQ(all.panel.x.least, 10);
    EXPECT_EQ(all.panel.x.most, 500);
    EXPECT_EQ(all.panel.y.least, 700);
    EXPECT_EQ(all.panel.y.most, 20);
    EXPECT_EQ(all.panel.x_now, 33);
    EXPECT_EQ(all.panel.y_now, 44);
    EXPECT_FALSE(all.panel.by_button);
}

TEST_F(linux_axes_said, one_axis_is_no_panel)
{
    axis(ABS_MT_POSITION_X, 0, 500);
    EXPECT_FALSE(has_panel(asked()));
    test_pad.axes = {ABS_MT_POSITION_Y};
    EXPECT_FALSE(has_panel(asked()));
    test_pad.keys = {BTN_TOUCH};
    axis(ABS_X, 0, 500);
    EXPECT_FALSE(has_panel(asked()));
    test_pad.axes = {ABS_Y};
    EXPECT_FALSE(has_panel(asked()));
}

TEST_F(linux_axes_said, what_touches_or_clicks_is_a_panel_and_a_stick_is_none)
{
    axis(ABS_X, 0, 500);
    axis(ABS_Y, 0, 400);
    EXPECT_FALSE(has_panel(asked()));
    test_pad.keys = {BTN_SOUTH};
    EXPECT_FALSE(has_panel(asked()));
    test_pad.keys = {BTN_TOUCH};
    EXPECT_TRUE(has_panel(asked()));
    EXPECT_FALSE(asked().panel.by_button);
    test_pad.keys = {BTN_LEFT};
    EXPECT_TRUE(has_panel(asked()));
    EXPECT_TRUE(asked().panel.by_button);
    test_pad.keys = {BTN_LEFT, BTN_TOUCH};
    EXPECT_FALSE(asked().panel.by_button);
}

TEST_F(linux_axes_said, what_the_kernel_does_not_say_is_not_there)
{
    axis(ABS_MT_POSITION_X, 0, 500);
    axis(ABS_MT_POSITION_Y, 0, 500);
    test_pad.keys = {BTN_SOUTH};
    axis(ABS_BRAKE, 0, 255);
    axis(ABS_GAS, 0, 255);
    ASSERT_TRUE(has_panel(asked()));
    for (int *error : {&test_pad.keys_error, &test_pad.axes_error, &test_pad.range_error}) {
        *error = EINVAL;
        const linux_axes all = asked();
        *error = 0;
        EXPECT_FALSE(has_panel(all));
        for (const linux_trigger &trigger : all.triggers)
            EXPECT_EQ(trigger.range.least, trigger.range.most);
    }
}

TEST_F(linux_axes_said, a_trigger_needs_a_range)
{
    test_pad.keys = {BTN_SOUTH};
    axis(ABS_BRAKE, 0, 1);
    axis(ABS_GAS, 7, 7);
    linux_axes all = asked();
    EXPECT_EQ(all.triggers[0].axis, ABS_BRAKE);
    EXPECT_EQ(all.triggers[0].range.most, 1);
    EXPECT_EQ(all.triggers[1].range.least, all.triggers[1].range.most);
    test_pad.ranges[ABS_GAS].maximum = 6;
    all = asked();
    EXPECT_EQ(all.triggers[1].range.least, all.triggers[1].range.most) << "backwards";
}

TEST_F(linux_axes_said, triggers_come_in_pairs)
{
    test_pad.keys = {BTN_SOUTH};
    for (const auto &[one, other] : {std::pair(ABS_BRAKE, ABS_GAS), {ABS_HAT2Y, ABS_HAT2X}}) {
        test_pad.axes.clear();
        axis(static_cast<unsigned>(one), 0, 255);
        EXPECT_EQ(asked().triggers[0].range.most, 0);
        test_pad.axes.clear();
        axis(static_cast<unsigned>(other), 0, 255);
        EXPECT_EQ(asked().triggers[1].range.most, 0);
        axis(static_cast<unsigned>(one), 0, 255);
        EXPECT_EQ(asked().triggers[0].range.most, 255);
        EXPECT_EQ(asked().triggers[1].range.most, 255);
    }
}

TEST_F(linux_axes_said, a_second_stick_needs_both_its_axes_elsewhere)
{
    test_pad.keys = {BTN_SOUTH};
    axis(ABS_Z, 0, 255);
    axis(ABS_RZ, 0, 255);
    axis(ABS_RX, 0, 255);
    EXPECT_EQ(asked().triggers[0].range.most, 0);
    test_pad.axes.back() = ABS_RY;
    EXPECT_EQ(asked().triggers[0].range.most, 0);
    axis(ABS_RX, 0, 255);
    EXPECT_EQ(asked().triggers[0].range.most, 255);
}

/* Pads with two sticks and two triggers, whose makers and drivers disagree about the order. */
struct linux_pads_said : linux_axes_said {
    static void stick(unsigned number) { axis(number, 0, 255, 127); }
    static void trigger(unsigned number) { axis(number, 0, 255, 0); }
    static std::pair<int, int> triggers()
    {
        const linux_axes all = asked();
        const auto place = [](const linux_trigger &each) {
            return each.range.least == each.range.most ? -1 : int{each.axis};
        };
        return {place(all.triggers[0]), place(all.triggers[1])};
    }
    static constexpr std::pair<int, int> none = {-1, -1};
};

TEST_F(linux_pads_said, a_stick_that_rests_in_the_middle_is_no_trigger)
{
    test_pad.keys = {BTN_SOUTH};
    for (const unsigned each : {ABS_X, ABS_Y, ABS_Z, ABS_RZ})
        stick(each);
    for (const unsigned each : {ABS_RX, ABS_RY})
        trigger(each);
    EXPECT_EQ(triggers(), std::pair(ABS_RX, ABS_RY)) << "where the second stick is elsewhere";
    test_pad.keys.push_back(BTN_TL2);
    EXPECT_EQ(triggers(), none) << "its triggers are buttons";
    test_pad.keys.pop_back();
    test_pad.ranges[ABS_RX].value = test_pad.ranges[ABS_RY].value = 130;
    EXPECT_EQ(triggers(), none) << "three sticks";
    test_pad.ranges[ABS_Z].value = 3;
    test_pad.ranges[ABS_RZ].value = 0;
    EXPECT_EQ(triggers(), std::pair(ABS_Z, ABS_RZ));
}

TEST_F(linux_pads_said, a_range_around_nothing_is_a_stick_s_unless_it_rests_at_its_end)
{
    test_pad.keys = {BTN_SOUTH};
    for (const unsigned each : {ABS_X, ABS_Y, ABS_Z, ABS_RZ})
        axis(each, -32768, 32767);
    for (const unsigned each : {ABS_RX, ABS_RY})
        trigger(each);
    EXPECT_EQ(triggers(), std::pair(ABS_RX, ABS_RY));
    for (const unsigned each : {ABS_RX, ABS_RY})
        test_pad.ranges[each] = test_pad.ranges[ABS_X];
    for (const unsigned each : {ABS_Z, ABS_RZ})
        test_pad.ranges[each].value = -32768;
    EXPECT_EQ(triggers(), std::pair(ABS_Z, ABS_RZ));
}

/* Until something moves, the kernel gives 0 for every axis. */
TEST_F(linux_pads_said, who_has_not_said_where_it_rests_may_be_a_stick)
{
    test_pad.keys = {BTN_SOUTH};
    for (const unsigned each : {ABS_X, ABS_Y, ABS_Z, ABS_RZ, ABS_RX, ABS_RY})
        trigger(each);
    EXPECT_EQ(triggers(), std::pair(ABS_Z, ABS_RZ));
    EXPECT_TRUE(asked().triggers[0].unsure);
    EXPECT_TRUE(asked().triggers[1].unsure);
    test_pad.ranges[ABS_RX].value = test_pad.ranges[ABS_RY].value = 128;
    EXPECT_FALSE(asked().triggers[0].unsure) << "the second stick is known";
    for (const unsigned each : {ABS_RX, ABS_RY})
        axis(each, -32768, 32767);
    EXPECT_FALSE(asked().triggers[0].unsure);
}

TEST_F(linux_axes_said, a_trigger_presses_past_its_middle_and_lets_go_further_up)
{
    const linux_trigger of_eight = {ABS_GAS, {100, 108}};
    EXPECT_FALSE(linux_trigger_is_down(&of_eight, 104, false));
    EXPECT_TRUE(linux_trigger_is_down(&of_eight, 105, false));
    EXPECT_TRUE(linux_trigger_is_down(&of_eight, 104, true));
    EXPECT_FALSE(linux_trigger_is_down(&of_eight, 103, true));
}

TEST_F(linux_axes_said, hats_are_sticks_and_their_neighbours_are_not)
{
    for (const unsigned each : {ABS_WHEEL, ABS_HAT0X, ABS_HAT3Y - 1, ABS_HAT3Y})
        axis(each, -1, 1);
    const linux_axes all = asked();
    EXPECT_EQ(all.sticks[ABS_HAT0X].most, 1);
    EXPECT_EQ(all.sticks[ABS_HAT3Y - 1].most, 1);
    EXPECT_EQ(all.sticks[ABS_HAT3Y].most, 1);
    EXPECT_EQ(all.sticks[ABS_WHEEL].most, 0);
}

TEST_F(linux_axes_said, the_main_stick_of_a_pad_is_one_unless_it_is_a_panel)
{
    axis(ABS_X, 0, 255);
    axis(ABS_Y, 0, 255);
    EXPECT_EQ(asked().sticks[ABS_X].most, 0) << "what it belongs to is not known";
    for (const unsigned key : {BTN_SOUTH, BTN_DPAD_UP, BTN_JOYSTICK}) {
        test_pad.keys = {key};
        EXPECT_EQ(asked().sticks[ABS_X].most, 255) << key;
        EXPECT_EQ(asked().sticks[ABS_Y].most, 255) << key;
    }
    test_pad.keys.push_back(BTN_TOUCH);
    EXPECT_EQ(asked().sticks[ABS_X].most, 0);
    EXPECT_EQ(asked().sticks[ABS_Y].most, 0);
}

/* ---- The folder of the event devices ---- */

static size_t open_files()
{
    size_t count = 0;
    for (int fd = 0; fd < 256; fd++)
        count += fcntl(fd, F_GETFD) >= 0;
    return count;
}

/* Counts the files of the folder, and of nothing else. */
struct linux_folder_of : linux_sleep_of {
    void SetUp() override
    {
        linux_sleep_of::SetUp();
        linux_sleep_current = &nap_sleep;
    }
};

TEST_F(linux_folder_of, that_cannot_be_watched_is_no_reason_not_to_start)
{
    const scratch here;
    const char *kept = linux_input_folder;
    device_current = &device_linux;
    ASSERT_EQ(key_open(), 0); /* what is never closed is open now */
    key_close();
    linux_input_folder = "gone";
    const size_t before = open_files();
    EXPECT_EQ(key_open(), 0);
    EXPECT_EQ(open_files(), before) << "nothing is watched";
    key_report keys;
    key_check(&keys);
    EXPECT_EQ(keys.held, 0u);
    key_close();
    EXPECT_EQ(open_files(), before);
    ASSERT_EQ(mkdir("there", 0755), 0);
    linux_input_folder = "there";
    EXPECT_EQ(key_open(), 0);
    EXPECT_EQ(open_files(), before + 1) << "the watch";
    key_close();
    EXPECT_EQ(open_files(), before);
    linux_input_folder = kept;
}

TEST_F(linux_folder_of, only_numbered_event_devices_are_read)
{
    const scratch here;
    const char *kept = linux_input_folder;
    device_current = &device_linux;
    ASSERT_EQ(key_open(), 0);
    key_close();
    linux_input_folder = here.path.c_str();
    for (const char *name :
         {"event", "eventX", "event:1", "event1x", "event-1", "mouse0", "xevent2"})
        ASSERT_EQ(mkfifo(name, 0600), 0);
    const size_t before = open_files();
    EXPECT_EQ(key_open(), 0);
    EXPECT_EQ(open_files(), before + 1) << "the watch";
    key_close();
    for (const char *name : {"event0", "event12"})
        ASSERT_EQ(mkfifo(name, 0600), 0);
    EXPECT_EQ(key_open(), 0);
    EXPECT_EQ(open_files(), before + 3);
    key_close();
    EXPECT_EQ(open_files(), before);
    linux_input_folder = kept;
}
