/* watch_choice: which scene the window shows after a change. */
#pragma once

#include "tools/zerv_skin/scene.h"

struct watch_choice {
    scene last[2]; /* what was looked at of the play part and of the list part; name "": nothing */
    bool in_list;  /* the part that is looked at */
    bool chosen;   /* anything was */
    bool was_broken[2]; /* the part did not load at the last look */
};

/* Notes what was stepped to. */
void watch_note(watch_choice *choice, const scene &shown);
/* The scene to show of a package that was read anew: what was looked at, or the first of its part;
 * a part that a fault took away comes back with the repair. The number of scenes when there is none
 * to show. */
size_t watch_choose(watch_choice *choice, const scene_package &package);
