/* list_cur_playlist_names: what entries are called. Private to the current playlist. */
#pragma once

#include <cstdint>

/* The display text of a file: "NAME (ARTIST)", or its base name without a name. */
void list_cur_playlist_names_format(char (&to)[1024], const char *path, const char *name,
                                    const char *artist);
/* Gives the entries from `first` on the names that the library has for them. Takes
 * list_cur_playlist_lock, not while it asks the library; no row may be lent meanwhile. */
void list_cur_playlist_names_ask(uint32_t first);
