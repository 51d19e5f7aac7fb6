/* sound_volume: how loud sound leaves the queue. */
#include "platform/base/fault.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"

#include <algorithm>
#include <atomic>
#include <cmath>

constexpr int32_t gain_one = 65536;        /* leaves a sample as it is */
constexpr int32_t gain_slide_frames = 256; /* a change from one end to the other takes 6 ms */

struct sound_gain {
    int32_t left, right;
};

static constinit std::atomic<int32_t> volume_left{100}, volume_right{100};
static constinit std::atomic<int32_t> gain_left{gain_one}, gain_right{gain_one}; /* of the volume */

/* The pulling thread's. */
static constinit sound_gain gain_now = {gain_one, gain_one};
static constinit bool gain_settled = false; /* false: nothing was heard just before */

/* Twice the number sounds twice as loud: loudness doubles every 10 dB. */
static int32_t volume_gain(int32_t volume)
{
    return static_cast<int32_t>(lround(gain_one * pow(volume / 100.0, 5.0 / 3.0)));
}

static int32_t slide(int32_t from, int32_t to)
{
    constexpr int32_t step = gain_one / gain_slide_frames;
    return from < to ? std::min(from + step, to) : std::max(from - step, to);
}

/* Fits 32 bits: 32767 * gain_one + gain_one / 2 does. */
static int16_t scale(int16_t sample, int32_t gain)
{
    return static_cast<int16_t>((sample * gain + gain_one / 2) >> 16);
}

void sound_volume_apply(int16_t *samples, uint32_t frames)
{
    const sound_gain wanted = {gain_left, gain_right};
    if (!gain_settled)
        gain_now = wanted;
    gain_settled = true;
    for (uint32_t i = 0; i < frames; i++) {
        gain_now.left = slide(gain_now.left, wanted.left);
        gain_now.right = slide(gain_now.right, wanted.right);
        int16_t *frame = samples + i * 2;
        frame[0] = scale(frame[0], gain_now.left);
        frame[1] = scale(frame[1], gain_now.right);
    }
}

void sound_volume_rest()
{
    gain_settled = false;
}

int32_t sound_volume_now()
{
    return volume_left;
}

int sound_get_volume(int32_t *left, int32_t *right)
{
    if (fault_hit("sound_get_volume"))
        return -1;
    *left = volume_left;
    *right = volume_right;
    return 0;
}

int sound_set_volume(int32_t *left, int32_t *right)
{
    if (fault_hit("sound_set_volume"))
        return -1;
    const int32_t wanted_left = std::clamp(*left, 0, 100);
    const int32_t wanted_right = std::clamp(*right, 0, 100);
    volume_left = *left = wanted_left;
    volume_right = *right = wanted_right;
    gain_left = volume_gain(wanted_left);
    gain_right = volume_gain(wanted_right);
    return 0;
}
