/* The bare device's buttons through pipes. */
#include "unit/platform/device/linux/linux_input_fixture.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

TEST_F(linux_input_of, buttons_are_keys)
{
    const int buttons = attach();
    const struct {
        uint16_t code;
        uint32_t mask;
    } codes[] = {
        {KEY_UP, key_up},         {KEY_ENTER, key_select},       {KEY_ESC, key_back},
        {BTN_SOUTH, key_select},  {BTN_TL, key_page_up},         {KEY_VOLUMEUP, key_vol_up},
        {KEY_POWER, key_quit},    {KEY_TAB, key_switch},         {KEY_F5, key_reload},
        {BTN_SELECT, key_switch}, {BTN_START, key_media_play},   {BTN_TL2, key_vol_down},
        {BTN_TR2, key_vol_up},    {KEY_NEXTSONG, key_media_next}};
    for (const auto &each : codes) {
        send(buttons, EV_KEY, each.code, 1);
        report(buttons);
        EXPECT_EQ(pass().pressed, each.mask);
        send(buttons, EV_KEY, each.code, 2);
        report(buttons);
        EXPECT_EQ(pass().repeat, 0u) << "the kernel's repeats are not ours";
        send(buttons, EV_KEY, each.code, 0);
        report(buttons);
        EXPECT_EQ(pass().released, each.mask);
    }
    send(buttons, EV_KEY, KEY_F12, 1);
    EXPECT_EQ(pass().held, 0u);
}

TEST_F(linux_input_of, a_direction_hat_is_four_keys)
{
    const int pad = attach();
    send(pad, EV_ABS, ABS_HAT0X, -1);
    EXPECT_EQ(pass().pressed, key_left);
    send(pad, EV_ABS, ABS_HAT0X, 1);
    send(pad, EV_ABS, ABS_HAT0Y, -1);
    EXPECT_EQ(pass().held, key_right | key_up);
    send(pad, EV_ABS, ABS_HAT0X, 0);
    send(pad, EV_ABS, ABS_HAT0Y, 0);
    EXPECT_EQ(pass().held, 0u);
}

constexpr linux_trigger pad_triggers[2] = {{ABS_Z, {0, 255}}, {ABS_RZ, {0, 255}}};

TEST_F(linux_input_of, triggers_that_are_axes_are_volume_keys)
{
    const int pad = attach({}, pad_triggers);
    send(pad, EV_ABS, ABS_Z, 255);
    EXPECT_EQ(pass().pressed, key_vol_down);
    send(pad, EV_ABS, ABS_RZ, 200);
    EXPECT_EQ(pass().pressed, key_vol_up);
    send(pad, EV_ABS, ABS_Z, 0);
    EXPECT_EQ(pass().released, key_vol_down);
    EXPECT_EQ(pass().held, key_vol_up);
    close(pad);
    ends.clear();
    EXPECT_EQ(pass().held, 0u) << "unplugged";
}

TEST_F(linux_input_of, a_trigger_that_trembles_presses_once)
{
    const int pad = attach({}, {{ABS_BRAKE, {0, 1023}}, {ABS_GAS, {0, 1023}}});
    send(pad, EV_ABS, ABS_GAS, 500);
    EXPECT_EQ(pass().held, 0u) << "not half way";
    send(pad, EV_ABS, ABS_GAS, 520);
    EXPECT_EQ(pass().pressed, key_vol_up);
    for (const int32_t value : {505, 515, 400, 512}) {
        send(pad, EV_ABS, ABS_GAS, value);
        const key_report keys = pass();
        EXPECT_EQ(keys.pressed | keys.released, 0u) << value;
    }
    send(pad, EV_ABS, ABS_GAS, 380);
    EXPECT_EQ(pass().released, key_vol_up);
}

TEST_F(linux_input_of, triggers_of_any_range_press)
{
    for (const linux_range &range :
         {linux_range{-32768, 32767}, linux_range{0, 255}, linux_range{INT32_MIN, INT32_MAX}}) {
        const int pad = attach({}, {{ABS_Z, range}, {ABS_RZ, range}});
        send(pad, EV_ABS, ABS_RZ, range.most);
        EXPECT_EQ(pass().pressed, key_vol_up) << range.least;
        send(pad, EV_ABS, ABS_RZ, range.least);
        EXPECT_EQ(pass().released, key_vol_up) << range.least;
    }
}

