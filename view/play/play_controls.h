/* play_controls: keys and touches on the play screen. Main thread. */
#pragma once

#include <cstdint>

struct view;

/* The input operation of the play screen's record. 0: draw in this pass; -1: the screen was left,
 * slides, or has just loaded a skin. */
int play_input(view *self);
/* Media keys (key_media_*): they act whatever screen is shown, and leave it shown. */
void play_controls_media(uint32_t pressed);
