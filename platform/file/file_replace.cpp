/* file_replace: new content for a file that is seen whole, old or new, at any moment.
 *
 * The new content goes to a file beside the target and takes its name when it is on the disk. The
 * file beside it is locked while it is written, so that a second writer picks another name and one
 * that was left behind by a power cut is known by having no lock. */
#include "platform/file/file.h"

#include "platform/base/fault.h"
#include "platform/base/str.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr int replace_names = 16;
constexpr int replace_links = 40; /* as many as the system follows */

struct file_replacement {
    FILE *stream;
    bool in_place; /* the stream collects in memory, `target_fd` gets it at the end */
    int target_fd; /* -1 unless in place */
    char *memory;  /* what the stream collected */
    size_t memory_size;
    char target[PATH_MAX]; /* links resolved */
    char beside[PATH_MAX]; /* "" when in place */
};

/* Whether the name still means the file that was opened. */
static bool replace_is_same(const char *path, int fd)
{
    struct stat named;
    struct stat opened;
    return lstat(path, &named) == 0 && fstat(fd, &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

/* File systems without locks answer with an error other than EWOULDBLOCK: there the file counts as
 * ours. */
static bool replace_lock(int fd)
{
    return flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

/* Removes what an interrupted writer left. True when the name may be tried again. */
static bool replace_sweep(const char *path)
{
    const int fd = open(path, O_WRONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return errno == ENOENT;
    const bool swept = replace_lock(fd) && replace_is_same(path, fd) && unlink(path) == 0;
    close(fd);
    return swept;
}

/* Makes a file of this name that is locked and ours alone.
 * Returns the descriptor, -1 when the name is taken or the folder refuses (see errno). */
static int replace_create(const char *path)
{
    for (int attempt = 0; attempt < 4; attempt++) {
        const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno != EEXIST)
                return -1;
            if (!replace_sweep(path)) {
                errno = EEXIST;
                return -1;
            }
            continue;
        }
        /* Between making and locking another writer may have swept the file away. */
        if (replace_lock(fd) && replace_is_same(path, fd))
            return fd;
        close(fd);
    }
    errno = EEXIST;
    return -1;
}

/* Owner and mode of the file that goes. Only the superuser may give a file away, and some file
 * systems know no modes: what cannot be kept changes, as with a file written anew. */
static void replace_keep_mode(int fd, const struct stat *old)
{
    const int owned = fchown(fd, old->st_uid, old->st_gid);
    const int mode = fchmod(fd, old->st_mode & 07777);
    (void)owned;
    (void)mode;
}

/* Cut at 200 bytes, so that any name that a file can have leaves room for the end. */
static bool replace_name(file_replacement *replacement, int number)
{
    char copy[PATH_MAX];
    if (!str_copy(copy, replacement->target))
        return false;
    const char *slash = strrchr(copy, '/');
    const int folder = slash ? static_cast<int>(slash + 1 - copy) : 0;
    if (number == 0)
        return str_format(replacement->beside, "%.*s.%.200s.new", folder, copy, copy + folder);
    return str_format(replacement->beside, "%.*s.%.200s.new%d", folder, copy, copy + folder,
                      number);
}

/* 0, or -1 with errno EACCES, EPERM, EROFS or ENAMETOOLONG when the folder takes no new file. */
static int replace_open_beside(file_replacement *replacement, const struct stat *old)
{
    for (int number = 0; number < replace_names; number++) {
        if (!replace_name(replacement, number)) {
            errno = ENAMETOOLONG;
            return -1;
        }
        const int fd = replace_create(replacement->beside);
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd < 0)
            return -1;
        if (old)
            replace_keep_mode(fd, old);
        replacement->stream = fdopen(fd, "wb");
        if (replacement->stream)
            return 0;
        close(fd);
        (void)unlink(replacement->beside);
        return -1;
    }
    return -1;
}

/* The content is kept in memory until the commit, so that a cancelled one changes nothing here
 * either. */
static int replace_open_in_place(file_replacement *replacement)
{
    replacement->in_place = true;
    replacement->beside[0] = '\0';
    /* A pipe that nobody reads, or that is full, refuses instead of waiting. */
    replacement->target_fd =
        open(replacement->target, O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (replacement->target_fd < 0)
        return -1;
    replacement->stream = open_memstream(&replacement->memory, &replacement->memory_size);
    if (replacement->stream)
        return 0;
    close(replacement->target_fd);
    return -1;
}

/* Goes on to what the link at `path` names. 0, 1 when there is no link, or -1. */
static int replace_follow(char (&path)[PATH_MAX])
{
    char named[PATH_MAX];
    char folder[PATH_MAX];
    const ssize_t length = readlink(path, named, sizeof(named));
    if (length < 0)
        return errno == EINVAL || errno == ENOENT ? 1 : -1;
    if (length == sizeof(named))
        return -1;
    named[length] = '\0';
    (void)str_copy(folder, path); /* same size */
    const bool fits = file_is_absolute_path(named)
                          ? str_copy(path, named)
                          : str_format(path, "%s/%s", file_dirname(folder), named);
    return fits ? 0 : -1;
}

/* A link keeps pointing where it points: the file behind it is replaced, or made. */
static int replace_find_target(file_replacement *replacement, const char *path)
{
    char *real = realpath(path, nullptr);
    const bool fits = str_copy(replacement->target, real ? real : path);
    free(real);
    int followed = real || !fits ? 1 : 0;
    for (int links = 0; followed == 0; links++)
        followed = links <= replace_links ? replace_follow(replacement->target) : -1;
    return fits && followed > 0 ? 0 : -1;
}

static bool replace_is_refused(int error)
{
    return error == EACCES || error == EPERM || error == EROFS || error == ENAMETOOLONG;
}

static int replace_open(file_replacement *replacement, const char *path)
{
    if (replace_find_target(replacement, path) != 0)
        return -1;
    struct stat old;
    if (stat(replacement->target, &old) != 0)
        return replace_open_beside(replacement, nullptr);
    if (S_ISDIR(old.st_mode) || faccessat(AT_FDCWD, replacement->target, W_OK, AT_EACCESS) != 0)
        return -1;
    /* A device or a pipe is no file that could be replaced. */
    if (!S_ISREG(old.st_mode))
        return replace_open_in_place(replacement);
    if (replace_open_beside(replacement, &old) == 0)
        return 0;
    return replace_is_refused(errno) ? replace_open_in_place(replacement) : -1;
}

static int replace_write_all(int fd, const char *data, size_t size)
{
    while (size > 0) {
        const ssize_t written = write(fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return -1;
        data += written;
        size -= static_cast<size_t>(written);
    }
    return 0;
}

static int replace_commit_in_place(file_replacement *replacement)
{
    const int fd = replacement->target_fd;
    int result = replace_write_all(fd, replacement->memory, replacement->memory_size);
    struct stat target;
    /* Cut after writing: a power cut then leaves more than nothing. */
    if (result == 0 && fstat(fd, &target) == 0 && S_ISREG(target.st_mode))
        result = ftruncate(fd, static_cast<off_t>(replacement->memory_size)) == 0 && fsync(fd) == 0
                     ? 0
                     : -1;
    return close(fd) == 0 ? result : -1;
}

/* The new name itself reaches the disk with its folder; but where the file lies, a memory card (FAT)
 * keeps under the name and writes with the file: without it the name would lead to the old file's
 * place, which is free by then. What cannot be synced leaves old or new after a power cut, which is
 * all that is promised. */
static void replace_sync_name(int fd, const char *path)
{
    char folder[PATH_MAX];
    (void)fsync(fd);
    if (!str_copy(folder, path))
        return;
    const int above = open(file_dirname(folder), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (above < 0)
        return;
    (void)fsync(above);
    close(above);
}

/* A mounted file, or one of another user in a sticky folder, keeps its name but may be written. */
static int replace_copy_over(file_replacement *replacement)
{
    FILE *from = fopen(replacement->beside, "rbe");
    const int to = open(replacement->target, O_WRONLY | O_CLOEXEC);
    int result = from && to >= 0 ? 0 : -1;
    off_t size = 0;
    char piece[4096];
    for (size_t length = 1; result == 0 && length > 0; size += static_cast<off_t>(length)) {
        length = fread(piece, 1, sizeof(piece), from);
        result = ferror(from) ? -1 : replace_write_all(to, piece, length);
    }
    if (result == 0 && (ftruncate(to, size) != 0 || fsync(to) != 0))
        result = -1;
    if (from)
        (void)fclose(from);
    if (to >= 0 && close(to) != 0)
        result = -1;
    (void)unlink(replacement->beside);
    return result;
}

static int replace_rename(file_replacement *replacement)
{
    if (rename(replacement->beside, replacement->target) == 0) {
        replace_sync_name(fileno(replacement->stream), replacement->target);
        return 0;
    }
    if (errno == EBUSY || errno == EPERM || errno == EACCES)
        return replace_copy_over(replacement);
    (void)unlink(replacement->beside);
    return -1;
}

file_replacement *file_replace_open(const char *path)
{
    if (!path || !*path || fault_hit("file_fopen"))
        return nullptr;
    file_replacement *replacement =
        static_cast<file_replacement *>(calloc(1, sizeof(file_replacement)));
    if (!replacement)
        return nullptr;
    replacement->target_fd = -1;
    if (replace_open(replacement, path) == 0)
        return replacement;
    free(replacement);
    return nullptr;
}

FILE *file_replace_stream(file_replacement *replacement)
{
    return replacement ? replacement->stream : nullptr;
}

int file_replace_commit(file_replacement *replacement)
{
    if (!replacement)
        return -1;
    FILE *stream = replacement->stream;
    const bool synced = fflush(stream) == 0 && !ferror(stream) &&
                        (replacement->in_place || fsync(fileno(stream)) == 0) &&
                        !fault_hit("file_replace_commit");
    if (!synced) {
        file_replace_cancel(replacement);
        return -1;
    }
    int result = -1;
    if (replacement->in_place) {
        const bool collected = fclose(stream) == 0;
        result = replace_commit_in_place(replacement);
        result = collected ? result : -1;
    } else {
        /* Renamed before it is closed, because closing gives up the lock on its name. */
        result = replace_rename(replacement);
        if (fclose(stream) != 0)
            result = -1;
    }
    free(replacement->memory);
    free(replacement);
    return result;
}

void file_replace_cancel(file_replacement *replacement)
{
    if (!replacement)
        return;
    if (replacement->beside[0])
        (void)unlink(replacement->beside);
    (void)fclose(replacement->stream);
    if (replacement->target_fd >= 0)
        close(replacement->target_fd);
    free(replacement->memory);
    free(replacement);
}

void file_replace_sweep(const char *path)
{
    file_replacement left = {};
    if (!path || !*path || replace_find_target(&left, path) != 0)
        return;
    for (int number = 0; number < replace_names; number++)
        if (replace_name(&left, number))
            (void)replace_sweep(left.beside);
}
