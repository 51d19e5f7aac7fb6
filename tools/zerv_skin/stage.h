/* stage: the player around a skin, without a device: what its screens would show. Main thread. */
#pragma once

#include <cstdint>

struct stage_play_state {
    bool loaded;
    bool paused;
    const char *title, *artist, *album; /* null: the file has no such tag */
    int32_t position_ms, length_ms;
    bool cover, lyrics;
    int32_t battery; /* per cent */
};

struct stage_list_state {
    const char *title, *subtitle;
    const char *const *rows; /* `row_count` texts; a longer list begins again */
    uint32_t row_count;
    uint32_t count;
    int32_t cursor;
    int32_t battery; /* per cent */
};

/* Sets up screen, clock and battery. 0 or -1. */
[[nodiscard]] int stage_open();
void stage_close();
/* Opens the font at `path`, or if that is null the first of the usual places. -1: no font. */
int stage_open_font(const char *path);
bool stage_has_font();

/* The texts of a state belong to the caller until the next one is set. */
void stage_set_play(const stage_play_state *state);
void stage_set_list(const stage_list_state *state);
