/* touch: the touch panel, one event a pass. Main thread. */
#pragma once

#include <cstdint>

constexpr int32_t touch_type_press = 1, touch_type_release = 2, touch_type_move = 3;

/* A machine without a panel opens too. */
[[nodiscard]] int touch_open();
int touch_close();
/* 1 with the oldest waiting event, else 0 and outputs untouched. x 0..319, y 0..239 (clamped).
 * Moves are merged and come only when the point changed; presses and releases are never lost. */
int touch_check(int32_t *x, int32_t *y, int32_t *type);
/* A finger that is down is lifted where it is: the panel is locked, see key.h. */
void touch_let_go();

/* ---- For device back ends, from inside poll() ---- */
void touch_event(int32_t type, int32_t x, int32_t y);