TEST_F(linux_input_of, a_trigger_that_is_an_axis_and_a_button_is_one_key)
{
    const int pad = attach({}, pad_triggers);
    send(pad, EV_ABS, ABS_RZ, 255);
    EXPECT_EQ(pass().pressed, key_vol_up);
    send(pad, EV_KEY, BTN_TR2, 1);
    EXPECT_EQ(pass().pressed, 0u);
    send(pad, EV_KEY, BTN_TR2, 0);
    EXPECT_EQ(pass().held, key_vol_up) << "still pulled";
    send(pad, EV_ABS, ABS_RZ, 0);
    EXPECT_EQ(pass().released, key_vol_up);
}

TEST_F(linux_input_of, sticks_on_the_axes_of_triggers_press_nothing)
{
    const int pad = attach();
    send(pad, EV_ABS, ABS_Z, 255);
    send(pad, EV_ABS, ABS_RZ, 0);
    EXPECT_EQ(pass().held, 0u);
}

TEST_F(linux_input_of, a_trigger_that_turns_out_to_be_a_stick_presses_nothing)
{
    const int pad = attach({}, {{ABS_Z, {0, 255}, true}, {ABS_RZ, {0, 255}, true}});
    send(pad, EV_ABS, ABS_Z, 128); /* all axes of a pad are told when the first button is pressed */
    send(pad, EV_ABS, ABS_RZ, 130);
    for (const int32_t value : {255, 0, 128}) {
        send(pad, EV_ABS, ABS_Z, value);
        send(pad, EV_ABS, ABS_RZ, value);
        EXPECT_EQ(pass().held, 0u) << value;
    }
}

TEST_F(linux_input_of, a_trigger_that_turns_out_to_be_one_presses)
{
    const int pad = attach({}, {{ABS_Z, {0, 255}, true}, {ABS_RZ, {0, 255}, true}});
    send(pad, EV_ABS, ABS_Z, 40);
    send(pad, EV_ABS, ABS_Z, 129);
    EXPECT_EQ(pass().held, key_vol_down);
    send(pad, EV_ABS, ABS_RZ, 255);
    EXPECT_EQ(pass().held, key_vol_down | key_vol_up);
}

TEST_F(linux_input_of, a_lever_that_turns_out_to_be_a_stick_presses_both_ends)
{
    linux_axes axes = {};
    axes.sticks[ABS_X] = {0, 255};
    axes.resting[ABS_X] = -1;
    const int pad = attach_axes(axes);
    send(pad, EV_ABS, ABS_X, 128);
    EXPECT_EQ(pass().held, 0u);
    send(pad, EV_ABS, ABS_X, 0);
    EXPECT_EQ(pass().held, key_left);
    send(pad, EV_ABS, ABS_X, 255);
    EXPECT_EQ(pass().held, key_right);
}

TEST_F(linux_input_of, sticks_are_directions_from_half_way)
{
    linux_axes axes = {};
    axes.sticks[ABS_X] = {-32768, 32767};
    axes.sticks[ABS_Y] = {0, 255};
    const int pad = attach_axes(axes);
    send(pad, EV_ABS, ABS_X, -16000);
    send(pad, EV_ABS, ABS_Y, 127);
    EXPECT_EQ(pass().held, 0u);
    send(pad, EV_ABS, ABS_X, -17000);
    EXPECT_EQ(pass().pressed, key_left);
    for (const int32_t value : {-16000, -16500, -12500}) {
        send(pad, EV_ABS, ABS_X, value);
        const key_report keys = pass();
        EXPECT_EQ(keys.pressed | keys.released, 0u) << value;
    }
    send(pad, EV_ABS, ABS_X, 32767);
    EXPECT_EQ(pass().held, key_right);
    send(pad, EV_ABS, ABS_X, 0);
    send(pad, EV_ABS, ABS_Y, 255);
    EXPECT_EQ(pass().held, key_down);
    send(pad, EV_ABS, ABS_RX, 255);
    EXPECT_EQ(pass().held, key_down) << "no stick of this pad";
}

TEST_F(linux_input_of, a_lever_presses_the_end_at_which_it_does_not_rest)
{
    linux_axes axes = {};
    axes.sticks[ABS_X] = {0, 255};
    axes.resting[ABS_X] = -1;
    const int pad = attach_axes(axes);
    send(pad, EV_ABS, ABS_X, 5);
    EXPECT_EQ(pass().held, 0u);
    send(pad, EV_ABS, ABS_X, 250);
    EXPECT_EQ(pass().held, key_right);
    send(pad, EV_ABS, ABS_X, 0);
    EXPECT_EQ(pass().held, 0u);
}

/* A map of the test's own instead of the file's. */
static void use_map(const char *text)
{
    static key_map map;
    key_map_report report = {};
    key_map_defaults(&map, key_machine::handheld);
    key_map_read(&map, text, strlen(text), "keys.txt", &report);
    EXPECT_EQ(report.bad_lines, 0u) << report.first;
    key_map_use(&map);
}

