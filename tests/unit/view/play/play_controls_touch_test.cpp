/* The controls of the play screen: the position bar and the buttons under a finger. */
#include "unit/view/play/play_controls_fixture.h"

/* ---- the position bar ---- */

static const char bar[] =
    "|<scroll x=\"10\" y=\"100\" width=\"101\" height=\"20\" type=\"fill-x\" action=\"play\"/>"
    "<button x=\"0\" y=\"0\" width=\"50\" height=\"50\" action=\"next\"/>";

TEST_F(play_controls, the_position_bar_seeks_to_the_nearest_sample)
{
    load_part({bar});
    set_track({.length = 441000});
    const samples wanted = {0, 220500, 440999};
    int i = 0;
    for (const int32_t offset : {0, 50, 100}) {
        EXPECT_EQ(touch(1, 10 + offset, 110), 0);
        touch(2, 10 + offset, 110);
        ASSERT_EQ(the_engine.seeks.size(), static_cast<size_t>(++i));
    }
    EXPECT_EQ(the_engine.seeks, wanted);
}

TEST_F(play_controls, the_position_bar_rounds)
{
    load_part({"|<scroll width=\"1001\" height=\"20\" type=\"fill-x\" action=\"play\"/>"});
    set_track({.length = 441000});
    for (const int32_t offset : {1, 333, 999})
        tap(offset, 5);
    EXPECT_EQ(the_engine.seeks, (samples{441, 146853, 440558}));
}

TEST_F(play_controls, a_bar_of_two_pixels_asks_for_a_sample_past_the_end)
{
    load_part({"|<scroll width=\"2\" height=\"20\" type=\"fill-x\" action=\"play\"/>"});
    set_track({.length = 441000});
    tap(1, 5);
    EXPECT_EQ(the_engine.seeks, samples{441440});
}

TEST_F(play_controls, dragging_along_the_position_bar_keeps_seeking)
{
    load_part({bar});
    set_track({.length = 1001});
    touch(1, 10, 110);
    touch(3, 60, 115);
    touch(3, 60, 90); /* off the bar */
    touch(3, 110, 119);
    touch(2, 110, 119);
    EXPECT_EQ(the_engine.seeks, (samples{0, 500, 1000}));
    touch(3, 60, 110); /* moves alone act too */
    EXPECT_EQ(the_engine.seeks.back(), 500);
}

TEST_F(play_controls, a_drag_ends_with_its_finger)
{
    load_part({bar});
    set_track();
    touch(1, 10, 110);
    touch(2, 10, 110);
    touch(1, 20, 20); /* a button */
    touch(3, 60, 110);
    EXPECT_EQ(the_engine.seeks.size(), 1u);
    touch(2, 60, 110);
}

TEST_F(play_controls, a_bar_that_hides_meanwhile_is_not_dragged)
{
    load_part({"|<scroll show=\"pause\" width=\"101\" height=\"50\" type=\"fill-x\" "
               "action=\"play\"/>"});
    set_track();
    play_paused = 1;
    touch(1, 10, 10);
    touch(3, 20, 10);
    EXPECT_EQ(the_engine.seeks.size(), 2u);
    play_paused = 0;
    touch(3, 30, 10);
    EXPECT_EQ(the_engine.seeks.size(), 2u);
    touch(2, 30, 10);
}

TEST_F(play_controls, dragging_over_the_position_bar_from_a_button_does_not_seek)
{
    load_part({bar});
    set_track();
    touch(1, 20, 20);
    touch(3, 60, 110);
    EXPECT_TRUE(the_engine.seeks.empty());
    touch(2, 60, 110);
    EXPECT_TRUE(steps().empty());
    EXPECT_TRUE(the_engine.seeks.empty());
}

TEST_F(play_controls, dragging_from_nothing_onto_the_position_bar_seeks)
{
    load_part({bar});
    set_track({.length = 1001});
    touch(1, 200, 200);
    touch(3, 60, 110);
    touch(3, 110, 110);
    EXPECT_EQ(the_engine.seeks, (samples{500, 1000}));
}

TEST_F(play_controls, a_release_on_the_position_bar_does_not_seek)
{
    load_part({bar});
    set_track();
    touch(2, 60, 110);
    EXPECT_TRUE(the_engine.seeks.empty());
}

TEST_F(play_controls, the_position_bar_without_a_track_only_captures)
{
    load_part({bar});
    touch(1, 60, 110);
    touch(3, 20, 20);
    touch(2, 20, 20);
    EXPECT_TRUE(the_engine.seeks.empty());
    EXPECT_TRUE(steps().empty());
}

