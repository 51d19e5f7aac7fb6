/* device: one record of operations a device. Nothing else in the program knows which one runs. */
#pragma once

#include <cstdint>
#include <ctime>

struct fb_surface;

/* Main thread unless said otherwise. Operations return 0 or -1. */
struct device {
    const char *name;
    bool (*fits)(); /* whether this machine looks like one, asked when ZERV_DEVICE names none */
    int (*open)();
    int (*close)();
    int (*screen_open)(int32_t width, int32_t height);
    int (*screen_close)();
    int (*screen_show)(const fb_surface *frame); /* one finished frame */
    int (*screen_power)(int on);
    int (*key_open)();
    int (*key_close)();
    int (*touch_open)();
    int (*touch_close)();
    void (*poll)(); /* once a pass, reports through key_event() and touch_event() */
    /* Starts pulling sound through sound_pull() (sound_device.h) on a thread of its own. */
    int (*sound_open)();
    int (*sound_close)();
    int32_t (*battery)();       /* per cent */
    int32_t (*msec)();          /* monotonic; any thread */
    time_t (*wall)();           /* any thread */
    void (*msleep)(int32_t ms); /* any thread */
    void (*wake)() = nullptr;   /* ends a main-thread msleep early; any thread, signal-safe */
};

extern const device device_sdl;     /* a desktop window; only in builds with SDL */
extern const device device_linux;   /* frame buffer, evdev, ALSA */
extern const device device_virtual; /* memory, script and WAV file */

extern const device *device_current; /* null before sys_init() */

/* What only the program knows and a scripted device may be asked for. */
struct device_program_state {
    const char *view; /* "list" or "play" */
    bool sliding;
    bool paused;
    int32_t pos_ms;
    char playing[512]; /* path, empty when stopped */
};
/* Start-up fills it in; may be null. Called on the main thread with no lock held. */
extern void (*device_ask_program)(device_program_state *state);
