/* file_path: names and paths, without a look at the disk. */
#include "platform/file/file.h"

#include "platform/base/str.h"

#include <climits>
#include <cstring>
#include <unistd.h>

/* What is being put together: always absolute, without a "/" at its end except for the root, which
 * is kept as an empty text. */
struct path_builder {
    char *out;
    size_t size, length;
    bool full;
};

static void path_append(path_builder *to, const char *part, size_t length)
{
    if (to->full || length + 2 > to->size - to->length) {
        to->full = true;
        return;
    }
    to->out[to->length++] = '/';
    memcpy(to->out + to->length, part, length);
    to->length += length;
}

static void path_up(path_builder *to)
{
    while (to->length > 0 && to->out[to->length - 1] != '/')
        to->length--;
    if (to->length > 0)
        to->length--;
}

static void path_walk(path_builder *to, const char *path)
{
    while (*path) {
        const size_t length = strcspn(path, "/");
        if (length == 2 && path[0] == '.' && path[1] == '.')
            path_up(to);
        else if (length > 0 && !(length == 1 && path[0] == '.'))
            path_append(to, path, length);
        path += length;
        if (*path == '/')
            path++;
    }
}

static void path_strip_slashes(char *path)
{
    size_t length = strlen(path);
    while (length > 1 && path[length - 1] == '/')
        path[--length] = '\0';
}

const char *file_get_ext(const char *path)
{
    if (!path)
        return nullptr;
    const char *slash = strrchr(path, '/');
    const char *base = slash ? slash + 1 : path;
    const char *dot = strrchr(base, '.');
    return dot && dot != base ? dot : nullptr;
}

char *file_basename(char *path)
{
    if (!path)
        return nullptr;
    path_strip_slashes(path);
    char *slash = strrchr(path, '/');
    return slash && slash[1] ? slash + 1 : path;
}

char *file_dirname(char *path)
{
    /* An empty text has no room for its own dot. */
    static char here[] = ".";
    if (!path)
        return nullptr;
    path_strip_slashes(path);
    char *slash = strrchr(path, '/');
    if (!slash) {
        if (!*path)
            return here;
        memcpy(path, here, sizeof(here));
        return path;
    }
    while (slash > path && slash[-1] == '/')
        slash--;
    (slash == path ? slash[1] : *slash) = '\0';
    return path;
}

int file_is_absolute_path(const char *path)
{
    return path && path[0] == '/';
}

/* Puts the absolute path together in `whole`. Returns its length, 0 when there is none. */
static size_t path_resolve(const char *path, char *whole, size_t size)
{
    char folder[PATH_MAX];
    folder[0] = '\0';
    if (!path || !*path || (path[0] != '/' && !getcwd(folder, sizeof(folder))))
        return 0;
    path_builder builder = {.out = whole, .size = size, .length = 0, .full = false};
    path_walk(&builder, folder);
    path_walk(&builder, path);
    if (builder.length == 0)
        whole[builder.length++] = '/';
    return builder.full ? 0 : builder.length;
}

int file_resolve_path(const char *path, char *out, size_t size)
{
    /* Built aside: the result may be wanted where the argument lies, and the way to it, before a
     * "..", may be longer than the result. */
    char whole[2 * PATH_MAX];
    if (!out || size == 0)
        return -1;
    const size_t length = path_resolve(path, whole, sizeof(whole));
    const bool fits = length > 0 && length < size;
    if (fits)
        memcpy(out, whole, length);
    out[fits ? length : 0] = '\0';
    return fits ? 0 : -1;
}

int file_get_absolute_path(const char *path, char *out, size_t size)
{
    return file_resolve_path(path, out, size);
}
