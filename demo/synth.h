/* synth: a small synthesiser. Notes of a few instruments are laid into a stereo mix, a room is put
 * around them, and the whole is brought to one loudness. One thread. */
#pragma once

#include <cstdint>
#include <vector>

constexpr uint32_t synth_rate = 48000; /* Hz; files at other rates are rendered at those */

struct synth_mix {
    uint32_t rate = synth_rate;
    std::vector<float> left = {}, right = {}; /* what stands in front */
    std::vector<float> room = {};             /* what goes into the room */
};

struct synth_note {
    double at = 0;     /* seconds */
    double length = 1; /* seconds until it is let go */
    double pitch = 60; /* 60 is the middle C, 1 a semitone */
    double loud = 0.5; /* 0..1 */
    double pan = 0;    /* -1 left, 1 right */
    double room = 0.3; /* 0..1 */
};

/* Renders one note: `samples` is empty and gets as long as the sound lasts. */
typedef void (*synth_instrument)(std::vector<float> &samples, double rate, double freq,
                                 double length);

void synth_harp(std::vector<float> &samples, double rate, double freq, double length);
void synth_piano(std::vector<float> &samples, double rate, double freq, double length);
void synth_strings(std::vector<float> &samples, double rate, double freq, double length);
void synth_flute(std::vector<float> &samples, double rate, double freq, double length);
void synth_bass(std::vector<float> &samples, double rate, double freq, double length);
void synth_bell(std::vector<float> &samples, double rate, double freq, double length);
/* Percussion does not care about pitch. */
void synth_drum(std::vector<float> &samples, double rate, double freq, double length);
void synth_brush(std::vector<float> &samples, double rate, double freq, double length);
void synth_shaker(std::vector<float> &samples, double rate, double freq, double length);

void synth_play(synth_mix &mix, synth_instrument instrument, const synth_note &note);
/* Adds the room, fades the last seconds out and returns interleaved stereo with a peak of 0.89. */
std::vector<float> synth_finish(synth_mix &mix, double fade_seconds);
