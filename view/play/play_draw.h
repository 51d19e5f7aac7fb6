/* play_draw: draws the play screen. Main thread. */
#pragma once

struct fb_surface;
struct view;

/* The draw operation of the play screen's record: draws when something changed. Always 0. */
int play_draw(view *self, fb_surface *screen);
/* Forgets what was drawn last, so that the first pass takes the playing track for a new one. */
void play_draw_reset();
