#include "lists/record/list.h"

#include <cstdlib>

constinit sys_lock list_lock;

constinit list *list_main = nullptr, *list_cfg = nullptr, *list_cur_playlist = nullptr,
               *list_files = nullptr, *list_library = nullptr, *list_playlists = nullptr,
               *list_run_once = nullptr;

static void free_rows(char **items, uint32_t count)
{
    for (uint32_t i = 0; items && i < count; i++)
        free(items[i]);
    free(items);
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
    char **old = nullptr;
    uint32_t old_count = 0;
    {
        sys_guard guard(list_lock);
        old = self->items;
        old_count = self->count;
        self->items = items;
        self->count = count;
    }
    free_rows(old, old_count); /* out of everybody's sight by now */
}
