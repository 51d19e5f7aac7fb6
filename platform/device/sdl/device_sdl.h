/* device_sdl: what the files of the desktop window share. Main thread unless said otherwise. */
#pragma once

#include <cstdint>

struct SDL_Window;
struct sound_speaker;

/* ---- device_sdl.cpp ---- */

/* Draws the last frame again, after the window system lost it. */
void sdl_screen_repeat();
/* From the window to the whole screen, or back. */
void sdl_screen_toggle_full();

/* ---- device_sdl_icon.cpp ---- */

/* A program folder without a picture leaves the window without one. */
void sdl_show_icon(SDL_Window *window);

/* ---- device_sdl_input.cpp ---- */

/* Starts and ends sdl_input_wake()'s helper. */
int sdl_input_open();
void sdl_input_close();
void sdl_input_poll();
/* Waits for an event or a wake, at most `ms`. */
void sdl_input_wait(int32_t ms);
/* Any thread; safe in a signal handler. */
void sdl_input_wake();

/* ---- device_sdl_sound.cpp ---- */

const sound_speaker *sdl_speaker();
