/* pieces: the demo music as notes. */
#pragma once

#include <cstdint>
#include <vector>

/* A finished piece, interleaved stereo. */
struct piece {
    uint32_t rate;
    std::vector<float> samples;
};

piece piece_spring_walk(uint32_t rate);  /* a waltz for flute and harp */
piece piece_street_lamps(uint32_t rate); /* slow, electric piano and brushes */
piece piece_paper_boats(uint32_t rate);  /* broken chords in six, strings, a bell */
piece piece_night_train(uint32_t rate);  /* a groove that rolls */
