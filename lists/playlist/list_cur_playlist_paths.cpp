#include "lists/playlist/list_cur_playlist_paths.h"

#include <cstdlib>
#include <cstring>

constexpr size_t first_room = 4096;

static int reserve(playlist_paths *paths, size_t size)
{
    if (size <= paths->room - paths->size)
        return 0;
    size_t room = paths->room ? paths->room * 2 : first_room;
    while (room < paths->size + size)
        room *= 2;
    char *text = static_cast<char *>(realloc(paths->text, room));
    if (!text)
        return -1;
    paths->text = text;
    paths->room = room;
    return 0;
}

int list_cur_playlist_paths_add(playlist_paths *to, const char *path)
{
    const size_t size = strlen(path) + 1;
    if (reserve(to, size) != 0)
        return -1;
    memcpy(to->text + to->size, path, size);
    to->size += size;
    to->count++;
    return 0;
}

int list_cur_playlist_paths_free(playlist_paths *paths)
{
    free(paths->text);
    *paths = {};
    return 0;
}
