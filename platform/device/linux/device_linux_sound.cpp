/* device_linux_sound: the sound card through ALSA, written by the sound thread itself. */
#include "platform/base/clock.h"
#include "platform/device/linux/device_linux.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"

#include <algorithm>
#include <alsa/asoundlib.h>
#include <atomic>
#include <cstdio>

/* The thread sleeps 42 ms at a time; what the card holds must last that long, and no longer,
 * because the volume no longer reaches it. */
constexpr uint32_t held_frames_most = sound_rate * 65 / 1000;
constexpr unsigned buffer_us = 90000;

/* A card may be a little faster than our clock. One that takes far more than it can have played
 * does not play at all but swallows, and would race through the playlist. */
constexpr int64_t card_fast_percent = 1;
constexpr int64_t credit_most_frames = 2 * sound_rate;

static snd_pcm_t *pcm = nullptr; /* sound thread, while that runs */

/* Sound thread. */
static int64_t credit_frames = 0; /* what a real card could take by now */
static int64_t credit_at_ms = 0;
static bool swallows = false;

static std::atomic<uint32_t> held_frames{0}; /* in the card at held_since_ms */
static std::atomic<int64_t> held_since_ms{0};

static void say_nothing(const char *, int, const char *, int, const char *, ...) {}

static int alsa_open()
{
    (void)snd_lib_error_set_handler(say_nothing); /* a missing card is told once, by us */
    if (snd_pcm_open(&pcm, "default", SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK) < 0)
        return -1;
    if (snd_pcm_set_params(pcm, SND_PCM_FORMAT_S16, SND_PCM_ACCESS_RW_INTERLEAVED, 2, sound_rate, 1,
                           buffer_us) == 0)
        return 0;
    snd_pcm_close(pcm);
    pcm = nullptr;
    return -1;
}

static void alsa_close()
{
    snd_pcm_drop(pcm);
    snd_pcm_close(pcm);
    pcm = nullptr;
}

static int32_t alsa_room()
{
    const snd_pcm_sframes_t room = snd_pcm_avail_update(pcm);
    return room < 0 ? -1 : (int32_t)room;
}

static int32_t alsa_size()
{
    snd_pcm_uframes_t size = 0, period = 0;
    return snd_pcm_get_params(pcm, &size, &period) < 0 ? 0 : (int32_t)size;
}

static int32_t alsa_write(const int16_t *samples, uint32_t frames)
{
    const snd_pcm_sframes_t done = snd_pcm_writei(pcm, samples, frames);
    return done < 0 ? -1 : (int32_t)done;
}

static int alsa_recover()
{
    return snd_pcm_prepare(pcm) < 0 ? -1 : 0;
}

static int alsa_start()
{
    if (snd_pcm_state(pcm) != SND_PCM_STATE_PREPARED)
        return 0;
    return snd_pcm_start(pcm) < 0 ? -1 : 0;
}

static void alsa_drop()
{
    (void)snd_pcm_drop(pcm); /* a card that is gone fails at the next write */
}

static constinit const linux_card alsa_card = {
    .open = alsa_open,
    .close = alsa_close,
    .room = alsa_room,
    .size = alsa_size,
    .write = alsa_write,
    .recover = alsa_recover,
    .start = alsa_start,
    .drop = alsa_drop,
};

constinit const linux_card *linux_card_current = &alsa_card;

static void watch_pace()
{
    const int64_t now = clock_real_msec();
    const int64_t more =
        (now - credit_at_ms) * (int64_t)sound_rate * (100 + card_fast_percent) / 100000;
    credit_at_ms = now;
    credit_frames = std::min(credit_frames + more, credit_most_frames);
    if (credit_frames >= 0 || swallows)
        return;
    swallows = true;
    fprintf(stderr, "the sound card does not keep time: playing to a silent clock\n");
}

/* How much the card holds; after an underrun it is made ready again and holds nothing. */
static int32_t frames_in_card()
{
    const linux_card *card = linux_card_current;
    int32_t room = card->room();
    if (room < 0)
        room = card->recover() == 0 ? card->room() : -1;
    return room < 0 ? -1 : std::max(0, card->size() - room);
}

/* Frames written, 0 when the queue is empty or the card takes no more. */
static uint32_t write_some(uint32_t most)
{
    int16_t samples[2 * sound_period_frames];
    const uint32_t frames = sound_pull(samples, std::min(most, sound_period_frames));
    uint32_t done = 0;
    while (done < frames) {
        const int32_t taken = linux_card_current->write(samples + done * 2, frames - done);
        if (taken <= 0)
            break; /* an underrun in this moment: what is left of this piece is lost */
        done += (uint32_t)taken;
    }
    credit_frames -= done;
    return done;
}

static void speaker_feed()
{
    watch_pace();
    const int32_t held = swallows ? -1 : frames_in_card();
    if (held < 0) {
        sound_clock_feed(nullptr); /* the player goes on without the card */
        held_frames = 0;
        return;
    }
    uint32_t total = (uint32_t)held;
    while (total < held_frames_most) {
        const uint32_t done = write_some(held_frames_most - total);
        if (done == 0)
            break;
        total += done;
    }
    if (total > 0)
        (void)linux_card_current->start(); /* the next round tells whether it plays */
    held_frames = total;
    held_since_ms = clock_real_msec();
    sound_clock_start();
}

static uint32_t speaker_pending()
{
    const int64_t gone = (clock_real_msec() - held_since_ms) * (int64_t)sound_rate / 1000;
    const uint32_t held = held_frames;
    return gone >= held ? 0 : held - (uint32_t)gone;
}

static void speaker_drop()
{
    linux_card_current->drop();
    (void)linux_card_current->recover(); /* the next round tells whether it did */
    held_frames = 0;
}

static int speaker_open()
{
    held_frames = 0;
    credit_frames = credit_most_frames / 2;
    credit_at_ms = clock_real_msec();
    swallows = false;
    sound_clock_start();
    return linux_card_current->open();
}

static int speaker_close()
{
    linux_card_current->close();
    return 0;
}

static constinit const sound_speaker speaker = {
    .open = speaker_open,
    .close = speaker_close,
    .feed = speaker_feed,
    .pending = speaker_pending,
    .drop = speaker_drop,
};

const sound_speaker *linux_speaker()
{
    return &speaker;
}
