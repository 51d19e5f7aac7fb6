/* scripted_decoder: tracks that decode as a test says, and a speaker and a clock that note what they
 * are asked for. Files, decoders and the sound queue are the program's own; once a track is open, a
 * script may stand in front of its decoder. Include it once in a test program. */
#pragma once

#include "makers/maker_audio.h"
#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "play/play.h"
#include "support/scratch.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

/* ---- decoding ---- */

/* What the next track with a script does. */
struct script {
    uint32_t sample_rate = 44100;
    int64_t tell = 0;
    std::vector<int32_t> reads; /* results one after the other; afterwards every read is full */
    std::function<void()> in_read;
};
inline script the_script;
inline size_t reads_done = 0;
inline const audio_decoder *behind_script = nullptr;
inline uint8_t read_byte = 0x5a;

inline int scripted_close(audio_stream *stream)
{
    return behind_script->close(stream);
}

inline int32_t scripted_read(audio_stream *, void *to, uint32_t bytes)
{
    int32_t result = static_cast<int32_t>(bytes);
    if (reads_done < the_script.reads.size())
        result = std::min(result, the_script.reads[reads_done++]);
    if (result > 0)
        memset(to, read_byte, static_cast<size_t>(result));
    if (the_script.in_read)
        the_script.in_read();
    return result;
}

inline int64_t scripted_tell(audio_stream *)
{
    return the_script.tell;
}

inline const audio_decoder scripted_decoder = {
    .name = "scripted",
    .open = nullptr,
    .close = scripted_close,
    .read = scripted_read,
    .tell = scripted_tell,
    .seek = nullptr,
    .read_info = nullptr,
    .release_info = nullptr,
};

/* Begins a track, and puts the script in front of its decoder. */
inline int begin_scripted(const char *path)
{
    const int result = play_begin(path);
    sys_guard guard(play_lock);
    if (!play_handle)
        return result;
    behind_script = play_decoder;
    play_decoder = &scripted_decoder;
    play_handle->sample_rate = the_script.sample_rate;
    reads_done = 0;
    return result;
}

/* The names of the tracks that this process has open. */
inline std::vector<std::string> tracks_open()
{
    std::vector<std::string> names;
    for (const std::string &fd : scratch_names("/proc/self/fd")) {
        char target[4096];
        const ssize_t length = readlink(("/proc/self/fd/" + fd).c_str(), target, sizeof target);
        const std::string path(target, length > 0 ? static_cast<size_t>(length) : 0);
        if (audio_get_decoder(path.c_str()))
            names.push_back(path.substr(path.rfind('/') + 1));
    }
    return names;
}

/* ---- the speaker, and the clock ---- */

inline std::atomic<int32_t> queued_ms{0}; /* waits in the speaker */
inline std::atomic<int> sleeps{0};
inline std::atomic<int> looks{0};  /* the main loop was woken */
inline std::atomic<int> resets{0}; /* of the sound queue */
inline std::function<void()> in_reset;
inline std::atomic<int> turns{0}; /* of the sound thread */

inline void take_turn(void *user, void *buffer, uint32_t length)
{
    turns++;
    play_sound_callback(user, buffer, length);
}

inline const sound_speaker stepped_speaker = {
    .open = [] { return 0; },
    .close = [] { return 0; },
    .pending = [] { return static_cast<uint32_t>((queued_ms * 44100 + 999) / 1000); },
    .wake =
        [] {
            ++resets;
            if (in_reset)
                in_reset();
        },
    .stepped = true,
};

inline device make_scripted_device()
{
    device made = {};
    made.name = "scripted";
    made.msec = [] { return clock_real_msec(); };
    made.wall = [] { return time(nullptr); };
    made.msleep = [](int32_t) { ++sleeps; };
    made.wake = [] { ++looks; };
    made.speaker = [] { return &stepped_speaker; };
    return made;
}
inline const device scripted_device = make_scripted_device();

/* A folder with short tracks and a text, and sound that plays what the engine has, one step at a
 * time. */
struct play_folder : testing::Test {
    void SetUp() override
    {
        for (const char *name : {"a.mp3", "b.mp3", "a.flac", "b.flac", "chosen.flac", "next.flac"})
            ASSERT_EQ(maker_track(name, {.seconds = 0.03}), 0);
        scratch_write("a.txt", "no track");
        device_current = &scripted_device;
        the_script = {};
        queued_ms = 0;
        in_reset = nullptr;
        ASSERT_EQ(sound_open(take_turn, nullptr), 0);
        sound_step(); /* there is nothing to play: from here on it looks when it is woken */
        sleeps = looks = resets = 0;
    }
    void TearDown() override
    {
        play_ended = nullptr;
        the_script = {};
        in_reset = nullptr;
        (void)play_end();
        EXPECT_EQ(tracks_open().size(), 0u);
        EXPECT_EQ(sound_close(), 0);
        device_current = nullptr;
    }

    scratch folder;
};
