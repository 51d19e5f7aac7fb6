/* audio_mix: from any number of channels to two, and from 32 bits to 16. */
#include "platform/audio/audio_mix.h"

#include <algorithm>
#include <cassert>
#include <cstring>

constexpr int gain_bits = 15;
/* Shares are counted in this: full volume. */
constexpr int64_t whole = 100000000;
constexpr int64_t minus_3_db = 70710678;
constexpr int64_t half = whole / 2;

struct place_gain {
    char place;
    int64_t left, right; /* of `whole` */
};

static constexpr place_gain gains[] = {
    {'M', whole, whole},  {'L', whole, 0},      {'R', 0, whole},   {'C', minus_3_db, minus_3_db},
    {'l', minus_3_db, 0}, {'r', 0, minus_3_db}, {'B', half, half}, {'F', 0, 0},
};

constinit const char *const audio_layouts_flac[audio_max_channels + 1] = {
    nullptr, "M", "LR", "LRC", "LRlr", "LRClr", "LRCFlr", "LRCFBlr", "LRCFlrlr"};
constinit const char *const audio_layouts_vorbis[audio_max_channels + 1] = {
    nullptr, "M", "LR", "LCR", "LRlr", "LCRlr", "LCRlrF", "LCRlrBF", "LCRlrlrF"};

static const place_gain *gain_of(char place)
{
    for (const place_gain &gain : gains)
        if (gain.place == place)
            return &gain;
    return &gains[0];
}

static int32_t part_of(int64_t gain, int64_t all)
{
    return static_cast<int32_t>(((gain << (gain_bits + 1)) + all) / (2 * all));
}

audio_mix audio_mix_for(const char *layout)
{
    audio_mix mix = {};
    mix.channels = static_cast<int>(std::min<size_t>(strlen(layout), audio_max_channels));
    int64_t left = 0, right = 0;
    for (int i = 0; i < mix.channels; i++) {
        left += gain_of(layout[i])->left;
        right += gain_of(layout[i])->right;
    }
    const int64_t all = std::max({left, right, whole});
    for (int i = 0; i < mix.channels; i++) {
        mix.left[i] = part_of(gain_of(layout[i])->left, all);
        mix.right[i] = part_of(gain_of(layout[i])->right, all);
    }
    return mix;
}

static int32_t saturate(int64_t value)
{
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

/* `shift` brings the samples to 32 bits. */
template <typename sample, int shift>
static void mix_frames(const audio_mix *mix, const sample *from, int32_t *to, size_t frames)
{
    assert(mix->channels > 0 && mix->channels <= audio_max_channels);
    const int channels = mix->channels;
    for (size_t i = 0; i < frames; i++, from += channels, to += 2) {
        int64_t left = 0, right = 0;
        for (int c = 0; c < channels; c++) {
            left += static_cast<int64_t>(from[c]) * mix->left[c];
            right += static_cast<int64_t>(from[c]) * mix->right[c];
        }
        to[0] = saturate(left * (1 << shift) >> gain_bits);
        to[1] = saturate(right * (1 << shift) >> gain_bits);
    }
}

/* Nearly all music has two channels, which need no arithmetic. */
static bool is_plain_stereo(const audio_mix *mix)
{
    constexpr int32_t full = 1 << gain_bits;
    return mix->channels == 2 && mix->left[0] == full && mix->right[1] == full;
}

void audio_mix_16(const audio_mix *mix, const int16_t *from, int32_t *to, size_t frames)
{
    if (!is_plain_stereo(mix)) {
        mix_frames<int16_t, 16>(mix, from, to, frames);
        return;
    }
    for (size_t i = 0; i < 2 * frames; i++)
        to[i] = static_cast<int32_t>(from[i]) * (1 << 16);
}

void audio_mix_32(const audio_mix *mix, const int32_t *from, int32_t *to, size_t frames)
{
    if (is_plain_stereo(mix))
        memcpy(to, from, 2 * frames * sizeof *to);
    else
        mix_frames<int32_t, 0>(mix, from, to, frames);
}

/* 64 unrelated bits for each number. */
static uint64_t scatter(uint64_t value)
{
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

static int16_t reduce(int32_t sample, uint32_t noise)
{
    /* The difference of two even distributions is the triangle, two steps of the result wide. */
    const int64_t triangle =
        static_cast<int64_t>(noise & 0xFFFF) - static_cast<int64_t>(noise >> 16);
    const int64_t value = (sample + triangle + 0x8000) >> 16;
    return static_cast<int16_t>(std::clamp<int64_t>(value, INT16_MIN, INT16_MAX));
}

void audio_dither_16(const int32_t *from, int16_t *to, size_t frames, uint64_t place)
{
    for (size_t i = 0; i < frames; i++) {
        const uint64_t noise = scatter(place + i);
        to[2 * i] = reduce(from[2 * i], static_cast<uint32_t>(noise));
        to[2 * i + 1] = reduce(from[2 * i + 1], static_cast<uint32_t>(noise >> 32));
    }
}
