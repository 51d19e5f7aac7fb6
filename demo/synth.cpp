/* synth: the mix, its room and its loudness. */
#include "demo/synth.h"

#include <algorithm>
#include <cmath>

constexpr double peak = 0.89; /* leaves the encoders room for what they add */

void synth_play(synth_mix &mix, synth_instrument instrument, const synth_note &note)
{
    const double freq = 440 * exp2((note.pitch - 69) / 12);
    std::vector<float> samples;
    instrument(samples, mix.rate, freq, note.length);
    const double angle = (note.pan + 1) * M_PI / 4;
    const float left = static_cast<float>(note.loud * cos(angle)),
                right = static_cast<float>(note.loud * sin(angle));
    const float room = static_cast<float>(note.loud * note.room);
    const size_t from = static_cast<size_t>(note.at * mix.rate);
    const size_t size = from + samples.size();
    if (mix.left.size() < size) {
        mix.left.resize(size);
        mix.right.resize(size);
        mix.room.resize(size);
    }
    for (size_t i = 0; i < samples.size(); i++) {
        mix.left[from + i] += left * samples[i];
        mix.right[from + i] += right * samples[i];
        mix.room[from + i] += room * samples[i];
    }
}

/* A tap that feeds back into itself through a filter which takes the brightness out, as walls
 * do. */
struct echo {
    std::vector<float> line;
    size_t at = 0;
    float back = 0, dark = 0;

    echo(double seconds, double rate, double decay_seconds)
        : line(static_cast<size_t>(seconds * rate)),
          back(static_cast<float>(pow(0.001, seconds / decay_seconds)))
    {
    }
    float pass(float in)
    {
        const float out = line[at];
        dark += 0.55f * (out - dark);
        line[at] = in + back * dark;
        at = (at + 1) % line.size();
        return out;
    }
};

/* Blurs in time without colouring. */
struct blur {
    std::vector<float> line;
    size_t at = 0;

    blur(double seconds, double rate) : line(static_cast<size_t>(seconds * rate)) {}
    float pass(float in)
    {
        const float kept = line[at];
        const float out = kept - 0.6f * in;
        line[at] = in + 0.6f * out;
        at = (at + 1) % line.size();
        return out;
    }
};

/* The lengths have no common measure, or the room would ring on a pitch. */
static void add_room(const std::vector<float> &from, std::vector<float> &to, double rate,
                     double spread)
{
    constexpr double decay = 1.9;
    echo echoes[] = {{0.0297 + spread, rate, decay},
                     {0.0371 + spread, rate, decay},
                     {0.0411 + spread, rate, decay},
                     {0.0437 + spread, rate, decay}};
    blur blurs[] = {{0.0050 + spread, rate}, {0.0017 + spread, rate}, {0.0126 + spread, rate}};
    for (size_t i = 0; i < from.size(); i++) {
        float sound = 0;
        for (echo &each : echoes)
            sound += each.pass(from[i]);
        for (blur &each : blurs)
            sound = each.pass(sound);
        to[i] += 0.35f * sound;
    }
}

std::vector<float> synth_finish(synth_mix &mix, double fade_seconds)
{
    const size_t frames = mix.left.size();
    add_room(mix.room, mix.left, mix.rate, 0);
    add_room(mix.room, mix.right, mix.rate, 0.00053);
    float loudest = 1e-9f;
    for (size_t i = 0; i < frames; i++)
        loudest = std::max({loudest, fabsf(mix.left[i]), fabsf(mix.right[i])});
    /* A little saturation lifts the soft parts and rounds the loudest. */
    const float drive = 1 / loudest, level = static_cast<float>(peak / tanh(1.0));
    const double fade_from = static_cast<double>(frames) - fade_seconds * mix.rate;
    std::vector<float> out(frames * 2);
    for (size_t i = 0; i < frames; i++) {
        const double gone =
            std::max(static_cast<double>(i) - fade_from, 0.0) / (fade_seconds * mix.rate);
        const float fade =
            static_cast<float>(level * (0.5 + 0.5 * cos(M_PI * std::min(gone, 1.0))));
        out[2 * i] = fade * tanhf(drive * mix.left[i]);
        out[2 * i + 1] = fade * tanhf(drive * mix.right[i]);
    }
    return out;
}
