/* sound_ring: finished sound on its way from the callback to the speaker. Any thread. */
#pragma once

#include <cstdint>

/* Empties it; what is being made for it now, put() refuses. */
void sound_ring_clear();
/* Changes with each clear(): ask before making sound, hand it to put(). */
uint32_t sound_ring_turn();
/* Adds frames of two samples, unless it was cleared since `turn`. There must be room for them. */
void sound_ring_put(const int16_t *samples, uint32_t frames, uint32_t turn);
/* Takes the oldest frames out; returns how many there were. */
uint32_t sound_ring_take(int16_t *to, uint32_t frames);
/* Frames in it; takes no lock. */
uint32_t sound_ring_count();
