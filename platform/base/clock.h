/* clock: time. Any thread. */
#pragma once

#include <cstdint>
#include <ctime>

int32_t clock_sec();  /* seconds, monotonic; compare by signed difference */
int32_t clock_msec(); /* milliseconds, same base, never exactly 0; compare by signed difference */
time_t clock_wall();  /* the wall clock, as time() */
/* Sleeps. On the main thread of a real device it returns early when a key, a finger or a redraw
 * wants attention and stretches up to 20 ms when nobody has touched anything for two seconds. */
void clock_msleep(int32_t ms);
/* Lets a sleeping main thread go on at once; whoever asks for a redraw from another thread calls
 * it afterwards. Any thread; safe in a signal handler. */
void clock_wake();

/* ---- For the platform itself ---- */

/* A key or the finger moved: the main thread sleeps no longer than it asks for a while. */
void clock_note_input();
/* How long the main thread sleeps when it asks for `ms`. */
int32_t clock_stretch(int32_t ms, int32_t since_input_ms);
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
