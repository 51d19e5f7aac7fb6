/* The view manager: the slide from one screen to the next. */
#include "unit/view/view_fixture.h"

TEST_F(views, first_view_is_shown_without_a_slide)
{
    view_select(&list_screen);
    EXPECT_EQ(view_anime_started, 0);
    EXPECT_EQ(view_previous, nullptr);
    EXPECT_EQ(shown_at(0), list_colour);
    EXPECT_EQ(shown_at(319), list_colour);
}

struct slide_case {
    int32_t ms, new_x;
};

TEST_F(views, play_view_comes_in_from_the_right)
{
    for (const slide_case &each :
         {slide_case{1, 319}, slide_case{50, 240}, slide_case{100, 160}, slide_case{199, 2}}) {
        settle_on(&list_screen);
        view_select(&play_screen);
        machine.ms += each.ms;
        view_run();
        EXPECT_EQ(shown_at(each.new_x), play_colour) << each.ms;
        EXPECT_EQ(shown_at(319), play_colour) << each.ms;
        EXPECT_EQ(shown_at(each.new_x - 1), list_colour) << each.ms;
        EXPECT_EQ(shown_at(1), list_colour) << each.ms;
        EXPECT_NE(view_anime_started, 0) << each.ms;
        EXPECT_EQ(view_previous, &list_screen) << each.ms;
    }
}

TEST_F(views, list_view_comes_back_from_the_left)
{
    for (const slide_case &each :
         {slide_case{1, -319}, slide_case{50, -240}, slide_case{100, -160}, slide_case{199, -2}}) {
        settle_on(&play_screen);
        view_select(&list_screen);
        machine.ms += each.ms;
        view_run();
        const int32_t old_x = each.new_x + 320;
        EXPECT_EQ(shown_at(1), each.ms == 1 ? play_colour : list_colour) << each.ms;
        EXPECT_EQ(shown_at(old_x), play_colour) << each.ms;
        EXPECT_EQ(shown_at(old_x - 1), list_colour) << each.ms;
        EXPECT_EQ(shown_at(319), play_colour) << each.ms;
    }
}

/* Gives each column of a picture a number of its own, and each row another one. */
static void number_pixels(const view *screen, uint16_t first)
{
    for (int32_t y = 0; y < 240; y++)
        for (int32_t x = 0; x < 320; x++)
            screen->surface->pixels[y * screen->surface->stride + x] =
                static_cast<uint16_t>(first + y * 320 + x);
}

/* The pixel that belongs at x, in a row that begins with number `row`. */
typedef int32_t (*slide_pixel)(int32_t row, int32_t x, int32_t moved);

class sliding_views : public views
{
  protected:
    void expect_slide(view *from, view *to, slide_pixel wanted)
    {
        for (const int32_t moved : {0, 80, 160, 318}) {
            settle_on(from);
            number_pixels(&list_screen, 0);
            number_pixels(&play_screen, 7);
            view_select(to);
            machine.ms += (moved * 200 + 319) / 320;
            view_run();
            for (const int32_t y : {0, 50, 239})
                for (int32_t x = 1; x < 320; x++)
                    ASSERT_EQ(test_pixel(fb_cur, x, y),
                              static_cast<uint16_t>(wanted(y * 320, x, moved)))
                        << moved << " " << x;
        }
    }
};

TEST_F(sliding_views, both_pictures_move_with_the_slide)
{
    expect_slide(&list_screen, &play_screen, [](int32_t row, int32_t x, int32_t moved) {
        return x < 320 - moved ? row + x + moved : 7 + row + x - (320 - moved);
    });
}

TEST_F(sliding_views, both_pictures_move_back_with_the_slide)
{
    expect_slide(&play_screen, &list_screen, [](int32_t row, int32_t x, int32_t moved) {
        return x < moved ? row + x + (320 - moved) : 7 + row + x - moved;
    });
}

TEST_F(views, late_frame_ends_the_slide_at_its_place)
{
    for (view *from : {&list_screen, &play_screen}) {
        view *to = from == &list_screen ? &play_screen : &list_screen;
        settle_on(from);
        number_pixels(to, 3);
        view_select(to);
        machine.ms += 1234;
        view_run();
        EXPECT_EQ(view_anime_started, 0);
        EXPECT_EQ(test_pixel(fb_cur, 1, 100), static_cast<uint16_t>(3 + 100 * 320 + 1));
        EXPECT_EQ(test_pixel(fb_cur, 319, 239), static_cast<uint16_t>(3 + 239 * 320 + 319));
    }
}

