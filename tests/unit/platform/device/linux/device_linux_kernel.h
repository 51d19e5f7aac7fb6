/* device_linux_kernel: a panel, a console and event devices where the machine has none. Stands before
 * the C library's open and ioctl, answers what a test has set, and passes on all else. Include it once in
 * a test program. */
#pragma once

/* Both names of open() are wanted, not one for the other. */
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/input.h>
#include <linux/kd.h>
#include <string>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

struct kernel_panel {
    int open_error = 0;       /* 0: it opens */
    bool opens_empty = false; /* nothing of it can be mapped for writing */
    int shape_error = 0, memory_error = 0;
    fb_var_screeninfo shape = {};
    fb_fix_screeninfo memory = {};
    int fd = -1;                            /* of the last opening */
    std::vector<uint16_t> red, green, blue; /* the palette that was set */
    std::vector<uint64_t> blanks;           /* arguments of FBIOBLANK */
};

struct kernel_console {
    bool is_there = false;
    int mode_error = 0;
    int fd = -1;
    std::vector<uint64_t> modes; /* arguments of KDSETMODE */
};

/* What a descriptor says of its keys and axes. */
struct kernel_pad {
    int fd = -1;
    int keys_error = 0, axes_error = 0, range_error = 0;
    std::vector<unsigned> keys, axes;
    input_absinfo ranges[ABS_MAX + 1] = {};
};

inline kernel_panel test_panel;
inline kernel_console test_console;
inline kernel_pad test_pad;

inline int fail_with(int error)
{
    errno = error;
    return -1;
}

inline int memory_of(size_t size, int flags)
{
    const int made = static_cast<int>(syscall(SYS_memfd_create, "panel", 0));
    if (made < 0 || ftruncate(made, static_cast<off_t>(size)) != 0)
        return -1;
    const int opened = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, ("/proc/self/fd/" + std::to_string(made)).c_str(), flags));
    close(made);
    return opened;
}

inline int kernel_open(const char *path, int flags, mode_t mode)
{
    if (strcmp(path, "/dev/fb0") == 0) {
        if (test_panel.open_error)
            return fail_with(test_panel.open_error);
        const size_t size = size_t{test_panel.memory.line_length} * test_panel.shape.yres;
        test_panel.fd = memory_of(size, test_panel.opens_empty ? O_RDONLY : O_RDWR);
        return test_panel.fd;
    }
    if (strcmp(path, "/dev/tty0") == 0) {
        test_console.fd = test_console.is_there ? memory_of(1, O_RDWR) : fail_with(ENOENT);
        return test_console.fd;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

inline int set_bits(const std::vector<unsigned> &bits, void *to, size_t size)
{
    memset(to, 0, size);
    for (const unsigned bit : bits)
        if (bit / 8 < size)
            static_cast<unsigned char *>(to)[bit / 8] |= static_cast<unsigned char>(1 << bit % 8);
    return static_cast<int>(size);
}

inline int pad_call(unsigned long request, void *to)
{
    const unsigned number = _IOC_NR(request);
    if (number == _IOC_NR(EVIOCGBIT(EV_KEY, 0)))
        return test_pad.keys_error ? fail_with(test_pad.keys_error)
                                   : set_bits(test_pad.keys, to, _IOC_SIZE(request));
    if (number == _IOC_NR(EVIOCGBIT(EV_ABS, 0)))
        return test_pad.axes_error ? fail_with(test_pad.axes_error)
                                   : set_bits(test_pad.axes, to, _IOC_SIZE(request));
    if (test_pad.range_error)
        return fail_with(test_pad.range_error);
    memcpy(to, &test_pad.ranges[number - _IOC_NR(EVIOCGABS(0))], sizeof(input_absinfo));
    return 0;
}

inline int panel_call(unsigned long request, void *to)
{
    if (request == FBIOGET_VSCREENINFO) {
        memcpy(to, &test_panel.shape, sizeof test_panel.shape);
        return test_panel.shape_error ? fail_with(test_panel.shape_error) : 0;
    }
    if (request == FBIOGET_FSCREENINFO) {
        memcpy(to, &test_panel.memory, sizeof test_panel.memory);
        return test_panel.memory_error ? fail_with(test_panel.memory_error) : 0;
    }
    if (request == FBIOPUTCMAP) {
        const fb_cmap *set = static_cast<const fb_cmap *>(to);
        test_panel.red.assign(set->red, set->red + set->len);
        test_panel.green.assign(set->green, set->green + set->len);
        test_panel.blue.assign(set->blue, set->blue + set->len);
    }
    if (request == FBIOBLANK)
        test_panel.blanks.push_back(reinterpret_cast<uintptr_t>(to));
    return 0;
}

inline int console_call(unsigned long request, void *to)
{
    if (request == KDSETMODE)
        test_console.modes.push_back(reinterpret_cast<uintptr_t>(to));
    return test_console.mode_error ? fail_with(test_console.mode_error) : 0;
}

inline int kernel_ioctl(int fd, unsigned long request, void *to)
{
    if (fd >= 0 && fd == test_panel.fd)
        return panel_call(request, to);
    if (fd >= 0 && fd == test_console.fd)
        return console_call(request, to);
    if (fd >= 0 && fd == test_pad.fd)
        return pad_call(request, to);
    return static_cast<int>(syscall(SYS_ioctl, fd, request, to));
}

extern "C" {

int __ioctl_time64(int fd, unsigned long request, ...) noexcept;

int open(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return kernel_open(path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return kernel_open(path, flags, mode);
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    void *to = va_arg(rest, void *);
    va_end(rest);
    return kernel_ioctl(fd, request, to);
}

/* As ioctl() is called where times of 64 bits have to be asked for. */
int __ioctl_time64(int fd, unsigned long request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    void *to = va_arg(rest, void *);
    va_end(rest);
    return kernel_ioctl(fd, request, to);
}
}
