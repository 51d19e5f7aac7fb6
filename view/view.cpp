#include "view/view.h"

#include "platform/base/clock.h"
#include "platform/draw/fb.h"
#include "platform/input/touch.h"

#include <algorithm>
#include <cassert>

constexpr uint32_t slide_ms = 200;

/* Main thread, but for the selected view, which workers ask to redraw. */
constinit std::atomic<view *> view_selected{nullptr};
constinit view *view_previous = nullptr;
constinit uint8_t view_anime_pending = 0;
constinit int32_t view_anime_started = 0;

constinit key_report input_key = {};
constinit uint8_t input_key_checked = 0;
constinit int32_t input_touch_x = 0, input_touch_y = 0, input_touch_type = 0;
constinit uint8_t input_touch_checked = 0;

/* Where the two pictures of a slide stand. */
struct slide {
    int32_t new_x, old_x;
};

/* ---- presenting ---- */

static void copy_to_screen(const fb_surface *picture, int32_t x)
{
    if (fb_cur && picture)
        (void)fb_copy(fb_cur, picture, x, 0, picture->width, picture->height, 0, 0);
}

/* Pixels that the pictures have moved. Wraps with the clock, so everything is unsigned. */
static int32_t moved_pixels(int32_t width)
{
    const uint32_t elapsed =
        static_cast<uint32_t>(clock_msec()) - static_cast<uint32_t>(view_anime_started);
    return static_cast<int32_t>(elapsed * static_cast<uint32_t>(width) / slide_ms);
}

/* Back from the play screen to the lists goes the other way: the list comes in from the left. */
static slide place_slide(const view *shown, int32_t width)
{
    const int32_t moved = moved_pixels(width);
    if (view_previous == view_play && shown == view_list) {
        const int32_t new_x = std::min(moved - width, 0);
        return {new_x, new_x + width};
    }
    const int32_t new_x = std::max(width - moved, 0);
    return {new_x, new_x - width};
}

static void present(view *shown)
{
    if (view_anime_pending) {
        view_anime_pending = 0;
        view_anime_started = clock_msec();
    }
    const bool sliding = view_anime_started != 0;
    if (!sliding && !shown->updated)
        return;
    slide at = {0, 0};
    if (sliding) {
        at = place_slide(shown, fb_cur ? fb_cur->width : 0);
        if (view_previous)
            copy_to_screen(view_previous->surface, at.old_x);
    }
    if (sliding)
        copy_to_screen(shown->surface, at.new_x);
    else
        (void)fb_copy_changes(fb_cur, shown->surface); /* nothing without a screen */
    (void)overlay_msg->draw(shown, fb_cur);
    (void)fb_flip(); /* a frame that could not be shown is followed by the next one */
    shown->updated = 0;
    if (sliding)
        clock_look_in(0); /* also after its last frame: views that waited for the end draw then */
    if (sliding && at.new_x == 0) {
        view_anime_started = 0;
        view_previous = nullptr;
    }
}

/* ---- one pass ---- */

/* The events of a pass reach one view only, however many are selected while it runs. */
static void hand_over_input(view *to)
{
    to->key_checked = input_key_checked;
    to->touch_checked = input_touch_checked;
    input_key_checked = 0;
    input_touch_checked = 0;
}

static void run(view *shown)
{
    assert(overlay_msg && shown->input && shown->draw); /* hung up at start-up */
    hand_over_input(shown);
    (void)overlay_msg->input(shown);
    if (shown->input(shown) == 0 && view_selected == shown && view_anime_started == 0)
        (void)shown->draw(shown, fb_cur);
}

void view_run()
{
    view *shown = view_selected;
    if (!shown)
        return;
    run(shown);
    /* The input may have selected another one. */
    shown = view_selected;
    if (!shown)
        return;
    present(shown);
    clock_look_next_minute(); /* both screens may show it */
    if (shown->redraw || shown->updated)
        clock_look_in(0); /* it was not drawn in this pass */
}

void view_select(view *next)
{
    view *before = view_selected;
    if (before) {
        view_previous = before;
        view_anime_pending = 1;
    }
    const int32_t running_slide = view_anime_started;
    view_selected = next;
    /* Lets the new view draw its first picture, which is what slides in. */
    view_anime_started = 0;
    if (!next) {
        view_anime_started = running_slide;
        return;
    }
    run(next);
    view *shown = view_selected;
    if (shown)
        present(shown);
    if (view_anime_started == 0)
        view_anime_started = running_slide;
}

void view_request_redraw()
{
    view *shown = view_selected;
    if (shown)
        shown->redraw = 1;
    clock_wake();
}

/* ---- the manager ---- */

int view_init()
{
    for (view *each : {view_list, view_play, overlay_msg}) {
        if (each->init() != 0)
            return -1;
    }
    return 0;
}

int view_exit()
{
    for (view *each : {view_list, view_play, overlay_msg}) {
        if (each->exit() != 0)
            return -1;
    }
    return 0;
}

void input_check()
{
    input_key_checked = static_cast<uint8_t>(key_check(&input_key));
    input_touch_checked =
        static_cast<uint8_t>(touch_check(&input_touch_x, &input_touch_y, &input_touch_type));
}
