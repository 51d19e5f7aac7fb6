/* pieces: the demo music as notes. */
#include "demo/pieces.h"

#include "demo/synth.h"

#include <cmath>
#include <initializer_list>
#include <span>

/* A note of a tune; pitch 0 is a rest. */
struct tune_note {
    double pitch, beats;
};

/* A chord: the bass, then the tones above it, 0 where there is none. */
struct chord {
    int bass;
    int tones[4];
};

struct player {
    synth_instrument instrument;
    double loud, pan, room;
};

struct score {
    synth_mix mix;
    double beat; /* seconds */
};

static void note(score &in, const player &who, double beat, double beats, double pitch,
                 double loud = 1)
{
    synth_play(in.mix, who.instrument,
               {.at = beat * in.beat,
                .length = beats * in.beat,
                .pitch = pitch,
                .loud = who.loud * loud,
                .pan = who.pan,
                .room = who.room});
}

static void tune(score &in, const player &who, double beat, std::span<const tune_note> notes)
{
    for (const tune_note &each : notes) {
        /* A breath before the next one. */
        if (each.pitch > 0)
            note(in, who, beat, each.beats * 0.93, each.pitch);
        beat += each.beats;
    }
}

static void spread_chord(score &in, const player &who, double beat, double beats, const chord &all,
                         double loud = 1)
{
    double late = 0;
    for (const int tone : all.tones)
        if (tone > 0) {
            note(in, who, beat + late, beats, tone, loud);
            late += 0.012 / in.beat; /* fingers do not fall at once */
        }
}

static piece finish(score &in, double fade_seconds)
{
    const uint32_t rate = in.mix.rate;
    return {rate, synth_finish(in.mix, fade_seconds)};
}

piece piece_spring_walk(uint32_t rate)
{
    static constexpr chord bars[] = {{43, {59, 62, 67}}, {40, {59, 64, 67}}, {48, {60, 64, 67}},
                                     {50, {57, 62, 66}}, {43, {59, 62, 67}}, {40, {59, 64, 67}},
                                     {45, {60, 64, 69}}, {50, {60, 62, 66}}, {48, {60, 64, 67}},
                                     {50, {57, 62, 66}}, {47, {59, 62, 66}}, {40, {59, 64, 67}},
                                     {48, {60, 64, 67}}, {48, {60, 63, 67}}, {50, {59, 62, 67}},
                                     {50, {60, 62, 66}}, {43, {59, 62, 67}}, {43, {62, 67, 71}}};
    static constexpr tune_note melody[] = {
        {71, 2}, {74, 1},   {71, 1},  {67, 1}, {71, 1},   {72, 2},  {76, 1}, {74, 3},
        {71, 2}, {74, 1},   {79, 1},  {78, 1}, {76, 1},   {72, 1},  {76, 1}, {72, 1},
        {69, 3}, {76, 1.5}, {74, .5}, {72, 1}, {78, 1.5}, {76, .5}, {74, 1}, {74, 1},
        {78, 1}, {74, 1},   {76, 2},  {71, 1}, {72, 1},   {74, 1},  {76, 1}, {75, 2},
        {72, 1}, {74, 1.5}, {71, .5}, {67, 1}, {69, 1},   {72, 1},  {66, 1}, {67, 5}};
    const player flute = {synth_flute, 0.32, 0.12, 0.5}, harp = {synth_harp, 0.55, -0.35, 0.4};
    const player strings = {synth_strings, 0.16, 0.2, 0.7}, bass = {synth_bass, 0.3, 0, 0.1};
    const player shaker = {synth_shaker, 0.1, 0.5, 0.3};
    score in = {.mix = {.rate = rate}, .beat = 60.0 / 112};
    for (size_t bar = 0; bar < std::size(bars); bar++) {
        const double beat = static_cast<double>(bar) * 3;
        const bool last = bar + 1 == std::size(bars);
        note(in, bass, beat, last ? 3 : 1.6, bars[bar].bass);
        note(in, harp, beat, 2, bars[bar].bass + 12);
        spread_chord(in, strings, beat, 2.9, bars[bar], bar < 8 ? 0.6 : 1);
        spread_chord(in, harp, beat + 1, 1.5, bars[bar], 0.7);
        if (last)
            break;
        spread_chord(in, harp, beat + 2, 1, bars[bar], 0.55);
        for (const double step : {1.0, 2.0, 2.5})
            note(in, shaker, beat + step, 0.1, 60, step == 2.5 ? 0.5 : 1);
    }
    tune(in, flute, 0, melody);
    return finish(in, 2.5);
}