TEST_F(linux_input_of, a_chord_may_span_two_devices)
{
    use_map("page_up = KEY_POWER + KEY_VOLUMEUP");
    const int power = attach(), volume = attach();
    send(power, EV_KEY, KEY_POWER, 1);
    EXPECT_EQ(pass().held, 0u);
    send(volume, EV_KEY, KEY_VOLUMEUP, 1);
    EXPECT_EQ(pass().pressed, key_page_up);
    send(volume, EV_KEY, KEY_VOLUMEUP, 2);
    EXPECT_EQ(pass().repeat, 0u) << "the kernel's repeats are not ours";
    send(power, EV_KEY, KEY_POWER, 0);
    EXPECT_EQ(pass().released, key_page_up);
    send(power, EV_KEY, KEY_POWER, 1);
    send(power, EV_KEY, KEY_POWER, 0);
    EXPECT_EQ(pass().pressed, key_quit) << "alone";
}

TEST_F(linux_input_of, a_device_that_goes_while_its_chord_waits_presses_nothing)
{
    use_map("page_up = KEY_POWER + KEY_VOLUMEUP");
    const int power = attach();
    send(power, EV_KEY, KEY_POWER, 1);
    send(power, EV_SYN, SYN_DROPPED, 0);
    send(power, EV_SYN, SYN_REPORT, 0);
    EXPECT_EQ(pass().pressed, 0u);
    send(power, EV_KEY, KEY_POWER, 1);
    EXPECT_EQ(pass().pressed, 0u);
    close(power);
    ends.clear();
    EXPECT_EQ(pass().pressed, 0u);
}

TEST_F(linux_input_of, switches_lock_and_survive_what_the_kernel_drops)
{
    use_map("hold = SW_KEYPAD_SLIDE\nheadphones = SW_HEADPHONE_INSERT");
    const int slide = attach();
    send(slide, EV_SW, SW_KEYPAD_SLIDE, 1);
    send(slide, EV_SW, SW_HEADPHONE_INSERT, 1);
    send(slide, EV_SW, 0xffff, 1);
    send(slide, EV_KEY, KEY_UP, 1);
    EXPECT_EQ(pass().held, 0u);
    EXPECT_TRUE(key_is_locked());
    send(slide, EV_SYN, SYN_DROPPED, 0);
    send(slide, EV_SYN, SYN_REPORT, 0);
    pass();
    EXPECT_TRUE(key_is_locked());
    EXPECT_FALSE(key_take_pulled());
    send(slide, EV_SW, SW_KEYPAD_SLIDE, 0);
    pass();
    EXPECT_FALSE(key_is_locked());
    close(slide);
    ends.clear();
    pass();
    EXPECT_TRUE(key_take_pulled()) << "a device that is gone has no plug";
}

struct pad_bits {
    unsigned char keys[KEY_MAX / 8 + 1] = {}, axes[ABS_MAX / 8 + 1] = {};
    pad_bits(std::initializer_list<unsigned> with_keys, std::initializer_list<unsigned> with_axes)
    {
        for (const unsigned each : with_keys)
            keys[each / 8] = static_cast<unsigned char>(keys[each / 8] | 1u << each % 8);
        for (const unsigned each : with_axes)
            axes[each / 8] = static_cast<unsigned char>(axes[each / 8] | 1u << each % 8);
    }
    std::pair<int, int> triggers() const
    {
        uint16_t found[2] = {};
        return linux_trigger_axes(keys, axes, found) ? std::pair<int, int>(found[0], found[1])
                                                     : std::pair<int, int>();
    }
};

TEST(linux_pads, have_their_triggers_where_their_sticks_are_not)
{
    using axes = std::pair<int, int>;
    const pad_bits two_sticks({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_Z, ABS_RX, ABS_RY, ABS_RZ});
    EXPECT_EQ(two_sticks.triggers(), axes(ABS_Z, ABS_RZ));
    const pad_bits pedals({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_Z, ABS_RZ, ABS_GAS, ABS_BRAKE});
    EXPECT_EQ(pedals.triggers(), axes(ABS_BRAKE, ABS_GAS));
    const pad_bits hats({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_HAT2X, ABS_HAT2Y});
    EXPECT_EQ(hats.triggers(), axes(ABS_HAT2Y, ABS_HAT2X));
    const pad_bits other_stick({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_Z, ABS_RZ});
    EXPECT_EQ(other_stick.triggers(), axes()) << "the second stick";
    const pad_bits wheel({BTN_JOYSTICK}, {ABS_X, ABS_GAS, ABS_BRAKE});
    EXPECT_EQ(wheel.triggers(), axes()) << "no pad";
    const pad_bits plain({BTN_SOUTH, BTN_TL2, BTN_TR2}, {ABS_HAT0X, ABS_HAT0Y});
    EXPECT_EQ(plain.triggers(), axes());
}

