/* The list screen: the finger on rows and bars. */
#include "unit/view/list/view_list_fixture.h"

/* ---- touch ---- */

TEST_F(view_lists, tap_selects_the_row_under_the_finger)
{
    open(list_of(5), 9);
    list_main->cursor = 4; /* rows 2 to 6 at y 10, 40, 70, 100, 130 */
    press(30, 45);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(list_main->cursor, 4);
    release(200, 50);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{3, 0}}));
    EXPECT_EQ(list_main->cursor, 3);
}

TEST_F(view_lists, tap_selects_the_cursor_row)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{4, 0}}));
}

TEST_F(view_lists, release_on_another_row_selects_nothing)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 45);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(list_main->cursor, 4);
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen.size(), 1u);
}

TEST_F(view_lists, empty_slots_and_gaps_cannot_be_pressed)
{
    open(list_of(5), 9);
    for (const int32_t y : {15, 45}) { /* above row 0 */
        press(30, y);
        release(30, y);
    }
    press(5, 75); /* left of the row */
    release(5, 75);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, row_ends_before_its_right_and_lower_edge)
{
    open(list_of(5), 9);
    list_main->cursor = 4; /* row 3: x 20 to 219, y 40 to 59 */
    for (const int32_t x : {19, 220}) {
        press(x, 50);
        release(x, 50);
    }
    for (const int32_t y : {39, 60}) {
        press(100, y);
        release(100, y);
    }
    EXPECT_TRUE(chosen.empty());
    press(219, 59);
    release(20, 40);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{3, 0}}));
}

/* A skin may write its slots one by one, and put those of the cursor's row elsewhere. */
constexpr char separate_slots[] = "<item x=\"0\" y=\"0\" width=\"50\" height=\"20\"/>"
                                  "<item_sel x=\"100\" y=\"0\" width=\"50\" height=\"20\"/>"
                                  "<item x=\"0\" y=\"30\" width=\"50\" height=\"20\"/>"
                                  "<item_sel x=\"100\" y=\"30\" width=\"50\" height=\"20\"/>";

TEST_F(view_lists, each_row_is_pressed_in_the_slot_that_shows_it)
{
    open(separate_slots, 2); /* the cursor's row 0 above, row 1 below it */
    for (const int32_t y : {5, 35}) {
        const int32_t empty = y == 5 ? 10 : 110;
        press(empty, y);
        release(empty, y);
    }
    EXPECT_TRUE(chosen.empty());
    press(110, 5);
    release(110, 5);
    press(10, 35);
    release(10, 35);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}, {1, 0}}));
}

TEST_F(view_lists, first_element_may_be_a_slot)
{
    open(separate_slots, 3);
    list_main->cursor = 1;
    EXPECT_EQ(draw(), (texts{"0 row 1", "30 row 2"}));
    view_list_state.rows = 3; /* row 0 in the first slot */
    press(10, 5);
    release(10, 5);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, slot_behind_the_last_row_cannot_be_pressed)
{
    open(list_of(5), 5);
    list_main->cursor = 4; /* the slots at y 100 and 130 are empty */
    press(30, 105);
    fill(list_main, numbered(9));
    release(30, 105);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, row_that_went_away_under_the_finger_is_not_selected)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 105); /* row 5 */
    fill(list_main, numbered(3));
    release(30, 105);
    EXPECT_TRUE(chosen.empty());
}

constexpr char wide_bar[] =
    "<scroll x=\"100\" y=\"200\" width=\"101\" height=\"10\" type=\"move-x\" action=\"list\"/>";

TEST_F(view_lists, tap_on_the_list_bar_moves_the_cursor)
{
    open(list_of(5) + wide_bar, 1000);
    view_list->redraw = 0;
    press(150, 205);
    EXPECT_EQ(list_main->cursor, 500);
    EXPECT_EQ(view_list->redraw, 1);
    release(150, 205);
    press(100, 200);
    EXPECT_EQ(list_main->cursor, 0);
    release(100, 200);
    press(200, 209);
    EXPECT_EQ(list_main->cursor, 999);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, bar_acts_once_per_touch)
{
    open(list_of(5) + wide_bar, 1000);
    press(100, 205);
    move(150, 205);
    EXPECT_EQ(list_main->cursor, 0);
    release(150, 205);
    move(150, 205);
    EXPECT_EQ(list_main->cursor, 500);
}

TEST_F(view_lists, finger_that_comes_from_outside_moves_the_bar)
{
    open(list_of(5) + wide_bar, 1000);
    press(310, 235);
    move(150, 205);
    EXPECT_EQ(list_main->cursor, 500);
}

