/* still_screen: a view that shows nothing and takes nothing, as both screens. */
#pragma once

#include "support/hung.h"
#include "view/view.h"

inline view still_screen = {
    .init = [] { return 0; },
    .exit = [] { return 0; },
    .input = [](view *) { return 0; },
    .draw = [](view *, fb_surface *) { return 0; },
};
static const hung hang_view_list(view_list, &still_screen);
static const hung hang_view_play(view_play, &still_screen);
