/* Other rates: tones keep their level and place, nothing is added, and what the lower rate cannot
 * hold is gone. */
#include "platform/audio/audio_resample.h"
#include "platform/sound/sound.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

constexpr double full = 2147483647.0;

/* All that comes out for a tone, in pieces of sizes that fit nothing. The right side is the tone
 * turned round. */
static std::vector<int32_t> resampled(uint32_t rate, double freq, size_t frames, double level)
{
    std::vector<int32_t> in(2 * frames), out;
    for (size_t i = 0; i < frames; i++) {
        const double angle = 2 * M_PI * freq * static_cast<double>(i) / rate;
        in[2 * i] = static_cast<int32_t>(lrint(full * level * sin(angle)));
        in[2 * i + 1] = -in[2 * i];
    }
    const std::unique_ptr<audio_resampler, void (*)(audio_resampler *)> resampler(
        audio_resampler_new(rate, sound_rate), audio_resampler_free);
    EXPECT_NE(resampler, nullptr);
    int32_t room[2 * 331];
    for (size_t at = 0, idle = 0; resampler && idle < 2;) {
        const size_t ready = std::min<size_t>(frames - at, 997);
        size_t used = 0, made = 0;
        EXPECT_EQ(audio_resampler_run(resampler.get(), ready ? &in[2 * at] : nullptr, ready, &used,
                                      room, 331, &made),
                  0);
        EXPECT_LE(used, ready);
        EXPECT_LE(made, 331u);
        at += used;
        out.insert(out.end(), room, room + 2 * made);
        idle = used + made ? 0 : idle + 1;
    }
    return out;
}

/* The effective level of what is not the tone, in dB of full scale, away from both ends. */
static double rest_db(const std::vector<int32_t> &out, double freq, double level)
{
    const size_t frames = out.size() / 2, edge = 2000;
    double rest = 0;
    for (size_t i = edge; i < frames - edge; i++) {
        const double angle = 2 * M_PI * freq * static_cast<double>(i) / sound_rate;
        const double left = out[2 * i] / full - level * sin(angle);
        EXPECT_NEAR(out[2 * i], -static_cast<double>(out[2 * i + 1]), 2);
        rest += left * left;
    }
    return 10 * log10(rest / static_cast<double>(frames - 2 * edge) + 1e-20);
}

constexpr uint32_t rates[] = {8000,  11025, 12000, 16000, 22050, 24000,  32000,  37800, 44056,
                              48000, 64000, 82000, 88200, 96000, 176400, 192000, 384000};

TEST(audio_resample, tones_keep_their_level_and_place)
{
    for (const uint32_t rate : rates) {
        const double half = std::min(rate, sound_rate) / 2.0;
        for (const double freq : {100.0, half * 0.3, half * 0.6, half * 0.65}) {
            const std::vector<int32_t> out = resampled(rate, freq, rate / 2, 0.9);
            EXPECT_NEAR(static_cast<double>(out.size()) / 2, sound_rate / 2.0, 2) << rate;
            EXPECT_LT(rest_db(out, freq, 0.9), -88) << rate << " Hz, a tone of " << freq;
        }
    }
}

TEST(audio_resample, what_the_lower_rate_cannot_hold_is_gone)
{
    for (const uint32_t rate : {64000u, 88200u, 96000u, 192000u, 384000u})
        for (const double freq : {22500.0, 25000.0, 31000.0})
            EXPECT_LT(rest_db(resampled(rate, freq, rate / 2, 0.9), 0, 0), -80)
                << rate << " Hz, a tone of " << freq;
}

TEST(audio_resample, the_loudest_sound_does_not_turn_over)
{
    for (const uint32_t rate : {8000u, 48000u, 96000u}) {
        /* Full scale up and down, far above it between the samples. */
        std::vector<int32_t> in(8000), out(8000 * 6);
        for (size_t i = 0; i < in.size(); i++)
            in[i] = i / 2 % 8 < 4 ? INT32_MAX : INT32_MIN;
        audio_resampler *resampler = audio_resampler_new(rate, sound_rate);
        ASSERT_NE(resampler, nullptr);
        size_t used = 0, made = 0, all = 0;
        for (size_t at = 0; at < 4000; at += used) {
            ASSERT_EQ(audio_resampler_run(resampler, &in[2 * at], 4000 - at, &used, &out[2 * all],
                                          out.size() / 2 - all, &made),
                      0);
            all += made;
            if (used + made == 0)
                break;
        }
        audio_resampler_free(resampler);
        ASSERT_GT(all, 1000u);
        /* A sample that turned over would jump by more than the band allows. */
        const double step = 2.4 * full * std::min(1.0, static_cast<double>(rate) / sound_rate);
        for (size_t i = 2; i < 2 * all; i += 2)
            ASSERT_LT(fabs(static_cast<double>(out[i]) - out[i - 2]), step) << rate;
    }
}

TEST(audio_resample, one_that_never_was_can_be_freed)
{
    audio_resampler_free(nullptr);
}
