/* board: a handheld's devices where the machine has none, so that the bare Linux device can be run and
 * measured anywhere. Loaded in front of the C library:
 *
 *     LD_PRELOAD=libboard.so BOARD_PANEL=FILE ZERV_DEVICE=linux zerv-player
 *
 * BOARD_PANEL    the memory of the panel
 * BOARD_SHAPE    WIDTHxHEIGHT[xPAGES], 320x240x1 without it; RGB565. More than one page can be panned to
 * BOARD_CONSOLE  a file that stands in for the console; without it there is none
 * BOARD_INPUT    a folder that stands in for /dev/input
 * BOARD_SYS      a folder that stands in for /sys/class
 * BOARD_LOG      gets a line for each call that changes something: "console 1", "blank 4", "pan 240" */
/* Both names of open() are wanted, not one for the other. */
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/kd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <unistd.h>

constexpr unsigned pixel_bytes = 2;

using open_call = int (*)(const char *, int, ...);
using ioctl_call = int (*)(int, unsigned long, ...);
using access_call = int (*)(const char *, int);
using opendir_call = DIR *(*)(const char *);
using watch_call = int (*)(int, const char *, uint32_t);

struct board_shape {
    unsigned width, height, pages;
};

static int panel = -1, console = -1;

template <typename call> static call next(const char *name)
{
    return reinterpret_cast<call>(dlsym(RTLD_NEXT, name));
}

static board_shape shape_told()
{
    board_shape shape = {320, 240, 1};
    const char *told = getenv("BOARD_SHAPE");
    if (told)
        (void)!sscanf(told, "%ux%ux%u", &shape.width, &shape.height, &shape.pages);
    return shape;
}

/* One write: it may come from a signal handler. */
static void note(const char *what, int value)
{
    const char *place = getenv("BOARD_LOG");
    if (!place)
        return;
    char line[64];
    const int length = snprintf(line, sizeof line, "%s %d\n", what, value);
    const int log = next<open_call>("open")(place, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    (void)!write(log, line, static_cast<size_t>(length));
    close(log);
}

static bool is_panel(const char *path)
{
    return strcmp(path, "/dev/fb0") == 0;
}

/* Where a path leads: into a folder that stands in for the machine's. */
static const char *place_of(const char *path, char (&to)[PATH_MAX])
{
    static constexpr const char *folders[][2] = {{"/dev/input", "BOARD_INPUT"},
                                                 {"/sys/class", "BOARD_SYS"}};
    for (const auto &[prefix, variable] : folders) {
        const char *stands_in = getenv(variable);
        if (!stands_in || strncmp(path, prefix, strlen(prefix)) != 0)
            continue;
        snprintf(to, sizeof to, "%s%s", stands_in, path + strlen(prefix));
        return to;
    }
    return path;
}

static int open_panel()
{
    const char *place = getenv("BOARD_PANEL");
    const open_call call = next<open_call>("open");
    const board_shape shape = shape_told();
    panel = place ? call(place, O_RDWR | O_CREAT | O_CLOEXEC, 0644) : -1;
    const off_t bytes = off_t{shape.width} * shape.height * shape.pages * pixel_bytes;
    return panel >= 0 && ftruncate(panel, bytes) == 0 ? panel : -1;
}

static int open_console()
{
    const char *place = getenv("BOARD_CONSOLE");
    if (!place)
        errno = ENOENT;
    else
        console = next<open_call>("open")(place, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    return place ? console : -1;
}

static int open_any(const char *name, const char *path, int flags, mode_t mode)
{
    char place[PATH_MAX];
    if (is_panel(path))
        return open_panel();
    if (strcmp(path, "/dev/tty0") == 0)
        return open_console();
    return next<open_call>(name)(place_of(path, place), flags, mode);
}

static int describe(void *to)
{
    const board_shape told = shape_told();
    fb_var_screeninfo shape = {};
    shape.xres = shape.xres_virtual = told.width;
    shape.yres = told.height;
    shape.yres_virtual = told.height * told.pages;
    shape.bits_per_pixel = pixel_bytes * 8;
    shape.red = {.offset = 11, .length = 5, .msb_right = 0};
    shape.green = {.offset = 5, .length = 6, .msb_right = 0};
    shape.blue = {.offset = 0, .length = 5, .msb_right = 0};
    memcpy(to, &shape, sizeof(shape));
    return 0;
}

static int describe_memory(void *to)
{
    const board_shape told = shape_told();
    fb_fix_screeninfo memory = {};
    memory.line_length = told.width * pixel_bytes;
    memory.smem_len = told.width * told.height * told.pages * pixel_bytes;
    memory.ypanstep = told.pages > 1;
    memory.visual = FB_VISUAL_TRUECOLOR;
    memcpy(to, &memory, sizeof(memory));
    return 0;
}

static int pan(const void *to)
{
    fb_var_screeninfo shape;
    memcpy(&shape, to, sizeof(shape));
    note("pan", static_cast<int>(shape.yoffset));
    if (shape_told().pages > 1)
        return 0;
    errno = EINVAL;
    return -1;
}

static int ask_panel(unsigned long request, void *to)
{
    switch (request) {
    case FBIOGET_VSCREENINFO:
        return describe(to);
    case FBIOGET_FSCREENINFO:
        return describe_memory(to);
    case FBIOPAN_DISPLAY:
        return pan(to);
    case FBIOBLANK:
        note("blank", static_cast<int>(reinterpret_cast<intptr_t>(to)));
        return 0;
    default:
        if (request == FBIO_WAITFORVSYNC && shape_told().pages > 1)
            return 0;
        errno = ENOTTY;
        return -1;
    }
}

extern "C" {

int open(const char *path, int flags, ...);
int open64(const char *path, int flags, ...);
/* What a checking build calls where the flags are not known beforehand. */
int __open_2(const char *path, int flags);
int __open64_2(const char *path, int flags);
int access(const char *path, int mode) noexcept;
int ioctl(int fd, unsigned long request, ...) noexcept;
DIR *opendir(const char *path);
int inotify_add_watch(int fd, const char *path, uint32_t mask) noexcept;

int open(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return open_any("open", path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return open_any("open64", path, flags, mode);
}

int __open_2(const char *path, int flags)
{
    return open_any("open", path, flags, 0);
}

int __open64_2(const char *path, int flags)
{
    return open_any("open64", path, flags, 0);
}

int access(const char *path, int mode) noexcept
{
    return is_panel(path) ? 0 : next<access_call>("access")(path, mode);
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    void *to = va_arg(rest, void *);
    va_end(rest);
    if (fd >= 0 && fd == panel)
        return ask_panel(request, to);
    if (fd < 0 || fd != console)
        return next<ioctl_call>("ioctl")(fd, request, to);
    note(request == KDSETMODE ? "console" : "tty",
         static_cast<int>(reinterpret_cast<intptr_t>(to)));
    return 0;
}

DIR *opendir(const char *path)
{
    char place[PATH_MAX];
    return next<opendir_call>("opendir")(place_of(path, place));
}

int inotify_add_watch(int fd, const char *path, uint32_t mask) noexcept
{
    char place[PATH_MAX];
    return next<watch_call>("inotify_add_watch")(fd, place_of(path, place), mask);
}
}
