/* list_library: the library browser's stack of levels. Main thread. */
#pragma once

#include <cstdint>

/* Pops every level. Always 0. */
int list_library_reset_conds();
/* Pushes a level ("artist", "album", "genre", "track") with its title. -1 at the fifth. */
int list_library_add_cond_key(const char *key, const char *title);
/* Pops one level. -1 when there is none. */
int list_library_pop_cond();
/* Sets the top level's choice; id -1 means all. -1 without a level. */
int list_library_set_cond(int32_t id, const char *name);
