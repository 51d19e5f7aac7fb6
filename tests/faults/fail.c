/* fail: one call of a kind fails, the others are counted.
 *
 *   ZERV_FAIL=KIND:N:ERROR   the N-th call of that kind fails with the number ERROR;
 *             KIND:N+:ERROR  so do all after it; "count" counts every kind
 *   ZERV_FAIL_TRACE=1        prints the stack of an allocation that fails, and of a crash
 *   ZERV_FAIL_TALLY=FILE     512 bytes that are shared with who wants to know: a 32-bit count for
 *                            each kind, then at byte 256 how many failed
 *
 * Descriptors 0 to 2 belong to the test, and files that are no files (pipes, events) do not break:
 * reading and writing them is not counted. */
#include "trap.h"

#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#define VISIBLE __attribute__((visibility("default")))

enum kind {
    kind_alloc,
    kind_open,
    kind_read,
    kind_write,
    kind_rename,
    kind_sync,
    kind_lock,
    kind_thread,
    kind_sql,
    kind_net,
    kind_look,
    kind_make,
    kind_map,
    kind_count
};

static const char *const kind_names[kind_count] = {"alloc", "open", "read",   "write", "rename",
                                                   "sync",  "lock", "thread", "sql",   "net",
                                                   "look",  "make", "map"};

struct call {
    int number;
    enum kind kind;
};

static const struct call calls[] = {
    {SYS_open, kind_open},      {SYS_openat, kind_open},     {SYS_read, kind_read},
    {SYS_pread64, kind_read},   {SYS_readv, kind_read},      {SYS_write, kind_write},
    {SYS_pwrite64, kind_write}, {SYS_writev, kind_write},    {SYS_ftruncate, kind_write},
    {SYS_rename, kind_rename},  {SYS_renameat, kind_rename}, {SYS_renameat2, kind_rename},
    {SYS_link, kind_rename},    {SYS_linkat, kind_rename},   {SYS_fsync, kind_sync},
    {SYS_fdatasync, kind_sync}, {SYS_syncfs, kind_sync},     {SYS_flock, kind_lock},
    {SYS_fcntl, kind_lock},     {SYS_socket, kind_net},      {SYS_connect, kind_net},
    {SYS_sendto, kind_net},     {SYS_recvfrom, kind_net},    {SYS_stat, kind_look},
    {SYS_lstat, kind_look},     {SYS_newfstatat, kind_look}, {SYS_getdents64, kind_look},
    {SYS_readlink, kind_look},  {SYS_mkdir, kind_make},      {SYS_unlink, kind_make},
    {SYS_unlinkat, kind_make},  {SYS_rmdir, kind_make},      {SYS_mmap, kind_map},
};

#define CALLS (sizeof calls / sizeof *calls)

struct tally {
    atomic_uint counts[64];
    atomic_uint failed;
};

static struct tally nowhere;
static struct tally *tally = &nowhere;
static int wanted = -1; /* enum kind; kind_count: all, and none fails */
static unsigned wanted_n;
static int wanted_lasting;
static int wanted_error;
static int traces; /* ZERV_FAIL_TRACE: print the stack of a failing allocation */
static atomic_int begun;

/* Whether this call is the one. */
static int is_hit(enum kind kind)
{
    const unsigned n = atomic_fetch_add(&tally->counts[kind], 1) + 1;
    if ((int)kind != wanted || !(wanted_lasting ? n >= wanted_n : n == wanted_n))
        return 0;
    atomic_fetch_add(&tally->failed, 1);
    return 1;
}

/* ---- system calls ---- */

static int is_file(long fd)
{
    struct stat about;
    const long arguments[6] = {fd, (long)&about};
    return fd > 2 && trap_let(SYS_fstat, arguments) == 0 &&
           (S_ISREG(about.st_mode) || S_ISDIR(about.st_mode));
}

static int is_counted(enum kind kind, long number, const long *a)
{
    switch (kind) {
    case kind_read:
    case kind_write:
        return is_file(a[0]);
    case kind_lock:
        return number != SYS_fcntl || a[1] == F_SETLK || a[1] == F_OFD_SETLK;
    case kind_map:
        return (int)a[4] >= 0;
    default:
        return 1;
    }
}

long trap_call(long number, const long *arguments)
{
    for (size_t i = 0; i < CALLS; i++)
        if (calls[i].number == number && is_counted(calls[i].kind, number, arguments) &&
            is_hit(calls[i].kind))
            return -wanted_error;
    return trap_let(number, arguments);
}

static void read_wish(void)
{
    const char *wish = getenv("ZERV_FAIL");
    char name[16];
    char plus[2] = "";
    if (!wish)
        return;
    if (strcmp(wish, "count") == 0)
        wanted = kind_count;
    else if (sscanf(wish, "%15[a-z]:%u%1[+]:%d", name, &wanted_n, plus, &wanted_error) == 4 ||
             sscanf(wish, "%15[a-z]:%u:%d", name, &wanted_n, &wanted_error) == 3)
        for (int i = 0; i < kind_count; i++)
            if (strcmp(name, kind_names[i]) == 0)
                wanted = i;
    wanted_lasting = plus[0] == '+';
    if (wanted < 0) {
        fprintf(stderr, "fail: no wish: %s\n", wish);
        _exit(99);
    }
}