TEST_F(view_lists, finger_that_pressed_a_row_does_not_move_the_bar)
{
    open(wide_bar + list_of(5), 1000);
    press(30, 75);
    move(200, 205);
    EXPECT_EQ(list_main->cursor, 0);
    release(200, 205);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, bar_moves_the_cursor_to_the_nearest_row)
{
    open("<scroll x=\"-400\" y=\"200\" width=\"1001\" height=\"10\" type=\"move-x\" "
         "action=\"list\"/>",
         2);
    for (const int32_t x : {99, 100}) {
        press(x, 205); /* 499 and 500 thousandths */
        release(x, 205);
        EXPECT_EQ(list_main->cursor, x - 99);
    }
}

TEST_F(view_lists, bar_without_the_lists_action_only_takes_the_touch)
{
    for (const std::string attributes :
         {"type=\"move-x\" action=\"battery\"", "type=\"move-x-rev\" action=\"list\"",
          "type=\"move-x\"", "action=\"list\""}) {
        open("<scroll x=\"0\" y=\"0\" width=\"320\" height=\"240\" " + attributes + "/>" +
                 list_of(5),
             9);
        list_main->cursor = 4;
        press(30, 105);
        release(30, 105);
        EXPECT_EQ(list_main->cursor, 4) << attributes;
        EXPECT_TRUE(chosen.empty()) << attributes;
        EXPECT_EQ(view_list->exit(), 0);
    }
}

TEST_F(view_lists, moving_finger_selects_no_row)
{
    open(list_of(5), 9);
    press(310, 235);
    move(30, 75);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, row_behind_a_bar_is_not_pressed)
{
    open(list_of(5) + "<scroll x=\"0\" y=\"0\" width=\"320\" height=\"240\" type=\"move-x\"/>", 9);
    list_main->cursor = 4;
    press(30, 75);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(view_lists, inactive_bar_lets_the_touch_through)
{
    open(list_of(5) + "<scroll x=\"0\" y=\"0\" width=\"320\" height=\"240\" type=\"move-x\" "
                      "action=\"list\"/>",
         9);
    skin_element *bar = &view_list_state.page->elements[view_list_state.page->element_count - 1];
    bar->inactive = 1;
    list_main->cursor = 4;
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{4, 0}}));
}

TEST_F(view_lists, bars_over_each_other_all_act_and_the_last_wins)
{
    open(wide_bar + std::string("<scroll x=\"100\" y=\"200\" width=\"201\" height=\"10\" "
                                "type=\"move-x\" action=\"list\"/>"),
         1000);
    press(150, 205);
    EXPECT_EQ(list_main->cursor, 250);
}

TEST_F(view_lists, bar_of_an_empty_list_does_nothing)
{
    open(wide_bar, 0);
    press(150, 205);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, bar_of_two_pixels_may_ask_for_the_row_behind_the_last)
{
    open(list_of(5) + "<scroll x=\"300\" y=\"0\" width=\"2\" height=\"9\" type=\"move-x\" "
                      "action=\"list\"/>",
         600);
    press(301, 5);
    release(301, 5);
    EXPECT_EQ(list_main->cursor, 600); /* (1001 * 599 + 500) / 1000 */
    draw();
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, touch_during_a_slide_is_dropped)
{
    open(list_of(5), 9);
    view_anime_started = 5;
    EXPECT_EQ(press(30, 75), -1);
    view_anime_started = 0;
    EXPECT_EQ(release(30, 75), 0);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, press_starts_anew_when_a_release_was_missed)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 15);
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{4, 0}}));
}

TEST_F(view_lists, selecting_a_row_may_replace_the_skin)
{
    open(list_of(5), 9);
    write_skin("skins/two", "");
    list_main->cursor = 4;
    on_select = [] { EXPECT_EQ(view_list_load_skin("skins/two"), 0); };
    press(30, 75);
    EXPECT_EQ(release(30, 75), 0);
    EXPECT_EQ(chosen.size(), 1u);
}

TEST_F(view_lists, reload_forgets_the_row_under_the_finger)
{
    open(list_of(5), 9);
    press(30, 75);
    ASSERT_EQ(view_list_load_skin("skins/one"), 0);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, select_of_a_tap_that_changes_the_view_consumes_the_event)
{
    open(list_of(5), 9);
    on_select = [] { view_select(view_play); };
    press(30, 75);
    EXPECT_EQ(release(30, 75), -1);
}

TEST_F(view_lists, input_without_a_list_does_nothing)
{
    open(list_of(5), 9);
    view_list_select(nullptr);
    EXPECT_EQ(keys(key_select, key_down), 0);
    view_list->redraw = 1;
    EXPECT_EQ(view_list->draw(view_list, nullptr), 0);
    view_list_select(list_main);
}
