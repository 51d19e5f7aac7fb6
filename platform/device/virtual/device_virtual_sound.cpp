/* device_virtual_sound: a speaker that writes what it plays into a WAV file. */
#include "platform/device/virtual/device_virtual.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr uint32_t wav_header_bytes = 44;

/* Main thread; in real time the sound thread's while that runs. */
static constinit FILE *wav = nullptr;
static constinit uint32_t wav_bytes = 0; /* of samples */
static constinit bool wav_failed = false;

static void put(uint8_t *to, uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; i++)
        to[i] = static_cast<uint8_t>(value >> (8 * i));
}

/* Written once at the start, so that a killed run leaves a readable file, and again at the end. */
static void write_header()
{
    uint8_t head[wav_header_bytes] = {};
    memcpy(head, "RIFF", 4);
    put(head + 4, wav_header_bytes - 8 + wav_bytes, 4);
    memcpy(head + 8, "WAVEfmt ", 8);
    put(head + 16, 16, 4);
    put(head + 20, 1, 2); /* PCM */
    put(head + 22, 2, 2);
    put(head + 24, sound_rate, 4);
    put(head + 28, sound_rate * sound_frame_bytes, 4);
    put(head + 32, sound_frame_bytes, 2);
    put(head + 34, 16, 2);
    memcpy(head + 36, "data", 4);
    put(head + 40, wav_bytes, 4);
    wav_failed = fseek(wav, 0, SEEK_SET) != 0 || fwrite(head, 1, sizeof head, wav) != sizeof head ||
                 wav_failed;
}

static void write_frames(const int16_t *samples, uint32_t frames)
{
    const size_t bytes = static_cast<size_t>(frames) * sound_frame_bytes;
    if (!wav || wav_failed || wav_bytes > UINT32_MAX - wav_header_bytes - bytes)
        return;
    if (fwrite(samples, 1, bytes, wav) != bytes)
        wav_failed = true;
    else
        wav_bytes += static_cast<uint32_t>(bytes);
}

static int speaker_open()
{
    sound_clock_start();
    return 0;
}

static int speaker_close()
{
    return 0;
}

static void realtime_feed()
{
    sound_clock_feed(write_frames);
}

static constinit const sound_speaker stepped_speaker = {
    .open = speaker_open,
    .close = speaker_close,
    .stepped = true,
};

static constinit const sound_speaker realtime_speaker = {
    .open = speaker_open,
    .close = speaker_close,
    .feed = realtime_feed,
};

int virtual_sound_open()
{
    const char *path = getenv("ZERV_VIRTUAL_SOUND");
    if (!path || !*path)
        return 0;
    wav = fopen(path, "wbe");
    if (!wav) {
        fprintf(stderr, "cannot write %s\n", path);
        return -1;
    }
    wav_bytes = 0;
    wav_failed = false;
    write_header();
    return 0;
}

int virtual_sound_close()
{
    if (!wav)
        return 0;
    write_header();
    wav_failed = fclose(wav) != 0 || wav_failed;
    wav = nullptr;
    if (wav_failed)
        fprintf(stderr, "the sound file is not complete\n");
    return wav_failed ? -1 : 0;
}

const sound_speaker *virtual_speaker()
{
    return virtual_is_realtime() ? &realtime_speaker : &stepped_speaker;
}

void virtual_sound_tick(int64_t ms)
{
    /* 441 frames in 10 ms: the remainders even out. */
    const uint32_t frames =
        static_cast<uint32_t>((ms + 1) * sound_rate / 1000 - ms * sound_rate / 1000);
    int16_t samples[2 * sound_period_frames];
    sound_step();
    (void)sound_pull(samples, std::min(frames, sound_period_frames));
    write_frames(samples, frames);
}
