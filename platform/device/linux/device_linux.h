/* device_linux: what the files of the bare Linux device share. Main thread unless said
 * otherwise. */
#pragma once

#include "platform/base/device.h"
#include "platform/device/linux/linux_folder.h"

#include <bitset>
#include <cstdint>

struct fb_changes;
struct fb_surface;
struct sound_speaker;

/* ---- device_linux_panel.cpp: what a frame buffer of the kernel shows ---- */

struct linux_channel {
    uint32_t offset, length; /* bits */
};

struct linux_panel {
    uint8_t *memory;
    int32_t width, height; /* pixels */
    int32_t line_bytes;    /* from one row to the next */
    int32_t pixel_bytes;   /* 1 to 4 */
    linux_channel red, green, blue;
    uint32_t opaque = 0; /* bits of every pixel, where the panel mixes with what lies below */
    int32_t turn = 0;    /* of the frame on the panel: quarters, clockwise, 0 to 3 */
};

/* The one that is open, which fingers are on; null while none is. Main thread. */
extern const linux_panel *linux_panel_open;

/* Rows of a frame. */
using linux_rows = std::bitset<device_height>;

/* Those in which anything changes. */
linux_rows linux_rows_of(const fb_changes *changes);
/* Draws rows of a frame in the middle, at the largest whole scale that fits; crops it where the panel
 * is smaller. Touches nothing beside it. A frame has device_height rows at most. */
void linux_panel_draw(const linux_panel *panel, const fb_surface *frame, const linux_rows &rows);
/* Copies what changes to a panel of the frame's size and kind of pixels. False, and nothing done, for any
 * other one. */
bool linux_panel_copy(const linux_panel *panel, const fb_surface *frame, const fb_changes *changes);
/* From a point of the panel to the one of the picture that is shown there; false where none is. */
bool linux_panel_point(const linux_panel *panel, int32_t *x, int32_t *y);
/* A wish of the user in quarters: "0", "90", "180", "270"; -1 for anything else, or null. */
int32_t linux_turn_wished(const char *degrees);
/* How a frame has to be turned: as the user wishes, else as the kernel's
 * console is ("0" to "3"), else so that it lies across a panel that stands. Texts may be null. */
int32_t linux_panel_turn_of(const char *wish, const char *console, int32_t width, int32_t height);
void linux_panel_clear(const linux_panel *panel);

/* ---- device_linux_screen.cpp: the frame buffer itself ---- */

bool linux_screen_fits();
int linux_screen_open(int32_t width, int32_t height);
int linux_screen_close();
int linux_screen_show(const fb_surface *frame);
int linux_screen_power(int on);
/* Nobody knows what the panel shows: the next frame is drawn whole. */
void linux_screen_lost();

/* ---- device_linux_console.cpp: what is taken from the console and given back ---- */

/* From now on the console draws no more, and is given back even if the program crashes. */
void linux_console_take(int panel_fd);
void linux_console_give_back();
/* The panel and its light. */
void linux_console_light(bool on);
/* Text, picture and light for whoever comes after a program that ends at once. Safe in a signal
 * handler. */
void linux_console_rescue();

/* ---- device_linux_input.cpp: event devices of the kernel ---- */

struct linux_range {
    int32_t least, most;
};

/* Raw values at the edges of a touch panel; least == most: the source has no panel. */
struct linux_touch_ranges {
    linux_range x, y;
    bool by_button = false;       /* the left button is the contact: tablets, emulated machines */
    int32_t x_now = 0, y_now = 0; /* the kernel reports an axis only when it changes */
};

/* An axis that says how far a trigger is pulled; least == most: the source has none. */
struct linux_trigger {
    uint16_t axis;
    linux_range range;
    bool unsure = false; /* may be a stick that has not said yet where it rests */
};

/* Axes that are sticks or hats where their ends are codes of key_map.h. */
constexpr uint16_t linux_sticks = 0x18; /* those below, by number */

/* What the player reads of a source's axes. */
struct linux_axes {
    linux_touch_ranges panel = {};
    linux_trigger triggers[2] = {};        /* left, right */
    linux_range sticks[linux_sticks] = {}; /* least == most: no stick */
    int8_t resting[linux_sticks] = {};     /* an end at which it rests, as a lever does: -1, 1 */
};

