/* file: opening, making, renaming and removing. */
#include "platform/file/file.h"

#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/* A tree deeper than this is no tree of ours; each level keeps a folder open. */
constexpr int file_remove_depth = 200;

static int file_remove_at(int folder, const char *name, int depth);

static bool file_is_dots(const char *name)
{
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

/* Names are fetched again from the start after each pass, because a folder that changes while it is
 * read may skip some. */
static int file_empty_folder(DIR *dir, int depth)
{
    bool removed = true;
    while (removed) {
        removed = false;
        rewinddir(dir);
        while (const dirent *entry = readdir(dir)) {
            if (file_is_dots(entry->d_name))
                continue;
            if (file_remove_at(dirfd(dir), entry->d_name, depth + 1) != 0)
                return -1;
            removed = true;
        }
    }
    return 0;
}

/* The folder is opened without following a link, so that one put in its place in between is never
 * walked. */
static int file_remove_folder_at(int folder, const char *name, int depth)
{
    if (depth > file_remove_depth)
        return -1;
    const int fd = openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return unlinkat(folder, name, AT_REMOVEDIR);
    owner<DIR, closedir> dir(fdopendir(fd));
    if (!dir) {
        close(fd);
        return -1;
    }
    if (file_empty_folder(dir.get(), depth) != 0)
        return -1;
    return unlinkat(folder, name, AT_REMOVEDIR);
}

static int file_remove_at(int folder, const char *name, int depth)
{
    if (unlinkat(folder, name, 0) == 0)
        return 0;
    if (errno != EISDIR && errno != EPERM)
        return -1;
    return file_remove_folder_at(folder, name, depth);
}

/* Opening a pipe waits for somebody to write into it, which may be never. Reading one that nobody
 * writes into only finds it empty, so it is opened without waiting and read like any other. */
static FILE *file_open_reading(const char *path, const char *mode)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return nullptr;
    const int flags = fcntl(fd, F_GETFL);
    const bool waits = flags >= 0 && fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) == 0;
    FILE *file = waits ? fdopen(fd, mode) : nullptr;
    if (!file)
        close(fd);
    return file;
}

FILE *file_fopen(const char *path, const char *mode)
{
    errno = EIO; /* what a fault on request looks like */
    if (!path || !mode || fault_hit("file_fopen"))
        return nullptr;
    if (strcmp(mode, "r") == 0 || strcmp(mode, "rb") == 0)
        return file_open_reading(path, mode);
    char closing[16];
    if (!str_format(closing, "%se", mode))
        return nullptr;
    return fopen(path, closing);
}

int file_mkdir(const char *path)
{
    if (!path || fault_hit("file_mkdir"))
        return -1;
    if (mkdir(path, 0755) == 0)
        return 0;
    if (errno != EEXIST)
        return -1;
    struct stat found;
    return stat(path, &found) == 0 && S_ISDIR(found.st_mode) ? 0 : -1;
}

int file_remove(const char *path)
{
    if (!path || fault_hit("file_remove"))
        return -1;
    /* "link/" would name the folder behind the link. */
    char bare[4096];
    if (!str_copy(bare, path))
        return -1;
    size_t length = strlen(bare);
    while (length > 1 && bare[length - 1] == '/')
        bare[--length] = '\0';
    return file_remove_at(AT_FDCWD, bare, 0);
}

int file_rename(const char *from, const char *to)
{
    if (!from || !to || fault_hit("file_rename"))
        return -1;
    return rename(from, to) == 0 ? 0 : -1;
}
