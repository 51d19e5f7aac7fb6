/* The finger: order, merged moves, and the edges of the panel. */
#include "platform/base/fault.h"
#include "platform/input/touch.h"
#include "unit/platform/manual_device.h"

#include <gtest/gtest.h>

struct seen {
    int32_t type, x, y;
    bool operator==(const seen &) const = default;
};

class touch : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        manual_result = 0;
        device_current = &manual_device;
        ASSERT_EQ(touch_open(), 0);
    }
    void TearDown() override { touch_close(); }

    seen next()
    {
        seen event = {-1, -1, -1};
        const int got = touch_check(&event.x, &event.y, &event.type);
        EXPECT_EQ(got, event.type == -1 ? 0 : 1);
        return event;
    }
};

constexpr seen nothing = {-1, -1, -1};

TEST_F(touch, leaves_the_outputs_alone_without_an_event)
{
    EXPECT_EQ(next(), nothing);
}

TEST_F(touch, a_quick_tap_takes_two_passes)
{
    touch_event(touch_type_press, 10, 20);
    touch_event(touch_type_release, 11, 21);
    EXPECT_EQ(next(), (seen{touch_type_press, 10, 20}));
    EXPECT_EQ(next(), (seen{touch_type_release, 11, 21}));
    EXPECT_EQ(next(), nothing);
}

TEST_F(touch, an_event_that_waits_for_the_next_pass_asks_for_it)
{
    (void)clock_take_look();
    touch_event(touch_type_press, 10, 20);
    touch_event(touch_type_release, 10, 20);
    next();
    EXPECT_EQ(clock_take_look(), 0);
    next();
    EXPECT_EQ(clock_take_look(), INT32_MAX);
}

TEST_F(touch, closed_reports_nothing)
{
    touch_event(touch_type_press, 10, 20);
    EXPECT_EQ(touch_close(), 0);
    touch_event(touch_type_release, 10, 20);
    EXPECT_EQ(next(), nothing);
    ASSERT_EQ(touch_open(), 0);
    EXPECT_EQ(next(), nothing);
}

TEST_F(touch, merges_moves_that_wait)
{
    touch_event(touch_type_press, 1, 1);
    for (int32_t x = 2; x <= 50; x++)
        touch_event(touch_type_move, x, 1);
    touch_event(touch_type_release, 50, 1);
    EXPECT_EQ(next().type, touch_type_press);
    EXPECT_EQ(next(), (seen{touch_type_move, 50, 1}));
    EXPECT_EQ(next().type, touch_type_release);
}

TEST_F(touch, merges_a_move_with_the_only_one_that_waits)
{
    touch_event(touch_type_press, 1, 1);
    EXPECT_EQ(next().type, touch_type_press);
    touch_event(touch_type_move, 2, 1);
    touch_event(touch_type_move, 3, 1);
    EXPECT_EQ(next(), (seen{touch_type_move, 3, 1}));
    EXPECT_EQ(next(), nothing);
}

TEST_F(touch, a_finger_that_rests_sends_no_move)
{
    touch_event(touch_type_press, 5, 5);
    touch_event(touch_type_move, 5, 5);
    EXPECT_EQ(next().type, touch_type_press);
    EXPECT_EQ(next(), nothing);
}

TEST_F(touch, clamps_to_the_panel)
{
    touch_event(touch_type_press, -5, 400);
    touch_event(touch_type_move, 100000, -100000);
    EXPECT_EQ(next(), (seen{touch_type_press, 0, 239}));
    EXPECT_EQ(next(), (seen{touch_type_move, 319, 0}));
}

TEST_F(touch, a_move_beyond_the_edge_is_none)
{
    touch_event(touch_type_press, 319, 10);
    touch_event(touch_type_move, 330, 10);
    EXPECT_EQ(next().type, touch_type_press);
    EXPECT_EQ(next(), nothing);
}

TEST_F(touch, ignores_moves_and_releases_without_a_finger)
{
    touch_event(touch_type_move, 10, 10);
    touch_event(touch_type_release, 10, 10);
    EXPECT_EQ(next(), nothing);
}

TEST_F(touch, a_second_press_is_a_move)
{
    touch_event(touch_type_press, 10, 10);
    touch_event(touch_type_press, 20, 10);
    EXPECT_EQ(next().type, touch_type_press);
    EXPECT_EQ(next(), (seen{touch_type_move, 20, 10}));
}

TEST_F(touch, a_flood_of_taps_never_leaves_half_a_tap)
{
    for (int i = 0; i < 1000; i++) {
        touch_event(touch_type_press, i % 320, 0);
        touch_event(touch_type_release, i % 320, 0);
    }
    int32_t wanted = touch_type_press;
    int count = 0;
    seen last = nothing;
    for (seen event = next(); event.type != -1; event = next()) {
        ASSERT_EQ(event.type, wanted);
        if (event.type == touch_type_release) {
            ASSERT_EQ(event.x, last.x) << "the release of another tap";
        }
        wanted = wanted == touch_type_press ? touch_type_release : touch_type_press;
        last = event;
        count++;
    }
    EXPECT_EQ(last, (seen{touch_type_release, 999 % 320, 0}));
    EXPECT_GE(count, 100);
}

TEST_F(touch, a_flood_drops_moves_before_taps)
{
    touch_event(touch_type_press, 0, 0);
    touch_event(touch_type_move, 9, 9);
    touch_event(touch_type_release, 0, 0);
    for (int i = 0; i < 63; i++) {
        touch_event(touch_type_press, i, 1);
        touch_event(touch_type_release, i, 1);
    }
    EXPECT_EQ(next().type, touch_type_press);
    EXPECT_EQ(next().type, touch_type_release);
    EXPECT_EQ(next(), (seen{touch_type_press, 0, 1}));
}

TEST_F(touch, a_release_after_a_missed_press_still_comes)
{
    touch_event(touch_type_press, 1, 1);
    EXPECT_EQ(next().type, touch_type_press);
    for (int i = 0; i < 200; i++) {
        touch_event(touch_type_release, 1, 1);
        touch_event(touch_type_press, 1, 1);
    }
    EXPECT_EQ(next().type, touch_type_release);
}

TEST_F(touch, faults_are_reported_after_the_real_work)
{
    fault_set("touch_close");
    const int before = manual_calls;
    EXPECT_EQ(touch_close(), -1);
    EXPECT_EQ(manual_calls, before + 1);
    fault_set("touch_open");
    EXPECT_EQ(touch_open(), -1);
    fault_set("");
    EXPECT_EQ(touch_close(), 0);
}
