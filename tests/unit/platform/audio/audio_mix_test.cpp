#include "platform/audio/audio_mix.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <vector>

/* What a channel gives to the left and to the right, before all of them are made to fit. */
static const std::map<char, std::pair<double, double>> &gains()
{
    static const double side = std::sqrt(0.5);
    static const std::map<char, std::pair<double, double>> all = {
        {'M', {1, 1}},    {'L', {1, 0}},    {'R', {0, 1}},     {'C', {side, side}},
        {'l', {side, 0}}, {'r', {0, side}}, {'B', {0.5, 0.5}}, {'F', {0, 0}},
    };
    return all;
}

/* One frame, mixed with plain arithmetic, as parts of the full level. */
static std::pair<double, double> mixed(const char *layout, const std::vector<double> &frame)
{
    double left = 0, right = 0, left_most = 0, right_most = 0;
    for (size_t i = 0; i < frame.size(); i++) {
        const auto [to_left, to_right] = gains().at(layout[i]);
        left += frame[i] * to_left;
        right += frame[i] * to_right;
        left_most += to_left;
        right_most += to_right;
    }
    const double most = std::max({left_most, right_most, 1.0});
    return {left / most, right / most};
}

static void expect_frame(const char *layout, const std::vector<double> &frame)
{
    const auto [left, right] = mixed(layout, frame);
    const audio_mix mix = audio_mix_for(layout);
    ASSERT_EQ(mix.channels, static_cast<int>(frame.size())) << layout;
    std::vector<int16_t> narrow;
    std::vector<int32_t> wide;
    for (double sample : frame) {
        narrow.push_back(static_cast<int16_t>(lround(sample * INT16_MAX)));
        wide.push_back(static_cast<int32_t>(llround(sample * INT32_MAX)));
    }
    int32_t heard[2] = {};
    audio_mix_16(&mix, narrow.data(), heard, 1);
    EXPECT_NEAR(heard[0] / 2147483648.0, left, 0.0002) << layout;
    EXPECT_NEAR(heard[1] / 2147483648.0, right, 0.0002) << layout;
    heard[0] = heard[1] = 0x55555555;
    audio_mix_32(&mix, wide.data(), heard, 1);
    EXPECT_NEAR(heard[0] / 2147483648.0, left, 0.0002) << layout;
    EXPECT_NEAR(heard[1] / 2147483648.0, right, 0.0002) << layout;
}

TEST(audio_mix, each_channel_of_each_layout_is_heard_where_it_belongs)
{
    for (const auto &layouts : {audio_layouts_flac, audio_layouts_vorbis})
        for (int channels = 1; channels <= audio_max_channels; channels++) {
            const char *layout = layouts[channels];
            ASSERT_EQ(strlen(layout), static_cast<size_t>(channels));
            for (int alone = 0; alone < channels; alone++) {
                std::vector<double> frame(static_cast<size_t>(channels));
                frame[static_cast<size_t>(alone)] = 0.5;
                expect_frame(layout, frame);
            }
        }
}

TEST(audio_mix, six_channels_come_in_the_order_of_their_format)
{
    EXPECT_STREQ(audio_layouts_flac[6], "LRCFlr");
    EXPECT_STREQ(audio_layouts_vorbis[6], "LCRlrF");
    expect_frame(audio_layouts_flac[6], {0.1, -0.2, 0.3, 0.9, -0.4, 0.5});
    expect_frame(audio_layouts_vorbis[6], {0.1, -0.2, 0.3, 0.9, -0.4, 0.5});
}

TEST(audio_mix, loud_channels_together_just_do_not_clip)
{
    for (const auto &layouts : {audio_layouts_flac, audio_layouts_vorbis})
        for (int channels = 1; channels <= audio_max_channels; channels++)
            for (double level : {1.0, -1.0})
                expect_frame(layouts[channels],
                             std::vector<double>(static_cast<size_t>(channels), level));
}

TEST(audio_mix, the_gains_use_all_there_is_and_no_more)
{
    for (const auto &layouts : {audio_layouts_flac, audio_layouts_vorbis})
        for (int channels = 1; channels <= audio_max_channels; channels++) {
            const audio_mix mix = audio_mix_for(layouts[channels]);
            int64_t left = 0, right = 0;
            for (int i = 0; i < audio_max_channels; i++) {
                EXPECT_TRUE(i < channels || (mix.left[i] == 0 && mix.right[i] == 0)) << channels;
                left += mix.left[i];
                right += mix.right[i];
            }
            EXPECT_NEAR(static_cast<double>(left), 32768, channels);
            EXPECT_NEAR(static_cast<double>(right), 32768, channels);
        }
}

TEST(audio_mix, several_frames_stay_apart)
{
    const audio_mix mix = audio_mix_for("LRCFlr");
    const int16_t frames[3][6] = {{8000}, {}, {0, 8000}};
    int32_t heard[4][2] = {{}, {}, {}, {7, 7}};
    audio_mix_16(&mix, &frames[0][0], &heard[0][0], 3);
    EXPECT_GT(heard[0][0], 0);
    EXPECT_EQ(heard[0][1], 0);
    EXPECT_EQ(heard[1][0], 0);
    EXPECT_EQ(heard[1][1], 0);
    EXPECT_EQ(heard[2][0], 0);
    EXPECT_EQ(heard[2][1], heard[0][0]);
    EXPECT_EQ(heard[3][0], 7);
    EXPECT_EQ(heard[3][1], 7);
}

TEST(audio_dither, stays_within_a_step_and_means_the_sample)
{
    constexpr size_t frames = 4096;
    constexpr int32_t level = (1000 << 16) + 0x4000; /* a quarter above 1000 */
    const std::vector<int32_t> from(2 * frames, level);
    std::vector<int16_t> to(2 * frames + 1, 77);
    audio_dither_16(from.data(), to.data(), frames, 0);
    double sum = 0;
    for (size_t i = 0; i < 2 * frames; i++) {
        EXPECT_GE(to[i], 999);
        EXPECT_LE(to[i], 1002);
        sum += to[i];
    }
    EXPECT_NEAR(sum / (2 * frames), 1000.25, 0.05);
    EXPECT_EQ(to[2 * frames], 77);
}

TEST(audio_dither, does_not_wrap_at_the_ends)
{
    for (int32_t level : {INT32_MAX, INT32_MIN}) {
        const std::vector<int32_t> from(2048, level);
        std::vector<int16_t> to(2048);
        audio_dither_16(from.data(), to.data(), 1024, 5);
        for (int16_t sample : to)
            EXPECT_NEAR(sample, level / 65536, 2);
    }
}

TEST(audio_dither, keeps_the_sides_apart)
{
    std::vector<int32_t> from;
    for (int i = 0; i < 100; i++) {
        from.push_back(1000 << 16);
        from.push_back(-(2000 << 16));
    }
    std::vector<int16_t> to(200);
    audio_dither_16(from.data(), to.data(), 100, 0);
    for (size_t i = 0; i < 200; i += 2) {
        EXPECT_NEAR(to[i], 1000, 1);
        EXPECT_NEAR(to[i + 1], -2000, 1);
    }
}

TEST(audio_dither, is_the_same_at_the_same_place)
{
    const std::vector<int32_t> from(200, 12345);
    std::vector<int16_t> all(200), second(100);
    audio_dither_16(from.data(), all.data(), 100, 1000);
    audio_dither_16(from.data(), second.data(), 50, 1050);
    EXPECT_TRUE(std::equal(second.begin(), second.end(), all.begin() + 100));
}
