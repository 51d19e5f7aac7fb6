/* sound: 16-bit stereo output, pulled by a thread of the platform.
 *
 * The sound thread calls the callback for one period at a time (at most 12 ms, never 0 bytes, a
 * multiple of 4 bytes, buffer zeroed) and keeps 60 to 110 ms queued. The volume is applied where
 * sound leaves the queue: a change is heard at once, on a bare card when what it holds has been
 * heard.
 *
 * A callback that has nothing to play calls clock_msleep() and returns with its buffer untouched.
 * On the sound thread that does not sleep: it tells the thread, which then queues nothing and waits
 * for sound_wake() or a reset. Three seconds later the card is closed, until there is something to
 * play again. */
#pragma once

#include <cstdint>

typedef void (*sound_callback)(void *user, void *buffer, uint32_t length);

constexpr uint32_t sound_rate = 44100;    /* frames per second */
constexpr uint32_t sound_frame_bytes = 4; /* left and right, 16 bits each */

/* Starts the thread. A machine without a sound card plays to a silent clock and says so once. */
[[nodiscard]] int sound_open(sound_callback callback, void *user);
/* Joins the thread: no callback runs afterwards. Accepts a sound that was never opened. */
int sound_close();
/* Drops what is queued. From another thread the period being filled is dropped too; from inside the
 * callback (the end of a track) what is queued is played to its end. Any thread; waits for
 * nobody. */
int sound_reset();
/* There may be something to play again: a track was opened, a pause has ended. Also when a callback
 * with nothing to play has something to tell all the same, a new position. Any thread; cheap. */
void sound_wake();
/* Milliseconds queued, without the period being filled. Any thread; takes no lock. */
int32_t sound_get_buffer_remaining();
/* Frames that a decoder best makes at once, for the sake of the machine's caches; 0: what it is asked
 * for. Any thread. */
uint32_t sound_at_once();
/* 0..100. The set value comes back exactly; out of range is clamped and written back through the
 * pointers, which may be the same. Main thread. */
int sound_get_volume(int32_t *left, int32_t *right);
int sound_set_volume(int32_t *left, int32_t *right);
