/* The view manager over screens of one colour that note what they are asked. */
#pragma once

#include "support/hung.h"
#include "view/view.h"

#include "support/test_device.h"

#include <pthread.h>

constexpr uint16_t list_colour = 0x1111, play_colour = 0x2222, third_colour = 0x3333;

/* ---- screens that note what they are asked, each of one colour ---- */

struct screen_seen {
    int inputs = 0, draws = 0;
    uint8_t key = 0, touch = 0; /* what the last input was told */
};

inline std::vector<std::string> trace;
inline screen_seen seen_list, seen_play, seen_third;
inline int input_result = 0;
inline view *select_from_input = nullptr;
inline int init_fails = -1, exit_fails = -1; /* index of the view whose operation fails */

inline view list_screen = {
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

inline view play_screen = {
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

inline view third_screen = {
    .init = nullptr,
    .exit = nullptr,
    .input =
        [](view *) {
            seen_third.inputs++;
            return 0;
        },
    .draw = [](view *, fb_surface *) { return 0; },
};

inline view messages = {
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

static const hung hang_view_list(view_list, &list_screen);
static const hung hang_view_play(view_play, &play_screen);
static const hung hang_overlay_msg(overlay_msg, &messages);

using texts = std::vector<std::string>;

inline void open_screen(view *screen, uint16_t colour)
{
    screen->surface = fb_create(320, 240);
    screen->redraw = 1;
    screen->updated = 0;
    fb_clear(screen->surface, colour);
}

inline void close_screen(view *screen)
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
