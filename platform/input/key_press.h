/* key_press: from codes that are down to keys that are. Main thread. */
#pragma once

struct key_map;

/* Everything comes up, without acting. */
void key_press_reset();
/* Begins to go by a map that stays where it is; nothing is down then. */
void key_press_look(const key_map *map);
