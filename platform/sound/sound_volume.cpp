/* sound_volume: how loud sound leaves the queue. */
#include "platform/base/fault.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"

#include <algorithm>
#include <array>
#include <atomic>

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

/* Twice the number sounds twice as loud: loudness doubles every 10 dB, which is the power of 5/3.
 * The cube of a gain is the fifth power of its volume. */
static consteval int32_t gain_of_volume(int32_t volume)
{
    const double part = volume / 100.0, cube = part * part * part * part * part;
    double root = 1;
    for (int i = 0; i < 60; i++) /* many more steps of Newton's than it takes */
        root -= (root * root * root - cube) / (3 * root * root);
    const auto gain = static_cast<int32_t>(gain_one * root);
    return gain_one * root - gain < 0.5 ? gain : gain + 1;
}

static consteval std::array<int32_t, 101> gains_of_volumes()
{
    std::array<int32_t, 101> gains = {};
    for (int32_t volume = 1; volume <= 100; volume++)
        gains[static_cast<size_t>(volume)] = gain_of_volume(volume);
    return gains;
}

/* Made by the compiler: some machines count in integers only. */
static constexpr std::array<int32_t, 101> volume_gains = gains_of_volumes();

static int32_t slide(int32_t from, int32_t to)
{
    constexpr int32_t step = gain_one / gain_slide_frames;
    return from < to ? std::min(from + step, to) : std::max(from - step, to);
}

static bool is_same(const sound_gain &a, const sound_gain &b)
{
    return a.left == b.left && a.right == b.right;
}

/* A gain in two parts that vectors of 16 bits can multiply: gain_one times `whole`, which is 0 or all
 * bits, and the rest, which has a sign. */
struct gain_parts {
    int16_t rest, whole;
};

static gain_parts parts_of(int32_t gain)
{
    const auto rest = static_cast<int16_t>(gain & 0xFFFF);
    return {rest, static_cast<int16_t>(gain == rest ? 0 : -1)};
}

/* sample * gain / gain_one, rounded. */
static int16_t scale(int16_t sample, int16_t rest, int16_t whole)
{
    const int32_t product = sample * rest;
    const auto high = static_cast<int16_t>(product >> 16);
    const auto low = static_cast<uint16_t>(product);
    return static_cast<int16_t>(high + (low >> 15) + (sample & whole));
}

/* The gains of eight frames, side by side. */
constexpr uint32_t block_samples = 16;
struct gain_block {
    int16_t rest[block_samples], whole[block_samples];
};

/* On its own, because the compiler would gather whole blocks of them otherwise, and there are rarely
 * so many frames. */
[[gnu::noinline]] static void scale_block(int16_t *__restrict samples, const gain_block &gain)
{
    for (uint32_t i = 0; i < block_samples; i++)
        samples[i] = scale(samples[i], gain.rest[i], gain.whole[i]);
}

/* The same for half of them. */
[[gnu::noinline]] static void scale_half(int16_t *__restrict samples, const gain_block &gain)
{
    for (uint32_t i = 0; i < block_samples / 2; i++)
        samples[i] = scale(samples[i], gain.rest[i], gain.whole[i]);
}

static void fill_block(gain_block *block, const gain_parts &left, const gain_parts &right)
{
    for (uint32_t i = 0; i < block_samples; i += 2) {
        block->rest[i] = left.rest;
        block->rest[i + 1] = right.rest;
        block->whole[i] = left.whole;
        block->whole[i + 1] = right.whole;
    }
}

static void apply_gain(int16_t *samples, uint32_t frames, const sound_gain gain)
{
    const gain_parts left = parts_of(gain.left), right = parts_of(gain.right);
    gain_block block;
    if (frames >= block_samples / 4)
        fill_block(&block, left, right);
    for (; frames >= block_samples / 2; frames -= block_samples / 2, samples += block_samples)
        scale_block(samples, block);
    for (; frames >= block_samples / 4; frames -= block_samples / 4, samples += block_samples / 2)
        scale_half(samples, block);
    for (; frames > 0; frames--, samples += 2) {
        samples[0] = scale(samples[0], left.rest, left.whole);
        samples[1] = scale(samples[1], right.rest, right.whole);
    }
}

void sound_volume_apply(int16_t *samples, uint32_t frames)
{
    const sound_gain wanted = {gain_left, gain_right};
    if (!gain_settled)
        gain_now = wanted;
    gain_settled = true;
    uint32_t done = 0;
    for (; done < frames && !is_same(gain_now, wanted); done++) {
        gain_now.left = slide(gain_now.left, wanted.left);
        gain_now.right = slide(gain_now.right, wanted.right);
        apply_gain(samples + done * 2, 1, gain_now);
    }
    /* Full volume leaves every sample as it is. */
    if (!is_same(wanted, {gain_one, gain_one}))
        apply_gain(samples + done * 2, frames - done, wanted);
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
    gain_left = volume_gains[static_cast<size_t>(wanted_left)];
    gain_right = volume_gains[static_cast<size_t>(wanted_right)];
    return 0;
}
