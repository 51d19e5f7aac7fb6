/* overlay: short messages laid over whatever screen is shown. The message list has its own lock:
 * any thread may add and remove. The view record `overlay_msg` is declared in view/view.h. */
#pragma once

#include <cstdint>

struct view;

extern view overlay_msg_record; /* start-up hangs it to `overlay_msg` */

/* Adds a message.
 *   duration_ms  0: until it is removed
 *   colour       RGB565
 * Returns its id (0 and up, growing), or -1 when memory runs out. */
int32_t overlay_msg_add(const char *text, int32_t duration_ms, uint16_t colour);
/* 0, or -1 when no such message lives. */
int overlay_msg_remove(int32_t id);
