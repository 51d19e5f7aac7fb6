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

[[nodiscard]] int key_open();
int key_close();
/* Polls the device. 1 when a key was pressed or repeats (a release alone is no event), else 0 and
 * only `held` and `released` may be non-zero. */
int key_check(key_report *report);

/* ---- For device back ends, from inside poll() ---- */
void key_event(uint32_t mask, bool down);
