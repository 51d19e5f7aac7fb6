/* Fingers on the bare device: panels and tablets of all sizes, turned as the picture is. */
#include "unit/platform/device/linux/linux_input_fixture.h"

TEST_F(linux_input_of, a_panel_reports_whole_points)
{
    const int panel = attach(panel_ranges);
    send(panel, EV_ABS, ABS_X, 100);
    send(panel, EV_ABS, ABS_Y, 3800);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    pass();
    expect_touch(0, 0, 0);
    report(panel);
    pass();
    expect_touch(touch_type_press, 0, 0);
    send(panel, EV_ABS, ABS_X, 3900);
    send(panel, EV_ABS, ABS_Y, 200);
    report(panel);
    report(panel);
    pass();
    expect_touch(touch_type_move, 319, 239);
    expect_touch(0, 0, 0);
    send(panel, EV_KEY, BTN_TOUCH, 0);
    report(panel);
    pass();
    expect_touch(touch_type_release, 319, 239);
}

TEST_F(linux_input_of, a_finger_turns_and_scales_with_the_picture)
{
    const linux_panel standing = {nullptr, 480, 800, 960, 2, {}, {}, {}, 0, 1};
    linux_panel_open = &standing; /* the picture is 480 x 640 there, 80 below the top */
    const int panel = attach({{0, 479}, {0, 799}});
    send(panel, EV_ABS, ABS_X, 479);
    send(panel, EV_ABS, ABS_Y, 80);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 0, 0);
    send(panel, EV_ABS, ABS_X, 1);
    report(panel);
    pass();
    expect_touch(touch_type_move, 0, 239);
    send(panel, EV_ABS, ABS_Y, 799);
    report(panel);
    pass();
    expect_touch(touch_type_move, 319, 239);
    send(panel, EV_KEY, BTN_TOUCH, 0);
    report(panel);
    pass();
    expect_touch(touch_type_release, 319, 239);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(0, 0, 0);
    linux_panel_open = nullptr;
}

TEST_F(linux_input_of, a_touch_panel_that_tells_points_of_the_picture_is_not_turned_again)
{
    const linux_panel standing = {nullptr, 240, 320, 480, 2, {}, {}, {}, 0, 1};
    linux_panel_open = &standing;
    const int panel = attach({{0, 319}, {0, 239}});
    send(panel, EV_ABS, ABS_X, 300);
    send(panel, EV_ABS, ABS_Y, 20);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 300, 20);
    linux_panel_open = nullptr;
}

TEST_F(linux_input_of, a_touch_panel_is_turned_as_wished)
{
    const linux_panel standing = {nullptr, 240, 320, 480, 2, {}, {}, {}, 0, 1};
    linux_panel_open = &standing;
    key_close();
    setenv("ZERV_TOUCH_TURN", "180", 1);
    ASSERT_EQ(key_open(), 0);
    unsetenv("ZERV_TOUCH_TURN");
    const int panel = attach({{0, 4095}, {0, 4095}});
    send(panel, EV_ABS, ABS_X, 0);
    send(panel, EV_ABS, ABS_Y, 0);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 319, 239);
    linux_panel_open = nullptr;
    key_close();
    ASSERT_EQ(key_open(), 0);
}

TEST_F(linux_input_of, the_left_button_of_a_tablet_is_a_finger)
{
    const int tablet = attach({{0, 32767}, {0, 32767}, true, 32767, 0});
    send(tablet, EV_KEY, BTN_TOUCH, 1);
    report(tablet);
    pass();
    expect_touch(0, 0, 0);
    send(tablet, EV_KEY, BTN_LEFT, 1);
    report(tablet);
    pass();
    expect_touch(touch_type_press, 319, 0);
    send(tablet, EV_ABS, ABS_Y, 32767);
    report(tablet);
    pass();
    expect_touch(touch_type_move, 319, 239);
    send(tablet, EV_KEY, BTN_LEFT, 0);
    report(tablet);
    pass();
    expect_touch(touch_type_release, 319, 239);
}

TEST_F(linux_input_of, the_first_of_several_fingers_counts)
{
    const int panel = attach({{0, 319}, {0, 239}});
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, 7);
    send(panel, EV_ABS, ABS_MT_POSITION_X, 10);
    send(panel, EV_ABS, ABS_MT_POSITION_Y, 20);
    send(panel, EV_ABS, ABS_MT_SLOT, 1);
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, 8);
    send(panel, EV_ABS, ABS_MT_POSITION_X, 200);
    send(panel, EV_ABS, ABS_MT_POSITION_Y, 200);
    report(panel);
    pass();
    expect_touch(touch_type_press, 10, 20);
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, -1);
    report(panel);
    pass();
    expect_touch(0, 0, 0);
    send(panel, EV_ABS, ABS_MT_SLOT, 0);
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, -1);
    report(panel);
    pass();
    expect_touch(touch_type_release, 10, 20);
}

TEST_F(linux_input_of, values_beyond_the_range_stay_on_the_screen)
{
    const int panel = attach(panel_ranges);
    send(panel, EV_ABS, ABS_X, INT32_MAX);
    send(panel, EV_ABS, ABS_Y, INT32_MAX);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 319, 0);
}
