/* The view manager: set-up, input, passes, redraws. */
#include "unit/view/view_fixture.h"

/* ---- set-up ---- */

TEST_F(views, init_and_exit_go_through_all_in_order)
{
    EXPECT_EQ(view_init(), 0);
    EXPECT_EQ(view_exit(), 0);
    EXPECT_EQ(trace, (texts{"init list", "init play", "init overlay", "exit list", "exit play",
                            "exit overlay"}));
}

TEST_F(views, init_stops_at_the_first_failure)
{
    init_fails = 1;
    EXPECT_EQ(view_init(), -1);
    EXPECT_EQ(trace, (texts{"init list", "init play"}));
}

TEST_F(views, exit_stops_at_the_first_failure)
{
    exit_fails = 0;
    EXPECT_EQ(view_exit(), -1);
    EXPECT_EQ(trace, (texts{"exit list"}));
}

/* ---- input ---- */

TEST_F(views, input_check_reports_keys_and_touches)
{
    test_press(key_select);
    test_touch(touch_type_press, 17, 33);
    input_check();
    EXPECT_EQ(input_key_checked, 1);
    EXPECT_EQ(input_key.pressed, key_select);
    EXPECT_EQ(input_key.held, key_select);
    EXPECT_EQ(input_touch_checked, 1);
    EXPECT_EQ(input_touch_x, 17);
    EXPECT_EQ(input_touch_y, 33);
    EXPECT_EQ(input_touch_type, touch_type_press);
    input_check();
    EXPECT_EQ(input_key_checked, 0);
    EXPECT_EQ(input_touch_checked, 0);
}

TEST_F(views, input_is_handed_over_once)
{
    settle_on(&list_screen);
    input_key_checked = 1;
    input_touch_checked = 1;
    view_run();
    EXPECT_EQ(seen_list.key, 1);
    EXPECT_EQ(seen_list.touch, 1);
    EXPECT_EQ(input_key_checked, 0);
    EXPECT_EQ(input_touch_checked, 0);
    view_run();
    EXPECT_EQ(seen_list.key, 0);
    EXPECT_EQ(seen_list.touch, 0);
}

TEST_F(views, view_selected_from_input_gets_no_event_of_that_pass)
{
    settle_on(&list_screen);
    select_from_input = &play_screen;
    input_key_checked = 1;
    view_run();
    EXPECT_EQ(seen_list.key, 1);
    EXPECT_EQ(seen_play.inputs, 1);
    EXPECT_EQ(seen_play.key, 0);
}

TEST_F(views, view_that_was_left_from_its_input_is_not_presented)
{
    settle_on(&list_screen);
    select_from_input = &play_screen;
    list_screen.updated = 1;
    view_run();
    EXPECT_EQ(list_screen.updated, 1);
    EXPECT_EQ(play_screen.updated, 0);
    EXPECT_EQ(view_previous, &list_screen);
    EXPECT_EQ(seen_list.draws, 0);
    EXPECT_EQ(seen_play.draws, 1);
}

/* ---- passes ---- */

TEST_F(views, pass_without_a_selected_view_does_nothing)
{
    view_run();
    EXPECT_TRUE(trace.empty());
    EXPECT_EQ(machine.shows, 0);
}

TEST_F(views, pass_runs_overlay_input_draw_and_shows)
{
    view_select(&list_screen);
    EXPECT_EQ(trace, (texts{"overlay input", "list input", "list draw", "overlay draw"}));
    EXPECT_EQ(machine.shows, 1);
    EXPECT_EQ(shown_at(0), list_colour);
    EXPECT_EQ(test_pixel(fb_cur, 0, 0), 0xFFFF);
    EXPECT_EQ(list_screen.updated, 0);
}

TEST_F(views, idle_pass_copies_and_shows_nothing)
{
    settle_on(&list_screen);
    fb_clear(fb_cur, 0x4321);
    for (int i = 0; i < 10; i++)
        view_run();
    EXPECT_EQ(machine.shows, 0);
    EXPECT_EQ(shown_at(0), 0x4321);
    EXPECT_EQ(seen_list.inputs, 10);
}

TEST_F(views, view_whose_input_says_so_is_not_drawn)
{
    settle_on(&list_screen);
    input_result = -1;
    list_screen.redraw = 1;
    view_run();
    EXPECT_EQ(seen_list.draws, 0);
    EXPECT_EQ(machine.shows, 0);
}

TEST_F(views, what_was_not_drawn_has_another_pass_at_once)
{
    settle_on(&list_screen);
    (void)clock_take_look();
    view_run();
    EXPECT_GT(clock_take_look(), 0) << "nothing to do until the next minute";
    input_result = -1;
    list_screen.redraw = 1;
    view_run();
    EXPECT_EQ(clock_take_look(), 0);
}

TEST_F(views, message_never_dirties_the_picture_of_a_view)
{
    settle_on(&list_screen);
    EXPECT_EQ(test_pixel(list_screen.surface, 0, 0), list_colour);
}

/* ---- redraws ---- */

TEST_F(views, redraw_is_asked_of_the_selected_view_only)
{
    settle_on(&list_screen);
    list_screen.redraw = play_screen.redraw = 0;
    const int wakes = machine_wakes;
    view_request_redraw();
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_EQ(play_screen.redraw, 0);
    EXPECT_GT(machine_wakes, wakes);
    view_selected = nullptr;
    view_request_redraw(); /* nobody to ask */
}

static void *ask_for_redraws(void *)
{
    for (int i = 0; i < 20000; i++)
        view_request_redraw();
    return nullptr;
}

TEST_F(views, workers_ask_for_redraws_while_views_change)
{
    settle_on(&list_screen);
    pthread_t worker;
    ASSERT_EQ(pthread_create(&worker, nullptr, ask_for_redraws, nullptr), 0);
    for (int i = 0; i < 200; i++) {
        view_select(i % 2 ? &list_screen : &play_screen);
        view_run();
    }
    pthread_join(worker, nullptr);
    view_request_redraw();
    EXPECT_EQ(view_selected.load()->redraw, 1);
}
