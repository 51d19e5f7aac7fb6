/* What the tests of the queue share: speakers that the test empties, and callbacks that it looks into. */
#pragma once

#include "platform/base/clock.h"
#include "platform/base/fault.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "unit/platform/manual_device.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

inline int speaker_result = 0;
inline std::atomic<int> speaker_closed{0};
inline std::atomic<uint32_t> speaker_pending{0};
inline std::atomic<int> speaker_dropped{0};

inline int open_speaker()
{
    return speaker_result;
}

inline int close_speaker()
{
    speaker_closed++;
    return 0;
}

/* Filled by sound_step(), emptied by the test. */
inline const sound_speaker stepped = {
    .open = open_speaker,
    .close = close_speaker,
    .pending = [] { return speaker_pending.load(); },
    .drop = [] { speaker_dropped++; },
    .stepped = true,
};

/* Filled as a real one, emptied by the test. */
inline const sound_speaker timed = {.open = open_speaker, .close = close_speaker};

/* What the callback does; replaced while no callback runs. */
inline std::function<void(int16_t *samples, uint32_t frames)> play;
inline std::atomic<int> calls{0};
inline std::atomic<bool> bad_request{false};

inline void on_sound(void *user, void *buffer, uint32_t length)
{
    int16_t *samples = static_cast<int16_t *>(buffer);
    const bool zeroed = std::all_of(samples, samples + length / 2, [](int16_t s) { return !s; });
    if (length == 0 || length % sound_frame_bytes || user != &calls || !zeroed ||
        length > sound_rate * 12 / 1000 * sound_frame_bytes)
        bad_request = true;
    calls++;
    play(samples, length / sound_frame_bytes);
}

inline std::atomic<uint32_t> counter{0};

/* A ramp that tells where each frame belongs. */
inline void play_ramp(int16_t *samples, uint32_t frames)
{
    for (uint32_t i = 0; i < frames; i++) {
        const uint32_t at = counter++;
        samples[i * 2] = static_cast<int16_t>(at % 20000 + 1);
        samples[i * 2 + 1] = static_cast<int16_t>(-static_cast<int32_t>(at % 20000 + 1));
    }
}

inline void play_nothing(int16_t *, uint32_t)
{
    clock_msleep(1);
}

inline std::vector<int16_t> pull(uint32_t frames)
{
    std::vector<int16_t> samples(frames * 2 + 2, 0x5a5a);
    sound_pull(samples.data(), frames);
    EXPECT_EQ(samples[frames * 2], 0x5a5a) << "wrote behind the end";
    samples.resize(frames * 2);
    return samples;
}

inline void set_volume(int32_t left, int32_t right)
{
    EXPECT_EQ(sound_set_volume(&left, &right), 0);
}

class sound : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        device_current = &manual_device;
        manual_speaker = &stepped;
        speaker_result = 0;
        speaker_pending = 0;
        speaker_dropped = 0;
        speaker_closed = 0;
        calls = 0;
        counter = 0;
        bad_request = false;
        play = play_ramp;
        set_volume(100, 100);
    }
    void TearDown() override
    {
        fault_set("");
        sound_close();
        EXPECT_FALSE(bad_request);
    }
    void open() { ASSERT_EQ(sound_open(on_sound, &calls), 0); }
};

inline std::atomic<bool> has_track{false};

inline void play_track_if_any(int16_t *samples, uint32_t frames)
{
    if (has_track)
        play_ramp(samples, frames);
    else
        clock_msleep(1);
}
