/* list_cur_playlist_m3u: lines in, lines out. */
#include "lists/playlist/list_cur_playlist_m3u.h"

#include "lists/playlist/list_cur_playlist_entries.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"

#include <climits>
#include <cstdlib>
#include <cstring>

constexpr size_t line_size = 1024;

/* A folder, "/" and a line. */
static bool resolve(const char *folder, const char *line, char (&to)[PATH_MAX + line_size])
{
    static_assert(sizeof to > line_size);
    if (file_is_absolute_path(line))
        return str_copy(to, line);
    char joined[PATH_MAX + line_size];
    return str_format(joined, "%s/%s", folder, line) &&
           file_resolve_path(joined, to, sizeof to) == 0;
}

void list_cur_playlist_m3u_read(FILE *from, const char *folder,
                                void (*each)(void *user, const char *path), void *user)
{
    char line[line_size];
    char path[PATH_MAX + line_size];
    while (fgets(line, sizeof line, from)) {
        if (line[0] == '#')
            continue;
        line[strcspn(line, "\r\n")] = '\0';
        if (line[0] != '\0' && resolve(folder, line, path))
            each(user, path);
    }
}

/* The caller owns it; null past the end or when memory runs out. */
static char *copy_path(uint32_t index)
{
    sys_guard guard(list_cur_playlist_lock);
    const playlist_entry *entry = list_cur_playlist_entries_at_locked(index);
    return entry ? strdup(entry->path) : nullptr;
}

static uint32_t entry_count()
{
    sys_guard guard(list_cur_playlist_lock);
    return list_cur_playlist_cur.count;
}

/* The lock is held for one entry at a time: a slow disk must not keep the sound thread from the
 * next track. Entries change on this thread only, so they stay where they are. */
static int write_entries(FILE *to)
{
    const uint32_t count = entry_count();
    for (uint32_t i = 0; i < count; i++) {
        const owner<char, free> path(copy_path(i));
        if (!path || fprintf(to, "%s\r\n", path.get()) < 0)
            return -1;
    }
    return 0;
}

int list_cur_playlist_m3u_save(const char *path)
{
    file_replacement *replacement = file_replace_open(path);
    if (!replacement)
        return -1;
    if (write_entries(file_replace_stream(replacement)) != 0) {
        file_replace_cancel(replacement);
        return -1;
    }
    return file_replace_commit(replacement);
}
