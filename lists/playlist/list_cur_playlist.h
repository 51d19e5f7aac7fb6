/* list_cur_playlist: the set of files that playback walks through, and M3U files. */
#pragma once

#include "lists/playlist/list_cur_playlist_paths.h"
#include "platform/base/dynamic.h"
#include "platform/base/lock.h"

#include <cstddef>
#include <cstdint>

struct list;

extern list list_cur_playlist_record; /* start-up hangs it to `list_cur_playlist` */

struct playlist_entry {
    char *name; /* display text; in the block of the path, often the end of the path itself */
    char *path; /* as it was added; the entry's identity; owned */
};

extern sys_lock list_cur_playlist_lock; /* before play_lock; never held while calling the engine */
extern dynamic list_cur_playlist_cur GUARDED_BY(list_cur_playlist_lock);

/* Adds one file. `name` and `artist` may be null and then come from the library. Neither rebuilds
 * the rows nor saves: run the list's update. 0, or -1 when the path is already there. */
int list_cur_playlist_add(const char *path, const char *name, const char *artist);
/* Adds many files, whose names come from the library. -1 when memory ran out before the last. */
int list_cur_playlist_add_paths(const playlist_paths *paths);
/* Puts the cursor on the entry of that path. -1 when there is none. */
int list_cur_playlist_select(const char *path);
/* Starts the entry `delta` (1 or -1) steps from the playing one, by the playback order. 0, or -1
 * when nothing could be chosen. Any thread. */
int list_cur_playlist_go(int32_t delta);
/* Reads an M3U file.
 *   append     0 replaces the playlist
 *   first_out  null, or an empty text that receives the first entry's path
 * -1 when it cannot be opened or read to its end; the playlist is untouched. */
int list_cur_playlist_load(const char *path, uint8_t append, char *first_out,
                           size_t first_out_size);
