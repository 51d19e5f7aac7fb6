/* Keys: presses, releases, repeats, and what nobody polled in time. */
#include "platform/base/fault.h"
#include "platform/input/key.h"
#include "unit/platform/manual_device.h"

#include <gtest/gtest.h>

class key : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        manual_ms = 1000000;
        manual_result = 0;
        manual_poll = nullptr;
        device_current = &manual_device;
        (void)clock_take_look(); /* of the test before */
        ASSERT_EQ(key_open(), 0);
    }
    void TearDown() override { key_close(); }

    key_report check(int expected)
    {
        key_report report;
        EXPECT_EQ(key_check(&report), expected);
        return report;
    }

    void pass_ms(int32_t ms) { manual_ms += ms; }
};

TEST_F(key, reports_a_press_once)
{
    key_event(key_select, true);
    const key_report first = check(1);
    EXPECT_EQ(first.pressed, key_select);
    EXPECT_EQ(first.released, 0u);
    EXPECT_EQ(first.repeat, key_select);
    EXPECT_EQ(first.held, key_select);
    const key_report second = check(0);
    EXPECT_EQ(second.pressed, 0u);
    EXPECT_EQ(second.repeat, 0u);
    EXPECT_EQ(second.held, key_select);
}

TEST_F(key, a_release_alone_is_no_event)
{
    key_event(key_select, true);
    check(1);
    key_event(key_select, false);
    const key_report report = check(0);
    EXPECT_EQ(report.released, key_select);
    EXPECT_EQ(report.held, 0u);
    EXPECT_EQ(report.pressed, 0u);
}

TEST_F(key, press_and_release_between_two_polls_show)
{
    key_event(key_back, true);
    key_event(key_back, false);
    const key_report report = check(1);
    EXPECT_EQ(report.pressed, key_back);
    EXPECT_EQ(report.repeat, key_back);
    EXPECT_EQ(report.released, key_back);
    EXPECT_EQ(report.held, 0u);
    check(0);
}

TEST_F(key, changes_are_kept_until_there_are_too_many)
{
    for (int i = 0; i < 32; i++) {
        key_event(key_vol_up, true);
        key_event(key_vol_up, false);
    }
    for (int i = 0; i < 32; i++)
        EXPECT_EQ(check(1).pressed, key_vol_up) << i;
    check(0);
    for (int i = 0; i < 32; i++) {
        key_event(key_vol_up, true);
        key_event(key_vol_up, false);
    }
    key_event(key_back, true);
    EXPECT_EQ(check(1).pressed, key_back) << "the 65th takes the others' place";
    check(0);
}

TEST_F(key, two_presses_between_two_polls_take_two_passes)
{
    for (int i = 0; i < 2; i++) {
        key_event(key_vol_up, true);
        key_event(key_vol_up, false);
    }
    EXPECT_EQ(check(1).pressed, key_vol_up);
    EXPECT_EQ(check(1).pressed, key_vol_up);
    EXPECT_EQ(check(0).pressed, 0u);
}

TEST_F(key, a_held_key_repeats_after_400_ms_every_100_ms)
{
    key_event(key_down, true);
    check(1);
    int repeats = 0;
    int32_t first = 0, last = 0;
    for (int32_t ms = 1; ms <= 1000; ms++) {
        pass_ms(1);
        key_report report;
        if (!key_check(&report))
            continue;
        EXPECT_EQ(report.pressed, 0u);
        EXPECT_EQ(report.repeat, key_down);
        first = first ? first : ms;
        last = ms;
        repeats++;
    }
    EXPECT_EQ(first, 400);
    EXPECT_EQ(last, 1000);
    EXPECT_EQ(repeats, 7);
}

TEST_F(key, a_slow_pass_gives_one_repeat)
{
    key_event(key_down, true);
    check(1);
    pass_ms(5000);
    EXPECT_EQ(check(1).repeat, key_down);
    check(0);
    pass_ms(99);
    check(0);
    pass_ms(1);
    EXPECT_EQ(check(1).repeat, key_down);
}

TEST_F(key, keys_repeat_each_on_its_own)
{
    key_event(key_down, true);
    check(1);
    pass_ms(200);
    key_event(key_vol_up, true);
    EXPECT_EQ(check(1).held, key_down | key_vol_up);
    pass_ms(200);
    EXPECT_EQ(check(1).repeat, key_down);
    pass_ms(200);
    EXPECT_EQ(check(1).repeat, key_down | key_vol_up);
}

