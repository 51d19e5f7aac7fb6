/* device_virtual: what the files of the virtual device share. Main thread unless said otherwise. */
#pragma once

#include <cstdint>
#include <ctime>

struct fb_surface;
struct fb_text;
struct sound_speaker;

/* ---- device_virtual_clock.cpp: clock, battery, power ---- */

/* As the environment wants it. 0, or -1 after a line on standard error. */
int virtual_clock_open();
/* The clock follows real time (ZERV_VIRTUAL_REALTIME). */
bool virtual_is_realtime();
int64_t virtual_msec(); /* any thread */
/* The scripted clock goes on by a millisecond; that which it leaves. */
int64_t virtual_clock_step();
void virtual_set_wall(int64_t seconds);
time_t virtual_wall(); /* any thread */
void virtual_set_battery(int32_t percent);
int32_t virtual_battery();
int virtual_set_display(int on); /* always 0 */
int32_t virtual_display();

/* ---- device_virtual_tick.cpp: the passes of a script ---- */

/* No worker has been given up waiting for. */
void virtual_tick_begin();
/* One millisecond of the scripted clock: the speaker consumes it as well. */
void virtual_tick();

/* ---- device_virtual_script.cpp: commands ---- */

/* Opens the script named by the environment. 0 or -1. */
int virtual_script_open();
void virtual_script_close();
/* Runs commands until one needs a pass of the main loop. */
void virtual_script_poll();
/* Lets a poll() that waits for a command return. Any thread; safe in a signal handler. */
void virtual_script_wake();
/* -1 after a command that was refused. */
int virtual_script_status();

/* ---- device_virtual_answers.cpp: what a script may ask for; each prints its answer ---- */

/* -1 when the point is not on the screen. */
int virtual_answer_pixel(int32_t x, int32_t y);
/* -1 when the file cannot be written. */
int virtual_answer_screenshot(const char *path);
void virtual_answer_text();
void virtual_answer_state();
void virtual_answer_title();

/* ---- device_virtual_screen.cpp: the frame shown last, and its texts ---- */

int virtual_screen_open(int32_t width, int32_t height);
int virtual_screen_close();
int virtual_screen_show(const fb_surface *frame);
void virtual_screen_title(const char *text);
uint32_t virtual_screen_flips();
const char *virtual_screen_title_now();
/* Null outside the screen. */
const uint16_t *virtual_screen_pixel(int32_t x, int32_t y);
uint32_t virtual_screen_text_count();
/* Null past the end; valid until the next frame. */
const fb_text *virtual_screen_text(uint32_t index);
bool virtual_screen_has_text(const char *part);
/* 0 or -1. */
int virtual_screen_save_png(const char *path);

/* ---- device_virtual_sound.cpp: the speaker and its WAV file ---- */

/* Opens the file named by the environment, if any. 0 or -1. */
int virtual_sound_open();
/* -1 when the file is not complete. The sound thread has ended. */
int virtual_sound_close();
const sound_speaker *virtual_speaker();
/* Plays what millisecond number `ms` of the clock takes, and lets the queue be filled. */
void virtual_sound_tick(int64_t ms);

/* ---- device_virtual_words.cpp: the arguments of a command; each returns 0 or -1 ---- */

/* "0x2000", "back" or several names joined by "+". */
int virtual_word_keys(const char *word, uint32_t *mask);
int virtual_word_number(const char *word, int32_t *number);
/* Milliseconds from 0 to `last`. */
int virtual_word_clock(const char *word, int64_t last, int64_t *ms);
/* YYYY-MM-DDThh:mm:ss, local time; with a Z behind it UTC, which has no hour twice. */
int virtual_word_wall(const char *word, int64_t *seconds);
