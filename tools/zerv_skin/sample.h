/* sample: the states of the two screens, and the data that they are tried with. */
#pragma once

#include "tools/zerv_skin/stage.h"

#include <cstdint>
#include <span>
#include <string>

struct skin_page;

/* What a screen can be shown in. Every state goes with every data; the usual ones come first. */
struct sample_message {
    const char *text;
    uint16_t colour;
};

struct sample_screen {
    const char *part;
    const char *usual; /* what the first state with the first data is called */
    uint32_t state_count, data_count;
    const char *(*state_name)(uint32_t state);
    const char *(*data_name)(uint32_t data);
    std::span<const sample_message> (*messages)(uint32_t state); /* over the screen, oldest first */
};

extern const sample_screen sample_list, sample_play;

/* "paused", "korean", "paused-korean": what is usual is left out. */
std::string sample_name(const sample_screen &of, uint32_t state, uint32_t data);

stage_list_state sample_list_state(uint32_t state, uint32_t data);
/* What a track comes with. */
struct sample_track {
    bool cover, lyrics;
};
/* Whether a variant is meant for such a track. */
bool sample_page_fits(const skin_page *page, const sample_track &track);

/* Without cover and lyrics. */
stage_play_state sample_play_state(uint32_t state, uint32_t data);
