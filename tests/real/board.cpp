/* board: a frame buffer where the machine has none, so that what the bare Linux device costs can be
 * measured anywhere. Loaded in front of the C library:
 *
 *     LD_PRELOAD=libboard.so BOARD_PANEL=FILE BOARD_INPUT=FOLDER ZERV_DEVICE=linux zerv-player
 *
 * The panel is FILE, 320 x 240 pixels of RGB565. FOLDER stands for /dev/input: a pipe event0 there is
 * a keyboard for whoever writes the kernel's records into it. The console is left alone. */
/* Both names of open() are wanted, not one for the other. */
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/types.h>
#include <unistd.h>

constexpr unsigned width = 320, height = 240, pixel_bytes = 2;

using open_call = int (*)(const char *, int, ...);
using ioctl_call = int (*)(int, unsigned long, ...);
using opendir_call = DIR *(*)(const char *);
using access_call = int (*)(const char *, int);

static int panel = -1;

template <typename call> static call next(const char *name)
{
    return reinterpret_cast<call>(dlsym(RTLD_NEXT, name));
}

static bool is_panel(const char *path)
{
    return strcmp(path, "/dev/fb0") == 0;
}

static int open_panel()
{
    const char *place = getenv("BOARD_PANEL");
    const open_call call = next<open_call>("open");
    panel = place ? call(place, O_RDWR | O_CREAT | O_CLOEXEC, 0644) : -1;
    return panel >= 0 && ftruncate(panel, width * height * pixel_bytes) == 0 ? panel : -1;
}

/* Where a path below /dev/input leads. */
static const char *input_path(const char *path, char (&room)[512])
{
    constexpr char folder[] = "/dev/input";
    const char *place = getenv("BOARD_INPUT");
    if (!place || strncmp(path, folder, sizeof(folder) - 1) != 0)
        return path;
    const int length = snprintf(room, sizeof(room), "%s%s", place, path + sizeof(folder) - 1);
    return length > 0 && static_cast<size_t>(length) < sizeof(room) ? room : path;
}

static int open_any(const char *name, const char *path, int flags, mode_t mode)
{
    if (is_panel(path))
        return open_panel();
    if (strcmp(path, "/dev/tty0") == 0) {
        errno = ENOENT;
        return -1;
    }
    char room[512];
    return next<open_call>(name)(input_path(path, room), flags, mode);
}

static int describe(void *to)
{
    fb_var_screeninfo shape = {};
    shape.xres = shape.xres_virtual = width;
    shape.yres = shape.yres_virtual = height;
    shape.bits_per_pixel = pixel_bytes * 8;
    shape.red = {.offset = 11, .length = 5, .msb_right = 0};
    shape.green = {.offset = 5, .length = 6, .msb_right = 0};
    shape.blue = {.offset = 0, .length = 5, .msb_right = 0};
    memcpy(to, &shape, sizeof(shape));
    return 0;
}

static int describe_memory(void *to)
{
    fb_fix_screeninfo memory = {};
    memory.line_length = width * pixel_bytes;
    memory.smem_len = width * height * pixel_bytes;
    memory.visual = FB_VISUAL_TRUECOLOR;
    memcpy(to, &memory, sizeof(memory));
    return 0;
}

extern "C" {

int open(const char *path, int flags, ...);
int open64(const char *path, int flags, ...);
DIR *opendir(const char *path);
int access(const char *path, int mode) noexcept;
int ioctl(int fd, unsigned long request, ...) noexcept;

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

DIR *opendir(const char *path)
{
    char room[512];
    return next<opendir_call>("opendir")(input_path(path, room));
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
    if (fd != panel || fd < 0)
        return next<ioctl_call>("ioctl")(fd, request, to);
    if (request == FBIOGET_VSCREENINFO)
        return describe(to);
    return request == FBIOGET_FSCREENINFO ? describe_memory(to) : 0; /* panning, power */
}
}