TEST_F(views, slide_ends_after_200_milliseconds)
{
    for (view *from : {&list_screen, &play_screen}) {
        view *to = from == &list_screen ? &play_screen : &list_screen;
        settle_on(from);
        view_select(to);
        machine.ms += 200;
        view_run();
        EXPECT_EQ(view_anime_started, 0);
        EXPECT_EQ(view_previous, nullptr);
        EXPECT_EQ(shown_at(1), to == &list_screen ? list_colour : play_colour);
        EXPECT_EQ(shown_at(319), to == &list_screen ? list_colour : play_colour);
        machine.shows = 0;
        view_run();
        EXPECT_EQ(machine.shows, 0);
    }
}

TEST_F(views, every_other_change_slides_to_the_left)
{
    settle_on(&play_screen);
    view_select(&third_screen);
    machine.ms += 100;
    view_run();
    EXPECT_EQ(shown_at(159), play_colour);
    EXPECT_EQ(shown_at(160), third_colour);
}

TEST_F(views, view_that_slides_onto_itself_comes_from_the_right)
{
    settle_on(&list_screen);
    view_select(&list_screen);
    EXPECT_NE(view_anime_started, 0);
    machine.ms += 200;
    view_run();
    EXPECT_EQ(view_anime_started, 0);
}

TEST_F(views, new_view_draws_its_first_picture_before_it_slides)
{
    settle_on(&list_screen);
    view_select(&play_screen);
    EXPECT_EQ(seen_play.draws, 1);
    EXPECT_EQ(view_anime_started, clock_msec());
    EXPECT_EQ(machine.shows, 1);
    EXPECT_EQ(shown_at(319), list_colour); /* nothing has moved yet */
}

TEST_F(views, sliding_view_gets_input_but_does_not_draw)
{
    settle_on(&list_screen);
    view_select(&play_screen);
    seen_play = {};
    machine.shows = 0;
    for (int i = 0; i < 5; i++) {
        machine.ms += 10;
        input_key_checked = 1;
        view_run();
        EXPECT_EQ(seen_play.key, 1);
    }
    EXPECT_EQ(seen_play.inputs, 5);
    EXPECT_EQ(seen_play.draws, 0);
    EXPECT_EQ(machine.shows, 5);
}

TEST_F(views, change_in_mid_slide_starts_anew_from_the_view_selected_then)
{
    settle_on(&list_screen);
    view_select(&play_screen);
    machine.ms += 100;
    view_run();
    view_select(&third_screen);
    EXPECT_EQ(view_previous, &play_screen);
    EXPECT_EQ(view_anime_started, clock_msec());
    machine.ms += 199;
    view_run();
    EXPECT_NE(view_anime_started, 0);
    EXPECT_EQ(shown_at(0), play_colour);
    machine.ms += 1;
    view_run();
    EXPECT_EQ(view_anime_started, 0);
}

TEST_F(views, view_selected_in_mid_slide_draws_its_first_picture_too)
{
    settle_on(&list_screen);
    view_select(&play_screen);
    machine.ms += 100;
    view_run();
    seen_list = {};
    view_select(&list_screen);
    EXPECT_EQ(seen_list.draws, 1);
}

TEST_F(views, selection_that_starts_no_slide_leaves_a_running_one_alone)
{
    view_anime_started = 777;
    view_select(&list_screen);
    EXPECT_EQ(seen_list.draws, 1);
    EXPECT_EQ(shown_at(319), list_colour);
    EXPECT_EQ(view_anime_started, 777);
}

TEST_F(views, selecting_none_leaves_a_running_slide_alone)
{
    settle_on(&list_screen);
    view_select(&play_screen);
    const int32_t started = view_anime_started;
    machine.ms += 10;
    view_select(nullptr);
    EXPECT_EQ(view_anime_started, started);
    view_run();
    EXPECT_EQ(view_selected.load(), nullptr);
}

TEST_F(views, slide_is_right_across_the_wrap_of_the_clock)
{
    settle_on(&list_screen);
    machine.ms = INT32_MAX - 49;
    view_select(&play_screen);
    machine.ms += 100;
    view_run();
    EXPECT_EQ(shown_at(159), list_colour);
    EXPECT_EQ(shown_at(160), play_colour);
    machine.ms += 100;
    view_run();
    EXPECT_EQ(view_anime_started, 0);
}

TEST_F(views, clock_that_went_back_ends_the_slide)
{
    settle_on(&list_screen);
    view_select(&play_screen);
    machine.ms -= 5000;
    view_run();
    EXPECT_EQ(view_anime_started, 0);
    EXPECT_EQ(shown_at(1), play_colour);
}

TEST_F(views, views_without_pictures_slide_without_harm)
{
    settle_on(&list_screen);
    close_screen(&list_screen);
    close_screen(&play_screen);
    view_select(&play_screen);
    machine.ms += 200;
    view_run();
    EXPECT_EQ(view_anime_started, 0);
    open_screen(&list_screen, list_colour);
    open_screen(&play_screen, play_colour);
}