piece piece_street_lamps(uint32_t rate)
{
    static constexpr chord bars[] = {
        {38, {60, 64, 65, 69}}, {43, {59, 64, 65, 69}}, {36, {59, 62, 64, 67}},
        {45, {60, 64, 67, 71}}, {41, {57, 60, 64, 67}}, {40, {59, 62, 67, 71}},
        {38, {60, 65, 69, 72}}, {43, {60, 62, 65, 69}}, {36, {59, 64, 67, 74}}};
    static constexpr tune_note melody[] = {
        {0, 1},   {69, .5}, {72, .5}, {74, 1},   {76, 1},  {74, 1.5}, {72, .5}, {69, 2},
        {67, 1},  {69, .5}, {72, .5}, {76, 2},   {74, 1},  {72, 1},   {69, 2},  {69, 1},
        {72, 1},  {76, 1},  {79, 1},  {76, 1.5}, {74, .5}, {71, 2},   {74, 1},  {72, .5},
        {69, .5}, {67, 2},  {69, 1},  {72, 1},   {74, 2},  {72, 4}};
    const player keys = {synth_piano, 0.26, -0.2, 0.35}, bell = {synth_bell, 0.3, 0.3, 0.6};
    const player bass = {synth_bass, 0.42, 0, 0.08}, strings = {synth_strings, 0.1, 0, 0.8};
    const player drum = {synth_drum, 0.5, 0, 0.1}, brush = {synth_brush, 0.3, 0.15, 0.35};
    const player shaker = {synth_shaker, 0.09, -0.4, 0.2};
    score in = {.mix = {.rate = rate}, .beat = 60.0 / 74};
    for (size_t bar = 0; bar < std::size(bars); bar++) {
        const double beat = static_cast<double>(bar) * 4;
        const bool last = bar + 1 == std::size(bars);
        spread_chord(in, keys, beat, last ? 4 : 1.8, bars[bar]);
        note(in, bass, beat, last ? 4 : 1.4, bars[bar].bass);
        spread_chord(in, strings, beat, 3.8, bars[bar], bar < 4 ? 0.5 : 1);
        if (last)
            break;
        spread_chord(in, keys, beat + 2.64, 1.2, bars[bar], 0.7);
        note(in, bass, beat + 2.64, 1.1, bars[bar].bass, 0.8);
        note(in, drum, beat, 0.3, 40);
        note(in, drum, beat + 2.64, 0.3, 40, 0.7);
        note(in, brush, beat + 1, 0.3, 60);
        note(in, brush, beat + 3, 0.3, 60);
        /* Late off-beats, as one walks home. */
        for (int step = 0; step < 4; step++) {
            note(in, shaker, beat + step, 0.1, 60);
            note(in, shaker, beat + step + 0.64, 0.1, 60, 0.6);
        }
    }
    tune(in, bell, 0, melody);
    return finish(in, 2.5);
}