TEST_F(key, held_back_then_left_is_the_power_combination)
{
    key_event(key_back, true);
    check(1);
    key_event(key_left, true);
    const key_report report = check(1);
    EXPECT_EQ(report.pressed, key_left);
    EXPECT_TRUE(report.held & key_back);
}

TEST_F(key, a_repeated_down_of_a_held_key_is_no_new_press)
{
    key_event(key_down, true);
    check(1);
    key_event(key_down, true);
    EXPECT_EQ(check(0).pressed, 0u);
}

TEST_F(key, repeats_across_the_wrap_of_the_clock)
{
    manual_ms = INT32_MAX - 100;
    key_event(key_down, true);
    check(1);
    pass_ms(399);
    check(0);
    pass_ms(1);
    EXPECT_EQ(check(1).repeat, key_down);
}

TEST_F(key, a_flood_leaves_no_key_down_for_ever)
{
    for (int i = 0; i < 500; i++)
        key_event(1u << (i % 32), true);
    key_event(~0u, false);
    key_report report = {};
    for (int i = 0; i < 100; i++)
        key_check(&report);
    EXPECT_EQ(report.held, 0u);
}

TEST_F(key, a_flood_that_hides_a_release_lets_the_key_go)
{
    key_event(key_up, true);
    check(1);
    key_event(key_up, false);
    for (int i = 0; i < 40; i++) {
        key_event(key_down, true);
        key_event(key_down, false);
    }
    key_report report = {};
    for (int i = 0; i < 100; i++)
        key_check(&report);
    EXPECT_EQ(report.held, 0u);
    pass_ms(1000);
    EXPECT_EQ(check(0).repeat, 0u);
}

TEST_F(key, a_held_key_is_looked_at_when_it_repeats)
{
    check(0);
    EXPECT_EQ(clock_take_look(), INT32_MAX) << "no key, nothing to look for";
    key_event(key_up, true);
    check(1);
    EXPECT_EQ(clock_take_look(), 400);
    pass_ms(250);
    key_event(key_down, true);
    check(1);
    EXPECT_EQ(clock_take_look(), 150) << "the earlier of two";
    pass_ms(150);
    EXPECT_EQ(check(1).repeat, key_up);
    EXPECT_EQ(clock_take_look(), 100);
    key_event(key_up, false);
    key_event(key_down, false);
    check(0);
    EXPECT_EQ(clock_take_look(), INT32_MAX);
}

TEST_F(key, a_press_that_waits_for_the_next_pass_asks_for_it)
{
    for (int i = 0; i < 2; i++) {
        key_event(key_up, true);
        key_event(key_up, false);
    }
    check(1);
    EXPECT_EQ(clock_take_look(), 0);
    check(1);
    EXPECT_EQ(clock_take_look(), INT32_MAX);
}

TEST_F(key, closed_reports_nothing_and_leaves_the_device_alone)
{
    static int polls;
    polls = 0;
    manual_poll = [] { polls++; };
    EXPECT_EQ(key_close(), 0);
    key_event(key_up, true);
    EXPECT_EQ(check(0).held, 0u);
    EXPECT_EQ(polls, 0);
    manual_poll = nullptr;
}

TEST_F(key, reads_the_device_once_a_pass)
{
    manual_poll = [] { key_event(key_menu, true); };
    EXPECT_EQ(check(1).pressed, key_menu);
    manual_poll = nullptr;
}

TEST_F(key, opens_without_what_was_waiting)
{
    key_event(key_menu, true);
    EXPECT_EQ(key_close(), 0);
    EXPECT_EQ(key_open(), 0);
    check(0);
}

TEST_F(key, fails_to_open_with_the_device)
{
    EXPECT_EQ(key_close(), 0);
    manual_result = -1;
    EXPECT_EQ(key_open(), -1);
    EXPECT_EQ(key_close(), 0);
}

TEST_F(key, a_fault_at_the_end_closes_all_the_same)
{
    fault_set("key_close");
    const int before = manual_calls;
    EXPECT_EQ(key_close(), -1);
    EXPECT_EQ(manual_calls, before + 1);
    fault_set("key_open");
    EXPECT_EQ(key_open(), -1);
    fault_set("");
    check(0);
}