TEST_F(linux_input_of, axes_without_a_panel_are_no_finger)
{
    const int pad = attach();
    send(pad, EV_ABS, ABS_X, 500);
    send(pad, EV_KEY, BTN_TOUCH, 1);
    report(pad);
    pass();
    expect_touch(0, 0, 0);
}

TEST_F(linux_input_of, records_the_kernel_dropped_leave_nothing_held)
{
    const int both = attach(panel_ranges);
    send(both, EV_KEY, KEY_DOWN, 1);
    send(both, EV_KEY, BTN_TOUCH, 1);
    report(both);
    EXPECT_EQ(pass().held, key_down);
    send(both, EV_SYN, SYN_DROPPED, 0);
    send(both, EV_KEY, KEY_UP, 1);
    report(both);
    EXPECT_EQ(pass().held, 0u);
    int32_t x, y, type;
    EXPECT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(type, touch_type_release);
    send(both, EV_KEY, KEY_UP, 1);
    report(both);
    EXPECT_EQ(pass().pressed, key_up);
}

TEST_F(linux_input_of, a_source_that_is_unplugged_lets_go)
{
    const int one = attach(), two = attach();
    send(one, EV_KEY, KEY_DOWN, 1);
    EXPECT_EQ(pass().held, key_down);
    close(one);
    ends.erase(ends.begin());
    EXPECT_EQ(pass().held, 0u);
    send(two, EV_KEY, KEY_UP, 1);
    EXPECT_EQ(pass().held, key_up);
}

/* Longer than the limit of the test program: who sleeps so long is noticed there. */
constexpr int32_t never_ms = 1000000;

TEST_F(linux_input_of, a_record_and_a_call_end_a_long_sleep)
{
    const int buttons = attach();
    for (int round = 0; round < 2; round++) {
        std::thread person([=] {
            clock_real_msleep(10);
            if (round == 0)
                send(buttons, EV_KEY, KEY_UP, 1);
            else
                clock_wake();
        });
        clock_msleep(never_ms);
        person.join();
        pass();
    }
    const auto started = std::chrono::steady_clock::now();
    clock_msleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(29))
        << "one call wakes once";
}

TEST_F(linux_input_of, a_record_after_a_wait_that_brought_none_ends_the_next_wait)
{
    const int buttons = attach();
    pass();
    clock_wake();
    clock_msleep(never_ms);
    send(buttons, EV_KEY, KEY_UP, 1);
    pass(); /* need not look */
    clock_msleep(never_ms);
    EXPECT_EQ(pass().held, key_up);
}

TEST_F(linux_input_of, calls_from_all_sides_are_not_lost)
{
    constexpr int rounds = 2000;
    std::atomic<int> asked{0}, seen{0};
    std::thread caller([&] {
        while (asked < rounds) {
            if (seen != asked)
                continue;
            asked++;
            clock_wake();
        }
    });
    while (seen < rounds) {
        clock_msleep(never_ms);
        seen = asked.load();
    }
    caller.join();
}

TEST_F(linux_input_of, what_is_plugged_in_and_out_while_it_runs_comes_and_goes)
{
    const scratch here;
    const char *kept = linux_input_folder;
    key_close();
    linux_input_folder = here.path.c_str();
    EXPECT_EQ(key_open(), 0);
    ASSERT_EQ(mkfifo("mouse0", 0600), 0);
    for (const char *name : {"event4", "event17", "event4"}) {
        ASSERT_EQ(mkfifo(name, 0600), 0);
        const int buttons = open(name, O_RDWR);
        ASSERT_GE(buttons, 0);
        pass();
        EXPECT_EQ(chmod(name, 0666), 0);
        pass();
        send(buttons, EV_KEY, KEY_UP, 1);
        EXPECT_EQ(pass().pressed, key_up) << name;
        close(buttons);
        EXPECT_EQ(pass().released, key_up) << "unplugged: nothing stays held";
        EXPECT_EQ(unlink(name), 0);
    }
    EXPECT_EQ(unlink("mouse0"), 0);
    key_close();
    linux_input_folder = kept;
    EXPECT_EQ(key_open(), 0);
}

TEST_F(linux_input_of, takes_no_more_sources_than_it_has_room_for)
{
    for (int i = 0; i < 32; i++)
        attach();
    int pair[2];
    ASSERT_EQ(pipe(pair), 0);
    const linux_axes none = {};
    EXPECT_EQ(linux_input_add(pair[0], &none), -1);
    close(pair[0]);
    close(pair[1]);
}
