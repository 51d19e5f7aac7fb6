/* The display over time: dark without input, lit by a key or a finger, true after a sleep. */
#include "unit/core/loop_fixture.h"

TEST_F(loop, display_goes_dark_when_the_time_without_input_is_over)
{
    cfg_display_off_timeout = 30;
    const int32_t start = main_last_input_time;
    loop_check_display(start + 29);
    EXPECT_EQ(fb_power, 1);
    EXPECT_TRUE(machine.calls.empty());
    fb_clear(fb_cur, 0x1234);
    loop_check_display(start + 30);
    EXPECT_EQ(fb_power, 0);
    EXPECT_EQ(machine.calls, (texts{"show", "power 0"}));
    EXPECT_EQ(machine.last_pixel, 0); /* black was shown */
    loop_check_display(start + 31);
    EXPECT_EQ(machine.calls.size(), 2u);
}

TEST_F(loop, display_without_a_timeout_stays_lit)
{
    for (const int32_t timeout : {0, -5}) {
        cfg_display_off_timeout = timeout;
        loop_check_display(main_last_input_time + 1000000);
        EXPECT_EQ(fb_power, 1);
    }
}

TEST_F(loop, time_without_input_is_right_across_the_wrap)
{
    cfg_display_off_timeout = 30;
    main_last_input_time = INT32_MAX - 9;
    loop_check_display(INT32_MIN + 19);
    EXPECT_EQ(fb_power, 1);
    loop_check_display(INT32_MIN + 20);
    EXPECT_EQ(fb_power, 0);
}

TEST_F(loop, dark_display_runs_no_view)
{
    darken();
    for (int i = 0; i < 5; i++)
        loop_pass();
    EXPECT_EQ(seen.inputs, 0);
    EXPECT_EQ(seen.draws, 0);
}

TEST_F(loop, key_that_wakes_the_display_does_nothing_else)
{
    darken();
    test_press(key_quit | key_vol_up);
    loop_pass();
    EXPECT_EQ(fb_power, 1);
    EXPECT_EQ(program_running, 1);
    EXPECT_EQ(cfg_vol, 30);
    EXPECT_TRUE(seen.pressed.empty());
    EXPECT_EQ(seen.draws, 1); /* and the screen is drawn anew */
    EXPECT_EQ(main_last_input_time, clock_sec());
}

TEST_F(loop, finger_that_wakes_the_display_does_nothing_else)
{
    darken();
    test_touch(touch_type_press, 10, 10);
    loop_pass();
    EXPECT_EQ(fb_power, 1);
    EXPECT_EQ(seen.touches, 0);
    test_touch(touch_type_release, 10, 10);
    loop_pass();
    EXPECT_EQ(seen.touches, 1);
}

TEST_F(loop, a_machine_that_slept_shows_what_is_true_now)
{
    loop_pass();
    const int reads = machine.battery_reads, shows = machine.shows;
    loop_woke(false);
    loop_pass();
    EXPECT_EQ(machine.shows, shows + 1) << "the clock was set";
    EXPECT_EQ(machine.battery_reads, reads + 1);
    machine.powers.clear();
    loop_woke(true);
    loop_pass();
    EXPECT_EQ(machine.shows, shows + 2);
    EXPECT_EQ(machine.powers, std::vector<int>{1}) << "lit as before";
    darken();
    machine.powers.clear();
    loop_woke(true);
    loop_pass();
    EXPECT_EQ(machine.powers, std::vector<int>{0}) << "dark as before";
}

/* Whether the program ends by a key so long after that. */
static bool ends_by_key(int32_t ms_later)
{
    machine.ms += ms_later;
    program_running = 1;
    test_press(key_quit);
    loop_pass();
    const bool ends = !program_running;
    loop_pass(); /* the key comes up */
    program_running = 1;
    return ends;
}

TEST_F(loop, the_key_that_woke_the_machine_does_nothing_else)
{
    loop_woke(true);
    EXPECT_FALSE(ends_by_key(499));
    EXPECT_TRUE(seen.pressed.empty());
    EXPECT_TRUE(ends_by_key(0)) << "the second one";
    loop_woke(true);
    EXPECT_TRUE(ends_by_key(500)) << "one that comes later";
    loop_woke(false);
    EXPECT_TRUE(ends_by_key(0)) << "setting the clock is no sleep";
}

TEST_F(loop, every_input_starts_the_timeout_anew)
{
    machine.ms += 20000;
    test_press(key_up);
    loop_pass();
    EXPECT_EQ(main_last_input_time, clock_sec());
    machine.ms += 20000;
    test_touch(touch_type_press, 10, 10);
    loop_pass();
    EXPECT_EQ(main_last_input_time, clock_sec());
    EXPECT_EQ(fb_power, 1);
}
