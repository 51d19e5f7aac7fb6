/* view: the screens, the one that is selected, the slide between two, and the input they get.
 * Main thread, except the atomics. */
#pragma once

#include "platform/input/key.h"

#include <atomic>
#include <cstdint>

struct fb_surface;

struct view {
    int (*init)();            /* loads the skin and makes the surfaces; 0, else it failed */
    int (*exit)();            /* frees what init made, if anything; 0, else it failed */
    int (*input)(view *self); /* 0: draw in this pass. The overlay gets the selected view */
    int (*draw)(view *self, fb_surface *screen); /* the overlay gets the selected view; screens
                                                    ignore `screen` */
    fb_surface *frame = nullptr;                 /* where the view draws; made by init */
    fb_surface *surface = nullptr;               /* the finished picture; a frame may change places
                                                    with it once it is finished */
    std::atomic<uint8_t> redraw{1};              /* draw everything next time; any thread */
    std::atomic<uint8_t> updated{0};             /* `surface` holds a new picture */
    uint8_t key_checked = 0;                     /* input_key_checked of this pass */
    uint8_t touch_checked = 0;                   /* input_touch_checked of this pass */
};

/* Null until start-up hangs in the records of the folders that fill them. */
extern view *view_list;
extern view *view_play;
extern view *overlay_msg;

extern std::atomic<view *> view_selected; /* null before the first selection; read by any thread */
extern view *view_previous;
extern uint8_t view_anime_pending;
extern int32_t view_anime_started; /* clock_msec() of the running slide's begin, 0: none */

extern key_report input_key;        /* of this pass */
extern uint8_t input_key_checked;   /* a key was pressed or repeats, and nobody took it yet */
extern int32_t input_touch_x;       /* of the last touch event, screen pixels, 0..319 */
extern int32_t input_touch_y;       /* 0..239 */
extern int32_t input_touch_type;    /* touch_type_* */
extern uint8_t input_touch_checked; /* this pass has an event, and nobody took it yet */

/* Calls init, or exit, of the list screen, the play screen and the overlay. The first that fails
 * ends it: -1. Exit accepts views that never came up. */
[[nodiscard]] int view_init();
int view_exit();
/* Polls keys and touch, once a pass. */
void input_check();
/* One pass of the selected view. */
void view_run();
/* Selects a view, runs one pass of it and starts the slide. Null selects none. */
void view_select(view *next);
/* Asks the selected view, if any, for a full redraw. Any thread. */
void view_request_redraw();
