/* sound_silent: a speaker for machines without a sound card; the clock of the machine plays. */
#include "platform/sound/sound_device.h"

#include "platform/base/clock.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_ring.h"

#include <algorithm>

/* After a stall (a suspended machine) the clock does not catch up beyond this. */
constexpr int64_t catch_up_ms = 200;

/* Set before the sound thread starts, afterwards its own. */
static constinit int64_t started_ms = 0;
static constinit int64_t played_frames = 0; /* since started_ms */

void sound_clock_start()
{
    started_ms = clock_real_msec();
    played_frames = 0;
}

static int64_t due_frames()
{
    return (clock_real_msec() - started_ms) * static_cast<int64_t>(sound_rate) / 1000;
}

uint32_t sound_clock_take()
{
    const int64_t due = due_frames();
    played_frames =
        std::max(played_frames, due - catch_up_ms * static_cast<int64_t>(sound_rate) / 1000);
    const int64_t taken = std::clamp<int64_t>(due - played_frames, 0, sound_period_frames);
    played_frames += taken;
    return static_cast<uint32_t>(taken);
}

/* Nobody hears it, and it may have lasted for hours: not worth a pull a period. */
static void skip_silence()
{
    const int64_t due = due_frames();
    if (due <= played_frames)
        return;
    played_frames = due;
    sound_volume_rest();
}

void sound_clock_feed(void (*sink)(const int16_t *samples, uint32_t frames))
{
    if (!sink && sound_ring_count() == 0) {
        skip_silence();
        return;
    }
    for (uint32_t frames = sound_clock_take(); frames > 0; frames = sound_clock_take()) {
        int16_t samples[2 * sound_period_frames];
        (void)sound_pull(samples, frames); /* what is missing is silence */
        if (sink)
            sink(samples, frames);
    }
}

static int silent_open()
{
    sound_clock_start();
    return 0;
}

static int silent_close()
{
    return 0;
}

static void silent_feed()
{
    sound_clock_feed(nullptr);
}

constinit const sound_speaker sound_speaker_silent = {
    .open = silent_open,
    .close = silent_close,
    .feed = silent_feed,
};