TEST_F(play_controls, other_bars_capture_and_do_nothing)
{
    for (const char *other :
         {"type=\"fill-x-rev\" action=\"play\"", "type=\"fill-x\" action=\"battery\"",
          "action=\"play\"", "type=\"fill-x\""}) {
        const std::string text = std::string("|<scroll width=\"100\" height=\"50\" ") + other +
                                 "/><button width=\"100\" height=\"50\" action=\"next\"/>"
                                 "<scroll y=\"50\" width=\"101\" height=\"50\" type=\"fill-x\" "
                                 "action=\"play\"/>";
        (void)file_remove("pack");
        load_part({text});
        set_track();
        tap(50, 25);
        touch(1, 50, 25);
        touch(3, 50, 75); /* the capture holds */
        touch(2, 50, 75);
        EXPECT_TRUE(the_engine.seeks.empty()) << other;
        EXPECT_TRUE(steps().empty()) << other;
    }
}

TEST_F(play_controls, a_hidden_bar_is_not_touched)
{
    load_part({"|<scroll show=\"pause\" width=\"101\" height=\"50\" type=\"fill-x\" "
               "action=\"play\"/><button width=\"50\" height=\"50\" action=\"next\"/>"});
    set_track();
    tap(10, 10);
    EXPECT_TRUE(the_engine.seeks.empty());
    EXPECT_EQ(steps(), std::vector<int32_t>{1});
    play_paused = 1;
    tap(10, 10);
    EXPECT_EQ(the_engine.seeks.size(), 1u);
}

/* ---- buttons ---- */

static std::string button(const std::string &action, const std::string &more = "")
{
    return "|<img x=\"20\" y=\"30\" width=\"40\" height=\"40\" action=\"" + action + "\" " + more +
           "/>";
}

TEST_F(play_controls, the_pause_button_pauses_a_track)
{
    load_part({button("pause")});
    tap(30, 40);
    set_track();
    play_screen.redraw = 0;
    EXPECT_EQ(tap(30, 40), 0);
    EXPECT_EQ(play_paused, 1);
    EXPECT_EQ(play_screen.redraw, 1);
    tap(30, 40);
    EXPECT_EQ(play_paused, 1);
}

TEST_F(play_controls, the_play_button_resumes_or_starts_the_remembered_file)
{
    load_part({button("play")});
    set_track({.path = "/m/last.mp3"});
    play_paused = 1;
    play_screen.redraw = 0;
    EXPECT_EQ(tap(30, 40), 0);
    EXPECT_EQ(play_paused, 0);
    EXPECT_EQ(play_screen.redraw, 1);
    set_no_track();
    tap(30, 40);
    EXPECT_EQ(the_engine.begun, std::vector<std::string>{"/m/last.mp3"});
    EXPECT_EQ(play_paused, 1);
}

TEST_F(play_controls, the_stop_button_stops_a_track)
{
    load_part({button("stop")});
    tap(30, 40);
    EXPECT_EQ(the_engine.ended, 0);
    set_track();
    tap(30, 40);
    EXPECT_EQ(the_engine.ended, 1);
}

TEST_F(play_controls, the_track_buttons_step)
{
    load_part({"|<img width=\"10\" height=\"10\" action=\"prev\"/>"
               "<img x=\"10\" width=\"10\" height=\"10\" action=\"next\"/>"});
    set_track();
    play_pos = 2999;
    tap(5, 5);
    tap(15, 5);
    EXPECT_EQ(steps(), (std::vector<int32_t>{-1, 1}));
    play_pos = 3000;
    tap(5, 5);
    EXPECT_EQ(the_engine.seeks, samples{0});
    EXPECT_EQ(steps().size(), 2u);
}

TEST_F(play_controls, the_list_button_shows_the_playlist)
{
    load_part({button("list")});
    set_track({.path = path_more});
    EXPECT_EQ(tap(30, 40), -1);
    EXPECT_EQ(view_selected, &list_screen);
    EXPECT_EQ(list_cursor(list_cur_playlist), row_more);
}

TEST_F(play_controls, an_unknown_action_does_nothing)
{
    load_part({button("dance")});
    EXPECT_EQ(tap(30, 40), 0);
}

TEST_F(play_controls, a_button_acts_at_release_inside_its_box)
{
    load_part({button("next")});
    touch(1, 20, 30);
    EXPECT_TRUE(steps().empty());
    touch(3, 59, 69);
    EXPECT_TRUE(steps().empty());
    touch(2, 59, 69);
    EXPECT_EQ(steps(), std::vector<int32_t>{1});
}

