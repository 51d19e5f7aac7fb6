/* list_cur_playlist_m3u: lines in, lines out. */
#include "lists/playlist/list_cur_playlist_m3u.h"

#include "lists/playlist/list_cur_playlist_entries.h"
#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

using file_owner = owner<FILE, fclose>;
using text_owner = owner<char, free>;

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

/* What the file is to hold. The caller owns it; null when memory runs out. */
static char *make_content(size_t *size)
{
    sys_guard guard(list_cur_playlist_lock);
    *size = 0;
    for (uint32_t i = 0; i < list_cur_playlist_cur.count; i++)
        *size += strlen(list_cur_playlist_entries_at_locked(i)->path) + 2;
    char *content = static_cast<char *>(malloc(*size + 1));
    char *end = content;
    for (uint32_t i = 0; content && i < list_cur_playlist_cur.count; i++) {
        end = stpcpy(end, list_cur_playlist_entries_at_locked(i)->path);
        end = stpcpy(end, "\r\n");
    }
    return content;
}

/* The lock is held for the copy only: a slow disk must not keep the sound thread from the next
 * track. */
int list_cur_playlist_m3u_save(const char *path)
{
    size_t size = 0;
    const text_owner content(make_content(&size));
    return content ? file_replace_all(path, content.get(), size) : -1;
}
