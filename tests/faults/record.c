/* record: writes down what a program does to files, so that a power cut can be played.
 *
 *   ZERV_RECORD=FILE   receives the records, appended
 *
 * A record is a struct entry, the path, then the data. One lock is held around each call and its
 * record, so that their order is the order in which the kernel saw them. */
#include "trap.h"

#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

/* What happened; powercut.py reads it. */
struct entry {
    char what; /* c create, w write, t truncate, m mode, r rename, l link, u unlink, d make folder,
                  s sync, S sync all */
    char pad[3];
    uint32_t path_size; /* with the second path of r and l behind a zero byte */
    uint32_t data_size;
    uint32_t mode;
    uint64_t file;   /* inode number */
    uint64_t offset; /* of w; size of t */
};

static const int recorded[] = {
    SYS_open,     SYS_openat,    SYS_write,  SYS_pwrite64, SYS_writev,    SYS_ftruncate, SYS_rename,
    SYS_renameat, SYS_renameat2, SYS_link,   SYS_linkat,   SYS_unlink,    SYS_unlinkat,  SYS_rmdir,
    SYS_mkdir,    SYS_mkdirat,   SYS_fchmod, SYS_fsync,    SYS_fdatasync, SYS_syncfs,    -1};

static int record_fd = -1;
static char start_folder[4096];
static atomic_flag taken = ATOMIC_FLAG_INIT;

static long let(long number, long a, long b, long c, long d)
{
    const long arguments[6] = {a, b, c, d};
    return trap_let(number, arguments);
}

static void put(const void *bytes, size_t size)
{
    if (let(SYS_write, record_fd, (long)bytes, (long)size, 0) != (long)size)
        _exit(99); /* a record with a hole proves nothing */
}

static void note(struct entry entry, const char *path, const void *data)
{
    put(&entry, sizeof entry);
    if (entry.path_size > 0)
        put(path, entry.path_size);
    if (entry.data_size > 0)
        put(data, entry.data_size);
}

/* Makes a path absolute. */
static void complete(char (*to)[8192], long folder, const char *path)
{
    char base[4096] = "";
    if (path[0] != '/' && (int)folder == AT_FDCWD) {
        memcpy(base, start_folder, sizeof base);
    } else if (path[0] != '/') {
        char link[64];
        snprintf(link, sizeof link, "/proc/self/fd/%d", (int)folder);
        const long size = let(SYS_readlink, (long)link, (long)base, sizeof base - 1, 0);
        base[size > 0 ? size : 0] = '\0';
    }
    snprintf(*to, sizeof *to, "%s%s%s", base, base[0] ? "/" : "", path);
}

static int look(long fd, struct stat *about)
{
    return let(SYS_fstat, fd, (long)about, 0, 0) == 0 ? 0 : -1;
}

static long do_open(long folder, const char *path, long flags, long mode)
{
    struct stat about;
    const int existed = let(SYS_newfstatat, folder, (long)path, (long)&about, 0) == 0;
    const long fd = let(SYS_openat, folder, (long)path, flags, mode);
    if (fd < 0 || look(fd, &about) != 0 || !S_ISREG(about.st_mode))
        return fd;
    char full[8192];
    complete(&full, folder, path);
    struct entry entry = {.file = about.st_ino, .mode = about.st_mode & 07777};
    if (!existed && (flags & O_CREAT)) {
        entry.what = 'c';
        entry.path_size = (uint32_t)strlen(full);
        note(entry, full, NULL);
    } else if (flags & O_TRUNC) {
        entry.what = 't';
        note(entry, NULL, NULL);
    }
    return fd;
}

/* The offset of -1 means: where the file stands. */
static long do_write(long number, long fd, const void *data, size_t size, long offset)
{
    struct stat about;
    const int is_file = fd > 2 && look(fd, &about) == 0 && S_ISREG(about.st_mode);
    if (is_file && offset < 0)
        offset = let(SYS_fcntl, fd, F_GETFL, 0, 0) & O_APPEND ? about.st_size
                                                              : let(SYS_lseek, fd, 0, SEEK_CUR, 0);
    const long written = number == SYS_pwrite64
                             ? let(SYS_pwrite64, fd, (long)data, (long)size, offset)
                             : let(SYS_write, fd, (long)data, (long)size, 0);
    if (is_file && written > 0)
        note((struct entry){.what = 'w',
                            .file = about.st_ino,
                            .offset = (uint64_t)offset,
                            .data_size = (uint32_t)written},
             NULL, data);
    return written;
}

static long do_writev(long fd, const struct iovec *parts, long count)
{
    long all = 0;
    for (long i = 0; i < count; i++) {
        const long written = do_write(SYS_write, fd, parts[i].iov_base, parts[i].iov_len, -1);
        if (written < 0)
            return all > 0 ? all : written;
        all += written;
        if (written < (long)parts[i].iov_len)
            break;
    }
    return all;
}

