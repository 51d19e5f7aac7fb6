/* list_cur_playlist_m3u: lines in, lines out. */
#include "lists/playlist/list_cur_playlist_m3u.h"

#include "lists/playlist/list_cur_playlist_entries.h"
#include "platform/base/fault.h"
#include "platform/file/file.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

using file_owner = owner<FILE, fclose>;

constexpr size_t line_size = 1024;
constexpr size_t own_line_size = PATH_MAX + 2; /* CR LF */

/* A folder, "/" and a line. */
constexpr size_t joined_size = PATH_MAX + own_line_size;

static bool resolve(const char *folder, const char *line, char (&to)[joined_size])
{
    if (file_is_absolute_path(line))
        return str_copy(to, line);
    char joined[joined_size];
    return str_format(joined, "%s/%s", folder, line) &&
           file_resolve_path(joined, to, sizeof to) == 0;
}

/* Whether a save would write this line. */
static bool is_as_saved(const char *line)
{
    return file_is_absolute_path(line) && strcmp(line + strcspn(line, "\r\n"), "\r\n") == 0;
}

/* A folder opens but reads as nothing, and a pipe waits for ever for its other end: neither is a
 * playlist. */
static FILE *open_playlist(const char *path)
{
    struct stat about;
    if (stat(path, &about) != 0)
        return nullptr;
    errno = EINVAL;
    return S_ISREG(about.st_mode) ? file_fopen(path, "rb") : nullptr;
}

/* What one line names. -1 when memory runs out. */
static int take_line(char *line, const char *folder, playlist_paths *to)
{
    if (line[0] == '#')
        return 0;
    line[strcspn(line, "\r\n")] = '\0';
    char path[joined_size];
    if (line[0] == '\0' || !resolve(folder, line, path))
        return 0;
    return list_cur_playlist_paths_add(to, path);
}

m3u_reading list_cur_playlist_m3u_parse(FILE *from, const char *folder, bool is_own,
                                        playlist_paths *to)
{
    const int longest = static_cast<int>(is_own ? own_line_size : line_size);
    char line[own_line_size];
    bool as_saved = true;
    while (fgets(line, longest, from)) {
        as_saved = as_saved && is_as_saved(line);
        if (fault_hit("list_cur_playlist_read") || take_line(line, folder, to) != 0)
            return m3u_reading::failed;
    }
    if (ferror(from))
        return m3u_reading::failed;
    return as_saved ? m3u_reading::saved : m3u_reading::read;
}

m3u_reading list_cur_playlist_m3u_read(const char *path, bool is_own, playlist_paths *to)
{
    char own_path[PATH_MAX];
    if (!str_copy(own_path, path))
        return m3u_reading::failed;
    const file_owner from(open_playlist(path));
    if (!from)
        return errno == ENOENT ? m3u_reading::absent : m3u_reading::failed;
    return list_cur_playlist_m3u_parse(from.get(), file_dirname(own_path), is_own, to);
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
