/* device_sdl: what the files of the desktop window share. Main thread unless said otherwise. */
#pragma once

#include <cstdint>

struct SDL_Rect;
struct SDL_Surface;
struct SDL_Window;
struct fb_surface;
struct sound_speaker;

/* ---- device_sdl_window.cpp ---- */

/* The record's operations, see platform/base/device.h. */
int sdl_screen_open(int32_t width, int32_t height);
int sdl_screen_close();
int sdl_screen_show(const fb_surface *frame);
int sdl_screen_power(int on);
void sdl_screen_title(const char *text);
/* Draws the last frame again, after the window system lost it. */
void sdl_screen_repeat();
/* From the window to the whole screen, or back. */
void sdl_screen_toggle_full();

/* ---- device_sdl_icon.cpp ---- */

/* A program folder without a picture leaves the window without one. */
void sdl_show_icon(SDL_Window *window);

/* ---- device_sdl_paint.cpp ---- */

/* Paints a part of a picture of RGB565 over a place of the window, each pixel as a square. 0 or -1. */
int sdl_paint(SDL_Surface *from, const SDL_Rect &part, SDL_Surface *to, const SDL_Rect &at);

/* ---- device_sdl_input.cpp ---- */

void sdl_input_open();
void sdl_input_close();
void sdl_input_poll();

/* A key or button. */
struct sdl_code {
    int32_t symbol; /* of SDL */
    uint16_t code;  /* of key_code.h */
};

/* ---- device_sdl_keyboard.cpp ---- */

/* The code of key_code.h for a key of SDL, -1 for one that has none. */
int32_t sdl_code_of_key(int32_t symbol);

/* ---- device_sdl_wait.cpp ---- */

int sdl_wait_open(); /* 0 or -1 */
void sdl_wait_close();
/* The window whose events end a wait; null: none. */
void sdl_wait_watch(SDL_Window *window);
/* A controller, known by its id, whose reports do; `path` is its device file, null when unknown. */
void sdl_wait_add_pad(int32_t id, const char *path);
void sdl_wait_remove_pad(int32_t id);
/* Waits for an event or a wake, at most `ms`. The events stay for the next poll. */
void sdl_wait(int32_t ms);
/* Ends a wait, or the next one if none runs. Any thread; safe in a signal handler. */
void sdl_wake();

/* ---- device_sdl_sound.cpp ---- */

const sound_speaker *sdl_speaker();
