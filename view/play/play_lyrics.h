/* play_lyrics: the timed lyrics of the playing track, found on worker threads. */
#pragma once

#include "view/play/play_state.h"

#include <cstdint>

/* The lines that stand on the screen now. */
struct play_lyrics_shown {
    uint32_t count;
    char lines[play_lyrics_lines][256];
};

/* Starts the loader unless it was already started for the playing track. Any thread; play_view_lock
 * may be held. */
void start_lyrics_loader();
/* Moves the shown lines to a playing position (ms) and asks for a redraw when they change. Any
 * thread, under play_view_lock. */
void update_lyrics_shown(uint32_t position) REQUIRES(play_view_lock);
/* Cuts a span of positions, `position` in it, to the one in which the lines shown there stay. */
void play_lyrics_cut_span(int32_t position, int32_t *first, int32_t *last) REQUIRES(play_view_lock);
/* False when the track has no lyrics. Any thread. */
bool play_lyrics_copy_shown(play_lyrics_shown *to);
