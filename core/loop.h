/* loop: the main loop and what it watches: the display, the timers, the battery, the keys that work
 * on every screen. Main thread. */
#pragma once

#include <cstdint>

extern int32_t main_last_input_time;     /* clock_sec() of the last key or touch, -1 at first */
extern int32_t main_last_battery_second; /* clock_sec() of the last battery check, -1 at first */

/* The last input was now. */
void loop_note_input();
/* Something else than a key or a finger wants the user's eye: as if it were one. */
void loop_light_display();

/* The machine slept, or its time of day was set, see device_woke. The screen is drawn anew, the
 * battery asked; after a sleep the display is lit or dark as before, and the key that woke the machine does
 * nothing else than light it. */
void loop_woke(bool slept);

/* Each of these is one step of a pass; `now` is clock_sec(). */
void loop_check_display(int32_t now);
void loop_check_auto_off(int32_t now);
void loop_check_battery(int32_t now);
void loop_handle_input(int32_t now);

/* What a desktop and a machine with switches add, seen to once a pass after the input; start-up sets it. May be null. */
using loop_hook = void (*)();
extern loop_hook loop_desktop;

/* One pass without its sleep. */
void loop_pass();
/* True when a pass is followed by a sleep: no slide runs that anybody could see. */
bool loop_may_sleep();
/* Passes until program_running is cleared. */
void loop_run();
