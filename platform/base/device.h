/* device: one record of operations a device. Nothing else in the program knows which one runs. */
#pragma once

#include <cstdint>
#include <ctime>

struct fb_surface;
struct sound_speaker;

/* The screen that everything is drawn for, in pixels; a device fits it into what it has. */
constexpr int32_t device_width = 320, device_height = 240;

/* Main thread unless said otherwise. Operations return 0 or -1. The closing ones accept a part
 * that was never opened. */
struct device {
    const char *name;
    /* Whether this machine looks like one, asked when ZERV_DEVICE names none. Null: it is taken
     * only when it is named. */
    bool (*fits)() = nullptr;
    int (*open)();
    int (*close)();
    int (*screen_open)(int32_t width, int32_t height);
    int (*screen_close)();
    int (*screen_show)(const fb_surface *frame); /* one finished frame */
    int (*screen_power)(int on);
    /* What is shown beside the picture, as by the frame of a window. Null: nothing is. */
    void (*screen_title)(const char *text) = nullptr;
    int (*key_open)();
    int (*key_close)();
    int (*touch_open)();
    int (*touch_close)();
    void (*poll)(); /* once a pass, reports through key_event() and touch_event() */
    /* Where sound goes, see sound_device.h. Null: to a silent clock. */
    const sound_speaker *(*speaker)();
    int32_t (*battery)();       /* per cent */
    int64_t (*msec)();          /* monotonic; any thread, also after close() */
    time_t (*wall)();           /* any thread, also after close() */
    void (*msleep)(int32_t ms); /* any thread, also after close() */
    /* Whether its keys are a handheld's own, which go by whatever codes their maker found. */
    bool handheld = false;
    /* Sleeps at most `ms`; returns early for input and for wake(). Null: msleep() does. */
    void (*wait)(int32_t ms) = nullptr;
    /* Ends a wait() early, or the next one if none runs. Any thread; safe in a signal handler. */
    void (*wake)() = nullptr;
    /* Gives the screen back before a program that cannot end properly ends at once. Safe in a signal
     * handler, also when nothing was opened. */
    void (*rescue)() = nullptr;
    /* -1 when something went wrong that must show in the exit status of the program. */
    int (*status)() = nullptr;
};

extern const device device_linux;   /* frame buffer, evdev, ALSA */
extern const device device_virtual; /* memory, script and WAV file */

/* What a device that is a module of its own shows to the program, under the name
 * zerv_device_module (extern "C"). */
struct device_module {
    const char *version; /* of the program that it was built with, */
    uint32_t size;       /* and sizeof(device) there */
    const device *record;
};

/* Null before sys_init(); stays set after sys_exit(), because workers may still ask for the
 * time. */
extern const device *device_current;

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

/* From a device whose machine slept (what it showed may be gone, a key may have woken it), or whose
 * time of day was set. Start-up fills it in; may be null. Called from inside poll(). */
extern void (*device_woke)(bool slept);
