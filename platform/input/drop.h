/* drop: files and folders that somebody dropped on the screen. Main thread. */
#pragma once

#include <cstdint>

/* How many paths a drop has brought; 0 until all of them are here. They stay until drop_forget(). */
uint32_t drop_count();
/* Absolute, in the order in which they came; null past the end. */
const char *drop_path(uint32_t index);
void drop_forget();

/* ---- For device back ends, from inside poll() ---- */

/* One path of a drop. Of a drop of more than 10 000 the rest is left out. */
void drop_event(const char *path);
/* The drop is whole. */
void drop_end();