piece piece_paper_boats(uint32_t rate)
{
    static constexpr chord bars[] = {{50, {57, 62, 66, 69}}, {49, {57, 61, 64, 69}},
                                     {47, {59, 62, 66, 71}}, {42, {57, 61, 66, 69}},
                                     {43, {59, 62, 67, 71}}, {42, {57, 62, 66, 69}},
                                     {40, {59, 64, 67, 71}}, {45, {57, 61, 64, 69}}};
    static constexpr tune_note melody[] = {{78, 3}, {81, 3}, {76, 6}, {74, 3}, {78, 2}, {76, 1},
                                           {73, 6}, {71, 3}, {74, 3}, {78, 2}, {76, 1}, {74, 3},
                                           {76, 2}, {79, 1}, {78, 1}, {76, 2}, {73, 6}, {74, 6}};
    static constexpr int order[] = {0, 1, 2, 3, 2, 1};
    const player harp = {synth_harp, 0.5, -0.25, 0.5}, bell = {synth_bell, 0.3, 0.3, 0.7};
    const player strings = {synth_strings, 0.17, 0.1, 0.8}, bass = {synth_bass, 0.26, 0, 0.15};
    score in = {.mix = {.rate = rate}, .beat = 60.0 / 204};
    const size_t count = std::size(bars);
    for (size_t bar = 0; bar < 2 * count; bar++) {
        const chord &now = bars[bar % count];
        const double beat = static_cast<double>(bar) * 6;
        note(in, harp, beat, 4, now.bass);
        for (int step = 0; step < 6; step++)
            note(in, harp, beat + step, 3, now.tones[order[step]], step == 0 ? 0.9 : 0.65);
        if (bar < 4)
            continue;
        spread_chord(in, strings, beat, 5.6, now, bar < count ? 0.6 : 1);
        note(in, bass, beat, 5, now.bass - 12 < 33 ? now.bass : now.bass - 12);
    }
    static constexpr chord home = {38, {62, 66, 69, 74}};
    const double end = static_cast<double>(2 * count) * 6;
    spread_chord(in, harp, end, 6, home);
    spread_chord(in, strings, end, 6, home);
    note(in, bass, end, 6, home.bass);
    tune(in, bell, static_cast<double>(count) * 6, melody);
    return finish(in, 3);
}

piece piece_night_train(uint32_t rate)
{
    static constexpr chord bars[] = {
        {40, {59, 62, 67}}, {45, {61, 64, 67}}, {36, {59, 64, 67}}, {47, {57, 63, 66}}};
    static constexpr tune_note first[] = {{0, 2},   {76, .5}, {79, .5}, {76, 1}, {73, 1.5},
                                          {71, .5}, {69, 2},  {67, 1},  {71, 1}, {76, 1.5},
                                          {74, .5}, {75, 3},  {0, 1}};
    static constexpr tune_note second[] = {{83, 1},  {81, .5},  {79, .5}, {81, 1}, {79, 1}, {76, 1},
                                           {79, .5}, {76, .5},  {73, 2},  {74, 1}, {76, 1}, {79, 1},
                                           {76, 1},  {78, 1.5}, {75, .5}, {71, 2}};
    static constexpr int walk[] = {0, 0, 12, 0, 7, 0, 12, 7}; /* semitones above the bass */
    const player keys = {synth_piano, 0.24, -0.3, 0.25}, lead = {synth_flute, 0.34, 0.15, 0.45};
    const player bass = {synth_bass, 0.46, 0, 0.04}, strings = {synth_strings, 0.1, 0.1, 0.7};
    const player drum = {synth_drum, 0.6, 0, 0.06}, brush = {synth_brush, 0.34, 0.1, 0.3};
    const player shaker = {synth_shaker, 0.12, 0.35, 0.15};
    score in = {.mix = {.rate = rate}, .beat = 60.0 / 118};
    constexpr int bar_count = 16;
    for (int bar = 0; bar < bar_count; bar++) {
        const chord &now = bars[bar % 4];
        const double beat = bar * 4;
        for (int step = 0; step < 8; step++)
            note(in, bass, beat + step * 0.5, 0.42, now.bass + walk[step], step % 2 ? 0.75 : 1);
        /* Wheels over the joints of the rails. */
        for (int step = 0; step < 16; step++)
            note(in, shaker, beat + step * 0.25, 0.1, 60, step % 4 == 2 ? 1 : 0.45);
        for (const double off : {0.5, 1.5, 2.5, 3.25})
            spread_chord(in, keys, beat + off, 0.3, now, bar % 4 == 3 ? 0.8 : 1);
        if (bar >= 4)
            spread_chord(in, strings, beat, 3.8, now);
        if (bar < 2)
            continue;
        note(in, drum, beat, 0.3, 40);
        note(in, drum, beat + 2, 0.3, 40, 0.85);
        note(in, brush, beat + 1, 0.3, 60);
        note(in, brush, beat + 3, 0.3, 60);
    }
    tune(in, lead, 16, first);
    tune(in, lead, 32, second);
    tune(in, lead, 48, first);
    static constexpr chord home = {40, {59, 64, 67, 71}};
    spread_chord(in, keys, bar_count * 4, 4, home);
    spread_chord(in, strings, bar_count * 4, 4, home);
    note(in, bass, bar_count * 4, 4, home.bass);
    return finish(in, 2.5);
}