static long do_two(char what, long number, const long *a, long from_folder, long from,
                   long to_folder, long to)
{
    const long result = trap_let(number, a);
    if (result != 0)
        return result;
    char paths[2 * 8192], second[8192];
    complete((char(*)[8192])paths, from_folder, (const char *)from);
    complete(&second, to_folder, (const char *)to);
    const size_t first = strlen(paths);
    memcpy(paths + first + 1, second, strlen(second) + 1);
    note((struct entry){.what = what, .path_size = (uint32_t)(first + 1 + strlen(second))}, paths,
         NULL);
    return result;
}

static long do_one(char what, long number, const long *a, long folder, long path)
{
    const long result = trap_let(number, a);
    if (result != 0)
        return result;
    char full[8192];
    complete(&full, folder, (const char *)path);
    note((struct entry){.what = what, .path_size = (uint32_t)strlen(full)}, full, NULL);
    return result;
}

/* A folder is named by its path, a file by its number. */
static long do_file(char what, long number, const long *a)
{
    struct stat about;
    char path[4096];
    const long result = trap_let(number, a);
    if (result != 0 || look(a[0], &about) != 0)
        return result;
    struct entry entry = {
        .what = what, .file = about.st_ino, .mode = (uint32_t)a[1], .offset = (uint64_t)a[1]};
    if (S_ISDIR(about.st_mode)) {
        char link[64];
        snprintf(link, sizeof link, "/proc/self/fd/%d", (int)a[0]);
        const long size = let(SYS_readlink, (long)link, (long)path, sizeof path, 0);
        entry.path_size = size > 0 ? (uint32_t)size : 0;
    }
    note(entry, path, NULL);
    return result;
}

static long call(long number, const long *a)
{
    switch (number) {
    case SYS_open:
        return do_open(AT_FDCWD, (const char *)a[0], a[1], a[2]);
    case SYS_openat:
        return do_open(a[0], (const char *)a[1], a[2], a[3]);
    case SYS_write:
    case SYS_pwrite64:
        return do_write(number, a[0], (const void *)a[1], (size_t)a[2],
                        number == SYS_pwrite64 ? a[3] : -1);
    case SYS_writev:
        return do_writev(a[0], (const struct iovec *)a[1], a[2]);
    case SYS_ftruncate:
        return do_file('t', number, a);
    case SYS_fchmod:
        return do_file('m', number, a);
    case SYS_fsync:
    case SYS_fdatasync:
        return do_file('s', number, a);
    case SYS_syncfs:
        return do_file('S', number, a);
    case SYS_rename:
        return do_two('r', number, a, AT_FDCWD, a[0], AT_FDCWD, a[1]);
    case SYS_renameat:
    case SYS_renameat2:
        return do_two('r', number, a, a[0], a[1], a[2], a[3]);
    case SYS_link:
        return do_two('l', number, a, AT_FDCWD, a[0], AT_FDCWD, a[1]);
    case SYS_linkat:
        return do_two('l', number, a, a[0], a[1], a[2], a[3]);
    case SYS_unlink:
    case SYS_rmdir:
        return do_one('u', number, a, AT_FDCWD, a[0]);
    case SYS_unlinkat:
        return do_one('u', number, a, a[0], a[1]);
    case SYS_mkdir:
        return do_one('d', number, a, AT_FDCWD, a[0]);
    default:
        return do_one('d', number, a, a[0], a[1]);
    }
}

/* What waits for somebody else, as a pipe does, must not be waited for with the lock held. */
static int may_wait(long number, const long *a)
{
    struct stat about;
    const int writes = number == SYS_write || number == SYS_pwrite64 || number == SYS_writev;
    return writes && (a[0] <= 2 || look(a[0], &about) != 0 || !S_ISREG(about.st_mode));
}

long trap_call(long number, const long *arguments)
{
    if (may_wait(number, arguments))
        return trap_let(number, arguments);
    while (atomic_flag_test_and_set(&taken))
        ;
    const long result = call(number, arguments);
    atomic_flag_clear(&taken);
    return result;
}

const int *trap_begin(void)
{
    const char *path = getenv("ZERV_RECORD");
    const int fd = path ? open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644) : -1;
    record_fd = fd < 0 ? -1 : fcntl(fd, F_DUPFD_CLOEXEC, 900);
    if (record_fd < 0 || !getcwd(start_folder, sizeof start_folder)) {
        fprintf(stderr, "record: ZERV_RECORD names no file\n");
        _exit(99);
    }
    close(fd);
    return recorded;
}