/* Reads `input_event` records from a descriptor from now on, and closes it at the end. 0, or -1
 * when there are too many (it stays the caller's). */
int linux_input_add(int fd, const linux_axes *axes);
int linux_input_open();
int linux_input_close();
void linux_input_poll();
void linux_input_wait(int32_t ms);
/* Any thread; safe in a signal handler. */
void linux_input_wake();

/* ---- device_linux_sleep.cpp: a machine that slept, or whose clock was set ---- */

/* What the kernel tells of it; a test puts its own here. */
struct linux_sleep {
    int (*watch)(); /* a descriptor that can be read after a jump of the clock; -1: there is none */
    void (*watch_again)(int fd); /* after it could */
    int64_t (*slept_ms)();       /* since the machine was started */
};

extern const linux_sleep *linux_sleep_current;

void linux_sleep_open();
void linux_sleep_close();
/* What to wait for beside input; may be -1. */
int linux_sleep_watch();
/* Tells the program, see device_woke. Without a watch it looks each time. */
void linux_sleep_look(bool watch_rang);

/* ---- device_linux_axes.cpp: what the axes of an event device mean ---- */

/* Asks the kernel. Hats are known, sticks where there is a pad's button. Nothing for a source that has no such axes. */
linux_axes linux_axes_of(int fd);
/* Finds the axes of the left and the right trigger by the bits that EVIOCGBIT gives. Pads without
 * triggers, and with triggers that are buttons only, have none. */
bool linux_trigger_axes(const unsigned char *keys, const unsigned char *axes, uint16_t (&found)[2]);
/* Whether a value is about the middle, where sticks rest and triggers and levers do not. */
bool linux_is_middle(const linux_range *range, int32_t value);
/* Whether a trigger at `value` counts as a key that is down. */
bool linux_trigger_is_down(const linux_trigger *trigger, int32_t value, bool was_down);

/* Which end of a stick's axis a value is at: -1, 0 or 1. `was`: the one before, which a stick that
 * trembles does not leave at once. */
int32_t linux_stick_side(const linux_range *range, int32_t value, int32_t was);

/* ---- device_linux_card.cpp: the sound card through ALSA ---- */

/* The calls of the library that the speaker uses; a test puts its own card here. All is called
 * on the sound thread, but the first opening and the last closing. */
struct linux_card {
    int (*open)(); /* 0, or -1 after the reasons went to standard error */
    void (*close)();
    int32_t (*room)();   /* frames that may be written, -1 after an underrun */
    int32_t (*size)();   /* frames that the card holds when full */
    int32_t (*period)(); /* frames between two times that the card reports */
    int32_t (*delay)();  /* frames from the last one written to the one that is heard, or -1 */
    int32_t (*write)(const int16_t *samples, uint32_t frames); /* frames taken, or -1 */
    int (*recover)(); /* makes it ready after -1 or drop(); 0 or -1 */
    int (*start)();   /* begins to play what was written, if it does not yet */
    void (*drop)();   /* silences it */
    /* Until there is as much room as planned, or `stop` can be read, at most `ms`. False when
     * neither happened. */
    bool (*wait)(int stop, int32_t ms);
};

extern const linux_card *linux_card_current;

/* ---- device_linux_oss.cpp: the sound card of an older kernel ---- */

extern const linux_card linux_card_oss; /* current where ALSA is left out */

/* ---- device_linux_plan.cpp ---- */

struct linux_card_plan {
    int32_t fill;      /* frames kept in the card */
    int32_t wake_room; /* room at which the card wakes the sound thread */
};

/* For a card that holds `size` frames and reports every `period`. */
linux_card_plan linux_card_plan_of(int32_t size, int32_t period);

/* ---- device_linux_sound.cpp: the speaker that keeps it full ---- */

/* Between two looks for a card while there is none; a test is not that patient. */
extern int32_t linux_card_look_again_ms;

const sound_speaker *linux_speaker();
/* A card that was lost may be there again: looks for it now. Any thread. */
void linux_speaker_look();
