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
/* Lets a sleeping main thread go on at once. Any thread; safe in a signal handler. */
void clock_wake();
