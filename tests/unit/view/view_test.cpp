#include "view/view.h"

#include "support/test_device.h"

#include <pthread.h>

constexpr uint16_t list_colour = 0x1111, play_colour = 0x2222, third_colour = 0x3333;

/* ---- screens that note what they are asked, each of one colour ---- */

struct screen_seen {
    int inputs = 0, draws = 0;
    uint8_t key = 0, touch = 0; /* what the last input was told */
};

static std::vector<std::string> trace;
static screen_seen seen_list, seen_play, seen_third;
static int input_result = 0;
static view *select_from_input = nullptr;
static int init_fails = -1, exit_fails = -1; /* index of the view whose operation fails */

static view list_screen = {
    .init =
        [] {
            trace.push_back("init list");
            return init_fails == 0 ? -1 : 0;
        },
    .exit =
        [] {
            trace.push_back("exit list");
            return exit_fails == 0 ? -1 : 0;
        },
    .input =
        [](view *self) {
            seen_list.inputs++;
            seen_list.key = self->key_checked;
            seen_list.touch = self->touch_checked;
            trace.push_back("list input");
            if (view *next = select_from_input) {
                select_from_input = nullptr;
                view_select(next);
            }
            return input_result;
        },
    .draw =
        [](view *self, fb_surface *) {
            seen_list.draws++;
            trace.push_back("list draw");
            if (self->redraw.exchange(0))
                self->updated = 1;
            return 0;
        },
};

static view play_screen = {
    .init =
        [] {
            trace.push_back("init play");
            return init_fails == 1 ? -1 : 0;
        },
    .exit =
        [] {
            trace.push_back("exit play");
            return exit_fails == 1 ? -1 : 0;
        },
    .input =
        [](view *self) {
            seen_play.inputs++;
            seen_play.key = self->key_checked;
            seen_play.touch = self->touch_checked;
            trace.push_back("play input");
            return 0;
        },
    .draw =
        [](view *self, fb_surface *) {
            seen_play.draws++;
            trace.push_back("play draw");
            if (self->redraw.exchange(0))
                self->updated = 1;
            return 0;
        },
};

static view third_screen = {
    .init = nullptr,
    .exit = nullptr,
    .input =
        [](view *) {
            seen_third.inputs++;
            return 0;
        },
    .draw = [](view *, fb_surface *) { return 0; },
};

static view messages = {
    .init =
        [] {
            trace.push_back("init overlay");
            return init_fails == 2 ? -1 : 0;
        },
    .exit =
        [] {
            trace.push_back("exit overlay");
            return exit_fails == 2 ? -1 : 0;
        },
    .input =
        [](view *shown) {
            EXPECT_EQ(shown, view_selected.load());
            trace.push_back("overlay input");
            return 0;
        },
    .draw =
        [](view *, fb_surface *screen) {
            trace.push_back("overlay draw");
            screen->pixels[0] = 0xFFFF; /* lies on top of whatever was copied */
            return 0;
        },
};

view *view_list = &list_screen;
view *view_play = &play_screen;
view *overlay_msg = &messages;

using texts = std::vector<std::string>;

static void open_screen(view *screen, uint16_t colour)
{
    screen->surface = fb_create(320, 240);
    screen->redraw = 1;
    screen->updated = 0;
    fb_clear(screen->surface, colour);
}

static void close_screen(view *screen)
{
    fb_free(screen->surface);
    screen->surface = nullptr;
}

class views : public testing::Test
{
  protected:
    void SetUp() override
    {
        test_device_open();
        open_screen(&list_screen, list_colour);
        open_screen(&play_screen, play_colour);
        open_screen(&third_screen, third_colour);
        seen_list = seen_play = seen_third = {};
        input_result = 0;
        select_from_input = nullptr;
        init_fails = exit_fails = -1;
        view_selected = nullptr;
        view_previous = nullptr;
        view_anime_pending = 0;
        view_anime_started = 0;
        input_key_checked = 0;
        input_touch_checked = 0;
        trace.clear();
    }
    void TearDown() override
    {
        view_selected = nullptr;
        close_screen(&list_screen);
        close_screen(&play_screen);
        close_screen(&third_screen);
        test_device_close();
    }
    /* Both screens shown once, nothing left to do. */
    static void settle_on(view *shown)
    {
        view_select(shown);
        machine.ms += 1000;
        view_run();
        view_run();
        trace.clear();
        seen_list = seen_play = {};
        machine.shows = 0;
    }
    static uint16_t shown_at(int32_t x) { return test_pixel(fb_cur, x, 100); }
};

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

TEST_F(views, message_never_dirties_the_picture_of_a_view)
{
    settle_on(&list_screen);
    EXPECT_EQ(test_pixel(list_screen.surface, 0, 0), list_colour);
}

/* ---- the slide ---- */

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

TEST_F(views, both_pictures_move_with_the_slide)
{
    for (const int32_t moved : {0, 80, 160, 318}) {
        settle_on(&list_screen);
        number_pixels(&list_screen, 0);
        number_pixels(&play_screen, 7);
        view_select(&play_screen);
        machine.ms += (moved * 200 + 319) / 320;
        view_run();
        for (const int32_t y : {0, 50, 239}) {
            const int32_t row = y * 320;
            for (int32_t x = 1; x < 320; x++)
                ASSERT_EQ(test_pixel(fb_cur, x, y),
                          static_cast<uint16_t>(x < 320 - moved ? row + x + moved
                                                                : 7 + row + x - (320 - moved)))
                    << moved << " " << x;
        }
    }
}

TEST_F(views, both_pictures_move_back_with_the_slide)
{
    for (const int32_t moved : {0, 80, 160, 318}) {
        settle_on(&play_screen);
        number_pixels(&list_screen, 0);
        number_pixels(&play_screen, 7);
        view_select(&list_screen);
        machine.ms += (moved * 200 + 319) / 320;
        view_run();
        for (const int32_t y : {0, 50, 239}) {
            const int32_t row = y * 320;
            for (int32_t x = 1; x < 320; x++)
                ASSERT_EQ(test_pixel(fb_cur, x, y),
                          static_cast<uint16_t>(x < moved ? row + x + (320 - moved)
                                                          : 7 + row + x - moved))
                    << moved << " " << x;
        }
    }
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