TEST_F(play_controls, a_release_elsewhere_cancels)
{
    load_part({button("next")});
    const std::pair<int32_t, int32_t> outside[] = {{19, 40}, {60, 40}, {30, 29}, {30, 70}};
    for (const auto &[x, y] : outside) {
        touch(1, 30, 40);
        touch(2, x, y);
        tap(x, y);
    }
    EXPECT_TRUE(steps().empty());
    tap(30, 40);
    EXPECT_EQ(steps(), std::vector<int32_t>{1}) << "the capture ended";
}

TEST_F(play_controls, a_release_on_another_button_does_nothing)
{
    load_part({"|<img width=\"10\" height=\"10\" action=\"prev\"/>"
               "<img x=\"10\" width=\"10\" height=\"10\" action=\"next\"/>"});
    touch(1, 5, 5);
    touch(2, 15, 5);
    touch(2, 15, 5);
    EXPECT_TRUE(steps().empty());
}

TEST_F(play_controls, the_first_of_overlapping_buttons_acts)
{
    load_part({"|<img width=\"10\" height=\"10\"/>"
               "<img width=\"10\" height=\"10\" action=\"prev\"/>"
               "<img width=\"10\" height=\"10\" action=\"next\"/>"});
    tap(5, 5);
    EXPECT_EQ(steps(), std::vector<int32_t>{-1});
}

TEST_F(play_controls, a_button_that_hides_meanwhile_does_not_act)
{
    load_part({button("next", "show=\"play\"")});
    set_track();
    touch(1, 30, 40);
    set_no_track();
    touch(2, 30, 40);
    EXPECT_TRUE(steps().empty());
}

TEST_F(play_controls, a_finger_whose_release_never_came_is_forgotten)
{
    load_part({"|<button x=\"0\" y=\"0\" width=\"50\" height=\"50\" action=\"next\"/>"
               "<button x=\"100\" y=\"0\" width=\"50\" height=\"50\" action=\"pause\"/>"
               "<scroll x=\"10\" y=\"100\" width=\"101\" height=\"20\" type=\"fill-x\" "
               "action=\"play\"/>"});
    set_track({.length = 1001});
    touch(1, 20, 20); /* another screen comes up, or the display goes dark */
    tap(110, 20);
    EXPECT_TRUE(play_paused) << "the next press is one of its own";
    play_paused = 0;
    touch(1, 20, 20);
    touch(1, 110, 110);
    EXPECT_EQ(the_engine.seeks, samples{1000}) << "on the bar too";
    touch(3, 20, 20);
    touch(2, 20, 20);
    EXPECT_TRUE(steps().empty()) << "and the old button does not act";
}

TEST_F(play_controls, a_move_onto_a_button_does_not_press_it)
{
    load_part({button("next")});
    touch(3, 30, 40);
    touch(2, 30, 40);
    EXPECT_TRUE(steps().empty());
}

TEST_F(play_controls, a_skin_that_loads_under_the_finger_takes_the_press_along)
{
    load_part({button("next")});
    str_copy(cfg_skin_play, "pack");
    touch(1, 30, 40);
    EXPECT_EQ(press(0x8000), -1);
    EXPECT_EQ(touch(2, 30, 40), 0);
    EXPECT_TRUE(steps().empty());
    tap(30, 40);
    EXPECT_EQ(steps(), std::vector<int32_t>{1});
}

TEST_F(play_controls, a_skin_that_loads_under_the_finger_takes_the_bar_along)
{
    load_part({bar});
    str_copy(cfg_skin_play, "pack");
    set_track({.length = 1001});
    touch(1, 10, 110);
    press(0x8000);
    touch(3, 60, 110); /* found anew */
    touch(2, 60, 110);
    EXPECT_EQ(the_engine.seeks, (samples{0, 500}));
}

TEST_F(play_controls, a_finger_on_a_screen_without_a_part_does_nothing)
{
    EXPECT_EQ(tap(30, 40), 0);
}

TEST_F(play_controls, a_box_at_the_end_of_numbers_holds_no_finger)
{
    load_part({"|<img x=\"2147483647\" y=\"0\" width=\"2147483647\" height=\"10\" action=\"next\"/>"
               "<img x=\"-10\" y=\"-10\" width=\"2147483647\" height=\"2147483647\" "
               "action=\"prev\"/>"});
    tap(5, 5);
    EXPECT_EQ(steps(), std::vector<int32_t>{-1});
}
