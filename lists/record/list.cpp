#include "lists/record/list.h"

#include <cstdlib>
#include <cstring>

constinit sys_lock list_lock;

constinit list *list_main = nullptr, *list_cfg = nullptr, *list_cur_playlist = nullptr,
               *list_files = nullptr, *list_library = nullptr, *list_playlists = nullptr,
               *list_run_once = nullptr;

static void free_rows(char **items, uint32_t count, bool are_lent)
{
    for (uint32_t i = 0; items && !are_lent && i < count; i++)
        free(items[i]);
    free(items);
}

static void swap_rows(list *self, char **items, uint32_t count, bool are_lent)
{
    char **old = nullptr;
    uint32_t old_count = 0;
    bool old_are_lent = false;
    {
        sys_guard guard(list_lock);
        old = self->items;
        old_count = self->count;
        old_are_lent = self->items_are_lent;
        self->items = items;
        self->count = count;
        self->items_are_lent = are_lent;
    }
    free_rows(old, old_count, old_are_lent); /* out of everybody's sight by now */
}

int view_list_free(list *self)
{
    list_set_rows(self, nullptr, list_count(self));
    return 0;
}

char **list_items_new(uint32_t count)
{
    return count ? static_cast<char **>(calloc(count, sizeof(char *))) : nullptr;
}

int32_t list_cursor(const list *of)
{
    sys_guard guard(list_lock);
    return of->cursor;
}

uint32_t list_count(const list *of)
{
    sys_guard guard(list_lock);
    return of->count;
}

void list_set_cursor(list *of, int32_t cursor)
{
    sys_guard guard(list_lock);
    of->cursor = cursor;
}

void list_set_rows(list *self, char **items, uint32_t count)
{
    swap_rows(self, items, count, false);
}

void list_lend_rows(list *self, char **items, uint32_t count)
{
    swap_rows(self, items, count, true);
}

void list_drop_lent_row(list *self, uint32_t index)
{
    sys_guard guard(list_lock);
    if (!self->items || !self->items_are_lent || index >= self->count)
        return;
    self->count--;
    memmove(self->items + index, self->items + index + 1,
            (self->count - index) * sizeof *self->items);
    if (self->count > 0)
        return;
    free(self->items);
    self->items = nullptr;
}
