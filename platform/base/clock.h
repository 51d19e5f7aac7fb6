/* clock: time. Any thread. */
#pragma once

#include <cstdint>
#include <ctime>

int32_t clock_sec();  /* seconds, monotonic; compare by signed difference */
int32_t clock_msec(); /* milliseconds, same base, never exactly 0; compare by signed difference */
time_t clock_wall();  /* the wall clock, as time() */
/* Sleeps. On the main thread of a real device it returns early when a key, a finger or clock_wake()
 * wants attention. */
void clock_msleep(int32_t ms);
/* Lets a sleeping main thread go on at once; whoever asks for a redraw from another thread calls
 * it afterwards. Any thread; safe in a signal handler. */
void clock_wake();

/* ---- When the main loop has to look again. Main thread ----
 *
 * Whatever changes with time asks in each pass for its next moment; what another thread changes
 * comes with clock_wake(). The loop sleeps until the earliest of them. */

void clock_look_in(int32_t ms);
void clock_look_next_second(); /* when clock_sec() counts on */
void clock_look_next_minute(); /* when clock_wall() reaches a full minute */
/* Milliseconds until the earliest moment asked for since the last call, 0 when it is past,
 * INT32_MAX when nobody has asked. */
int32_t clock_take_look();
/* The next clock_msleep() takes at most so long, on a real device, instead of what it is told. */
void clock_stretch(int32_t ms);

/* ---- For the platform itself ---- */

/* From now on a clock_msleep() of the calling thread sets *noted instead of sleeping; null ends
 * this. The sound thread learns so that the callback had nothing to play, and waits by itself. */
void clock_note_sleeps(bool *noted);
/* The machine's own clock, in milliseconds from an arbitrary base, and a sleep on it. */
int64_t clock_real_msec();
/* Whether the caller is the thread that main() runs on, the one that signals interrupt. */
bool clock_on_main_thread();
/* The moment `ms` from now, for waits on CLOCK_MONOTONIC. A negative `ms` is now. */
timespec clock_real_after(int32_t ms);
void clock_real_msleep(int32_t ms);