static void share_tally(void)
{
    const char *path = getenv("ZERV_FAIL_TALLY");
    const int fd = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (fd < 0)
        return;
    void *shared = mmap(NULL, 512, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (shared != MAP_FAILED)
        tally = shared;
}

static __thread int inside;
static __thread int loading;

static void print_stack(void)
{
    void *frames[40];
    inside = 1;
    backtrace_symbols_fd(frames, backtrace(frames, 40), 2);
    inside = 0;
}

/* Where it crashed; then it crashes again, for good. */
static void on_crash(int number)
{
    (void)signal(number, SIG_DFL);
    print_stack();
}

const int *trap_begin(void)
{
    static int numbers[CALLS + 1];
    size_t count = 0;
    read_wish();
    share_tally();
    for (size_t i = 0; i < CALLS; i++)
        if (wanted == kind_count || wanted == (int)calls[i].kind)
            numbers[count++] = calls[i].number;
    numbers[count] = -1;
    traces = getenv("ZERV_FAIL_TRACE") != NULL;
    if (traces && (signal(SIGSEGV, on_crash) == SIG_ERR || signal(SIGABRT, on_crash) == SIG_ERR))
        _exit(99);
    begun = 1;
    return numbers;
}

/* ---- memory ---- */

/* Libraries that end the process, or step on a null, when an allocation of their own fails. What
 * our code asks of them is asked with memory to spare; docs/testing.md says why each is here. */
static const char *const spared[] = {"/ld-linux", "/libvorbis", "/libsoxr", "/libgomp",
                                     "/libglib-2"};

/* Whether the code at that address may be told that there is no memory. */
static int may_miss(void *caller)
{
    struct dl_find_object found;
    if (_dl_find_object(caller, &found) != 0)
        return 0;
    const char *object = found.dlfo_link_map->l_name;
    for (size_t i = 0; i < sizeof spared / sizeof *spared; i++)
        if (strstr(object, spared[i]))
            return 0;
    return 1;
}

static int fails(void *caller)
{
    if (!begun || inside || loading || (wanted != kind_alloc && wanted != kind_count))
        return 0;
    if (!may_miss(caller) || !is_hit(kind_alloc))
        return 0;
    if (traces)
        print_stack();
    errno = ENOMEM;
    return 1;
}

extern void *__libc_malloc(size_t);
extern void *__libc_calloc(size_t, size_t);
extern void *__libc_realloc(void *, size_t);
extern void *__libc_memalign(size_t, size_t);

VISIBLE void *malloc(size_t size)
{
    return fails(__builtin_return_address(0)) ? NULL : __libc_malloc(size);
}

VISIBLE void *calloc(size_t count, size_t size)
{
    return fails(__builtin_return_address(0)) ? NULL : __libc_calloc(count, size);
}

VISIBLE void *realloc(void *old, size_t size)
{
    return fails(__builtin_return_address(0)) ? NULL : __libc_realloc(old, size);
}

VISIBLE void *aligned_alloc(size_t alignment, size_t size)
{
    return fails(__builtin_return_address(0)) ? NULL : __libc_memalign(alignment, size);
}

VISIBLE int posix_memalign(void **out, size_t alignment, size_t size)
{
    if (fails(__builtin_return_address(0)))
        return ENOMEM;
    *out = __libc_memalign(alignment, size);
    return *out ? 0 : ENOMEM;
}

/* The loader lets nothing through that a library throws while it comes up: what loads one has memory
 * to spare. */
VISIBLE void *dlopen(const char *name, int mode)
{
    void *(*next)(const char *, int) = dlsym(RTLD_NEXT, "dlopen");
    loading++;
    void *library = next(name, mode);
    loading--;
    return library;
}

/* ---- threads, locks and the database ---- */

VISIBLE int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                           void *(*body)(void *), void *user)
{
    int (*next)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) =
        dlsym(RTLD_NEXT, "pthread_create");
    return begun && is_hit(kind_thread) ? wanted_error : next(thread, attributes, body, user);
}

VISIBLE int pthread_mutex_trylock(pthread_mutex_t *mutex)
{
    int (*next)(pthread_mutex_t *) = dlsym(RTLD_NEXT, "pthread_mutex_trylock");
    return begun && is_hit(kind_lock) ? EBUSY : next(mutex);
}

VISIBLE int sqlite3_step(void *statement)
{
    int (*next)(void *) = dlsym(RTLD_NEXT, "sqlite3_step");
    return begun && is_hit(kind_sql) ? wanted_error : next(statement);
}
