/* list_cur_playlist_entries: the entries in their order, and the set of their paths.
 *
 * The set answers "is this path queued" without looking at every entry, so that queueing a whole
 * library takes time in proportion to its tracks. Private to the current playlist; everything
 * needs list_cur_playlist_lock. */
#pragma once

#include "lists/playlist/list_cur_playlist.h"

/* Starts empty, whatever stood there before is freed. */
int list_cur_playlist_entries_init_locked() REQUIRES(list_cur_playlist_lock);
/* Frees everything; the playlist is empty then, and entries can still be looked for. */
void list_cur_playlist_entries_free_locked() REQUIRES(list_cur_playlist_lock);
void list_cur_playlist_entries_clear_locked() REQUIRES(list_cur_playlist_lock);
/* Copies both texts. -1, and nothing changes, when the path is there or memory runs out. */
[[nodiscard]] int list_cur_playlist_entries_append_locked(const char *name, const char *path)
    REQUIRES(list_cur_playlist_lock);
/* Gives an entry that is there another display text. No row may be lent meanwhile. -1 when memory
 * runs out. */
int list_cur_playlist_entries_name_locked(uint32_t index, const char *name)
    REQUIRES(list_cur_playlist_lock);
/* -1 past the end. */
int list_cur_playlist_entries_remove_locked(uint32_t index) REQUIRES(list_cur_playlist_lock);
bool list_cur_playlist_entries_has_locked(const char *path) REQUIRES(list_cur_playlist_lock);
/* The index of that path, -1 when it is not there. */
int32_t list_cur_playlist_entries_find_locked(const char *path) REQUIRES(list_cur_playlist_lock);
/* Null past the end. Valid until the next change. */
const playlist_entry *list_cur_playlist_entries_at_locked(uint32_t index)
    REQUIRES(list_cur_playlist_lock);
