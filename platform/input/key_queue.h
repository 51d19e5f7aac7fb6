/* key_queue: presses and releases in order, and whether they are locked out. Inside platform/input
 * only. Main thread. */
#pragma once

#include <cstdint>

struct key_change {
    uint32_t mask; /* keys that change */
    bool down;
};

/* Nothing waits, nothing is locked, no headphones are in. */
void key_queue_forget();
/* The change that has waited longest, which stays; false when none waits. */
bool key_queue_look(key_change *first);
/* Removes it. There is one. */
void key_queue_drop();

/* ---- key_guard.cpp: the lock, for keys and panel alike; see key_is_locked() ---- */

/* Nobody has touched anything in vain since. */
void key_guard_set(bool locked);
/* Somebody touched the keys or the panel while they are locked. */
void key_refuse();
