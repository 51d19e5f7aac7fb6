/* list: the model behind every menu-like screen.
 *
 * One lock guards what all lists show, because the library's scan rebuilds rows on its own thread:
 * the list screen holds it while it reads them, an update while it swaps them. */
#pragma once

#include "platform/base/lock.h"

#include <cstdint>

struct view;

extern sys_lock list_lock; /* leaf: nothing else is taken while it is held */

/* The key by which a row is chosen; what it does is up to the list. A touch counts as the first. */
enum : int32_t {
    list_mode_select = 0,
    list_mode_right = 1, /* and "back" */
    list_mode_menu = 2,
    list_mode_reload = 3,
};

/* Record and operations of one list, made by the room that fills it: it names the operations, the
 * rest starts empty. */
struct list {
    int (*init)();
    int (*exit)();
    int (*input)(view *screen, list *self); /* -1: consumed */
    /* index: the row, or -1 for "back"; mode: list_mode_*. -1: stop handling this event. */
    int (*select)(view *screen, list *self, int32_t index, int32_t mode);
    int (*update)(view *screen, list *self);      /* rebuilds the rows; both may be null */
    int32_t cursor GUARDED_BY(list_lock) = 0;     /* selected row, -1 for none */
    char **items GUARDED_BY(list_lock) = nullptr; /* `count` texts, or null */
    uint32_t count GUARDED_BY(list_lock) = 0;
    char title[100] GUARDED_BY(list_lock) = "";
    char subtitle[100] GUARDED_BY(list_lock) = "";
    int32_t reserved = 0;
    /* The texts belong to somebody else, the array does not. */
    bool items_are_lent GUARDED_BY(list_lock) = false;
};

/* Null until start-up hangs in the records of the folders that fill them. Main thread. */
extern list *list_main, *list_cfg, *list_cur_playlist, *list_files, *list_library, *list_playlists,
    *list_run_once;

/* Frees `items` (not `count`, which the caller's update sets next). Always 0. */
int view_list_free(list *self);
/* A heap array for `count` rows whose texts are still null; null for 0 or when memory runs out. */
[[nodiscard]] char **list_items_new(uint32_t count);
/* Each takes the lock for one look or one change. */
[[nodiscard]] int32_t list_cursor(const list *of);
[[nodiscard]] uint32_t list_count(const list *of);
void list_set_cursor(list *of, int32_t cursor);
/* Swaps in new rows under the lock and frees the old ones. Takes ownership of `items`. */
void list_set_rows(list *self, char **items, uint32_t count);
/* The same for texts that stay the caller's, who takes the rows away before he frees them. */
void list_lend_rows(list *self, char **items, uint32_t count);
/* Takes one row of lent ones away; the others stay where they are in memory. */
void list_drop_lent_row(list *self, uint32_t index);
