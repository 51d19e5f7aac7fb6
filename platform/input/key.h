/* key: the hardware keys, one report a pass. Main thread. */
#pragma once

#include <cstdint>

struct key_report {
    uint32_t pressed;  /* newly pressed in this pass */
    uint32_t released; /* newly released in this pass */
    uint32_t repeat;   /* newly pressed, and held ones repeating (after 400 ms, every 100 ms) */
    uint32_t held;     /* down now */
};

constexpr uint32_t key_up = 0x1, key_down = 0x10, key_left = 0x4, key_right = 0x40;
constexpr uint32_t key_page_up = 0x400, key_page_down = 0x800;
constexpr uint32_t key_select = 0x2000, key_menu = 0x1000, key_reload = 0x8000;
constexpr uint32_t key_switch = 0x4000, key_back = 0x200, key_quit = 0x100;
constexpr uint32_t key_vol_up = 0x10000, key_vol_down = 0x20000;
/* Keys that mean playback whatever is shown: no screen looks at them. */
constexpr uint32_t key_media_play = 0x100000, key_media_stop = 0x200000;
constexpr uint32_t key_media_prev = 0x400000, key_media_next = 0x800000;
constexpr uint32_t key_media = key_media_play | key_media_stop | key_media_prev | key_media_next;
/* Never in a report: locks the keys and the panel, or frees them; is down while headphones are in. */
constexpr uint32_t key_hold = 0x1000000, key_headphones = 0x2000000;

constexpr char key_map_file_name[] = "keys.txt"; /* in the program folder, see key_map.h */

[[nodiscard]] int key_open();
int key_close();
/* Polls the device. 1 when a key was pressed or repeats (a release alone is no event), else 0 and
 * only `held` and `released` may be non-zero. */
int key_check(key_report *report);

/* While the keys are locked none but key_hold does anything, and no finger either. */
bool key_is_locked();
/* Whether somebody has pressed a key or the panel in vain since the last call. */
bool key_take_refused();
/* Whether headphones were pulled out since the last call. */
bool key_take_pulled();

/* ---- For device back ends, from inside poll() ---- */

/* Keys that a device has by their own names; what has a code goes through key_map.h. Each press of
 * key_hold locks, or frees. */
void key_event(uint32_t mask, bool down);
/* What a switch says that is the hold switch. */
void key_lock(bool locked);
