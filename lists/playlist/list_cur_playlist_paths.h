/* list_cur_playlist_paths: paths on their way into the current playlist. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Starts zeroed; ended by list_cur_playlist_paths_free(). One thread. */
struct playlist_paths {
    char *text; /* the paths one behind the other, each ended by 0; owned */
    size_t size, room;
    uint32_t count;
};

/* Copies a path behind the others. -1 when memory runs out. */
[[nodiscard]] int list_cur_playlist_paths_add(playlist_paths *to, const char *path);
/* Empties the record. Always 0. */
int list_cur_playlist_paths_free(playlist_paths *paths);
