/* The list screen: keys that move the cursor, keys that choose a row. */
#include "unit/view/list/view_list_fixture.h"

/* ---- cursor keys ---- */

TEST_F(view_lists, up_and_down_wrap)
{
    open(list_of(5), 9);
    keys(0, key_up);
    EXPECT_EQ(list_main->cursor, 8);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 0);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 1);
    keys(0, key_up);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, down_reaches_the_last_row_before_it_wraps)
{
    open(list_of(5), 9);
    list_main->cursor = 7;
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 8);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, page_down_just_behind_the_end_stops_at_the_last_row)
{
    open(list_of(5), 9);
    list_main->cursor = 4; /* a page of 5 leads to row 9, which is not there */
    keys(0, key_page_down);
    EXPECT_EQ(list_main->cursor, 8);
    list_main->cursor = 5;
    keys(0, key_page_up);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, page_keys_stop_at_the_ends)
{
    open(list_of(5), 9);
    list_main->cursor = 3;
    keys(0, key_page_up);
    EXPECT_EQ(list_main->cursor, 0);
    keys(0, key_page_down);
    EXPECT_EQ(list_main->cursor, 5);
    keys(0, key_page_down);
    EXPECT_EQ(list_main->cursor, 8);
    keys(0, key_page_up);
    EXPECT_EQ(list_main->cursor, 3);
}

TEST_F(view_lists, first_of_several_cursor_keys_counts)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    keys(0, key_up | key_down | key_page_up | key_page_down);
    EXPECT_EQ(list_main->cursor, 3);
    keys(0, key_page_up | key_page_down);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, cursor_keys_act_on_the_repeat_word_only)
{
    open(list_of(5), 9);
    view_list->redraw = 0;
    keys(key_up | key_down, 0);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_EQ(view_list->redraw, 0);
    keys(0, key_down);
    EXPECT_EQ(view_list->redraw, 1);
}

TEST_F(view_lists, up_in_an_empty_list_leaves_no_cursor)
{
    open(list_of(5), 0);
    keys(0, key_up);
    EXPECT_EQ(list_main->cursor, -1);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, -1);
    keys(key_select, 0);
    EXPECT_TRUE(chosen.empty());
    keys(key_left, 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{-1, 1}}));
}

TEST_F(view_lists, no_key_event_moves_nothing)
{
    open(list_of(5), 9);
    input_key = {.pressed = key_select, .released = 0, .repeat = key_down, .held = 0};
    view_list->key_checked = 0;
    view_list->touch_checked = 0;
    EXPECT_EQ(view_list->input(view_list), 0);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(trace, (texts{"input"})); /* the list itself is asked in every pass */
}

/* ---- row keys ---- */

TEST_F(view_lists, row_keys_select_with_their_mode)
{
    open(list_of(5), 9);
    list_main->cursor = 2;
    for (const uint32_t key : {key_select, key_right, key_menu, key_reload})
        EXPECT_EQ(keys(key, 0), 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{2, 0}, {2, 1}, {2, 2}, {2, 3}}));
}

TEST_F(view_lists, first_of_several_row_keys_counts)
{
    open(list_of(5), 9);
    keys(key_select | key_right | key_menu | key_reload, 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, cursor_moves_before_the_row_is_chosen)
{
    open(list_of(5), 9);
    keys(key_select, key_down);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{1, 0}}));
}

TEST_F(view_lists, list_that_consumes_the_event_ends_it)
{
    open(list_of(5), 9);
    input_result = -1;
    EXPECT_EQ(keys(key_select, 0), -1);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, list_that_shows_another_one_ends_the_event)
{
    open(list_of(5), 9);
    on_input = [] { (void)view_list_select(list_cfg); };
    EXPECT_EQ(keys(key_select, 0), -1);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, select_that_is_done_ends_the_event)
{
    open(list_of(5), 9);
    select_result = -1;
    EXPECT_EQ(keys(key_select | key_left, 0), -1);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, other_list_gets_no_request_meant_for_the_first)
{
    open(list_of(5), 9);
    on_select = [] { (void)view_list_select(list_cfg); };
    EXPECT_EQ(keys(key_select | key_left, 0), -1);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, row_key_and_back_request_in_one_pass_both_arrive)
{
    open(list_of(5), 9);
    EXPECT_EQ(keys(key_select | key_left, 0), 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}, {-1, 1}}));
}

TEST_F(view_lists, switch_key_goes_to_the_play_view)
{
    open(list_of(5), 9);
    EXPECT_EQ(keys(key_switch, 0), -1);
    EXPECT_EQ(view_selected.load(), &play_screen);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, back_request_goes_before_the_switch_key)
{
    open(list_of(5), 9);
    EXPECT_EQ(keys(key_left | key_switch, 0), 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{-1, 1}}));
    EXPECT_EQ(view_selected.load(), view_list);
}
