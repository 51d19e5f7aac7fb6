/* sound_silent: a speaker for machines without a sound card; the clock of the machine plays. */
#include "platform/sound/sound_device.h"

#include "platform/base/clock.h"
#include "platform/sound/sound.h"

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

void sound_clock_feed(void (*sink)(const int16_t *samples, uint32_t frames))
{
    const int64_t now = clock_real_msec();
    const int64_t due = (now - started_ms) * static_cast<int64_t>(sound_rate) / 1000;
    played_frames =
        std::max(played_frames, due - catch_up_ms * static_cast<int64_t>(sound_rate) / 1000);
    while (played_frames < due) {
        int16_t samples[2 * sound_period_frames];
        const uint32_t frames =
            static_cast<uint32_t>(std::min<int64_t>(due - played_frames, sound_period_frames));
        (void)sound_pull(samples, frames); /* what is missing is silence */
        if (sink)
            sink(samples, frames);
        played_frames += frames;
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
