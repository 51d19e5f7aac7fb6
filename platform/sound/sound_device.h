/* sound_device: the queue between the program's sound callback and the speaker of a device.
 *
 * The sound thread (sound.cpp) fills the queue; a speaker empties it with sound_pull(), on a thread
 * of its own or, when it has a feed(), on the sound thread. */
#pragma once

#include <cstdint>

struct sound_speaker {
    int (*open)(); /* 0 or -1; main thread */
    int (*close)();
    /* Moves what is due from the queue to the speaker. Sound thread, at every wake-up, before and
     * after the queue is filled. Null: the speaker pulls on a thread of its own. */
    void (*feed)() = nullptr;
    /* Frames pulled and not heard yet. Any thread. Null: none. */
    uint32_t (*pending)() = nullptr;
    /* Silences what is pending. Sound thread. */
    void (*drop)() = nullptr;
    /* Frames that the speaker would take now, or -1 while it keeps no time of its own. Sound
     * thread. Null: the queue is kept at its level by the machine's clock. */
    int32_t (*room)() = nullptr;
    /* Waits until the speaker wants more, or wake(). False at once when it keeps no time: the
     * machine's clock waits then. Sound thread. */
    bool (*wait)() = nullptr;
    /* Ends a wait() early, or the next one if none runs. Any thread. */
    void (*wake)() = nullptr;
    /* Lets the machine have no sound for a while, some seconds after the last; until it is roused
     * nothing else is called but wake() and close(). Sound thread. Null: it never rests. */
    void (*rest)() = nullptr;
    bool opens_resting = false; /* open() leaves it at rest */
    int (*rouse)() = nullptr; /* 0, or -1: it goes on resting and is asked again some time later */
    /* While it does not rest it asks for sound with sound_drive(), on a thread of its own. */
    bool drives = false;
    /* Frames of a track that are best made at once, because making them again and again in small pieces
     * finds the machine's caches cold. 0: no more than is asked for. */
    uint32_t at_once = 0;
    /* The queue is filled only when sound_step() asks for it. */
    bool stepped = false;
};

constexpr uint32_t sound_period_frames = 512; /* 11.6 ms */

/* Takes frames out of the queue, the volume applied.
 *   to  room for `frames` frames of two samples; silence stands where the queue is short
 * Returns the frames that came from the queue. One thread at a time. */
uint32_t sound_pull(int16_t *to, uint32_t frames);
/* The same for a speaker that drives: what the queue lacks, the callback is asked for first. */
uint32_t sound_drive(int16_t *to, uint32_t frames);
/* One millisecond of a stepped speaker: lets the sound thread fill the queue if that is due, and
 * waits until it has.
 * Not on the sound thread; the caller holds no lock that the callback could want. */
void sound_step();

/* ---- sound_volume.cpp ---- */

/* What the left channel is set to, 0..100. Any thread. */
int32_t sound_volume_now();
/* Applies the volume in place. A change since the last call slides, so that it does not click.
 * The pulling thread. */
void sound_volume_apply(int16_t *samples, uint32_t frames);
/* Nothing was heard just before: the next samples get the volume without a slide. */
void sound_volume_rest();

/* ---- A speaker that nobody hears ---- */

/* Frames that a real speaker would have played since the last call, at the machine's own clock: at most
 * `sound_period_frames`, the rest at the next calls. */
uint32_t sound_clock_take();
/* Pulls what a real speaker would have played since the last call, at the machine's own clock, and
 * hands it to `sink` (may be null) in pieces of at most `sound_period_frames`. */
void sound_clock_start();
void sound_clock_feed(void (*sink)(const int16_t *samples, uint32_t frames));

extern const sound_speaker sound_speaker_silent;
