/* device_linux_screen: a frame buffer of the kernel. */
#include "platform/device/linux/device_linux.h"
#include "platform/draw/fb.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

constexpr char panel_path[] = "/dev/fb0";
constexpr char console_turn_path[] = "/sys/class/graphics/fbcon/rotate";

/* Main thread. */
static constinit int panel_fd = -1;
static constinit linux_panel panel = {};
static constinit size_t mapped_bytes = 0;

static linux_channel channel_of(const fb_bitfield &field)
{
    return {field.offset, field.length};
}

static uint32_t mask_of(const fb_bitfield &field)
{
    return field.length == 0 || field.length > 16 ? 0 : ((1u << field.length) - 1) << field.offset;
}

/* Numbers of colours instead of colours: three bits of red, three of green, two of blue. */
static void fill_palette()
{
    uint16_t red[256], green[256], blue[256];
    for (uint16_t i = 0; i < 256; i++) {
        red[i] = static_cast<uint16_t>((i >> 5) * 65535 / 7);
        green[i] = static_cast<uint16_t>((i >> 2 & 7) * 65535 / 7);
        blue[i] = static_cast<uint16_t>((i & 3) * 65535 / 3);
    }
    fb_cmap colours = {
        .start = 0, .len = 256, .red = red, .green = green, .blue = blue, .transp = nullptr};
    (void)ioctl(panel_fd, FBIOPUTCMAP, &colours); /* wrong colours are better than no picture */
    panel.red = {5, 3};
    panel.green = {2, 3};
    panel.blue = {0, 2};
    panel.opaque = 0;
}

/* A machine whose console stands upright has told the kernel how its panel is built in. */
static void turn_panel()
{
    char console[16] = "";
    const int fd = open(console_turn_path, O_RDONLY | O_CLOEXEC);
    const ssize_t got = fd >= 0 ? read(fd, console, sizeof console - 1) : 0;
    console[got > 0 ? got : 0] = '\0';
    if (fd >= 0)
        close(fd);
    panel.turn = linux_panel_turn_of(getenv("ZERV_PANEL_TURN"), console, panel.width, panel.height);
}

static int describe_panel(fb_var_screeninfo *shape, fb_fix_screeninfo *memory)
{
    if (ioctl(panel_fd, FBIOGET_VSCREENINFO, shape) != 0 ||
        ioctl(panel_fd, FBIOGET_FSCREENINFO, memory) != 0)
        return -1;
    panel = {.memory = nullptr,
             .width = static_cast<int32_t>(shape->xres),
             .height = static_cast<int32_t>(shape->yres),
             .line_bytes = static_cast<int32_t>(memory->line_length),
             .pixel_bytes = static_cast<int32_t>(shape->bits_per_pixel + 7) / 8,
             .red = channel_of(shape->red),
             .green = channel_of(shape->green),
             .blue = channel_of(shape->blue),
             .opaque = mask_of(shape->transp)};
    if (memory->visual == FB_VISUAL_PSEUDOCOLOR && shape->bits_per_pixel == 8)
        fill_palette();
    const bool known = shape->bits_per_pixel >= 8 && shape->bits_per_pixel <= 32;
    if (known && panel.width > 0 && panel.height > 0 &&
        static_cast<int64_t>(panel.line_bytes) >=
            static_cast<int64_t>(panel.width) * panel.pixel_bytes)
        return 0;
    errno = ENOTSUP;
    return -1;
}

static int map_panel()
{
    fb_var_screeninfo shape = {};
    fb_fix_screeninfo memory = {};
    panel_fd = open(panel_path, O_RDWR | O_CLOEXEC);
    if (panel_fd < 0 || describe_panel(&shape, &memory) != 0)
        return -1;
    /* The visible part may lie further down, where something panned to it before us. */
    shape.xoffset = shape.yoffset = 0;
    (void)ioctl(panel_fd, FBIOPAN_DISPLAY, &shape); /* many drivers cannot, and need not */
    mapped_bytes = static_cast<size_t>(panel.line_bytes) * static_cast<size_t>(panel.height);
    void *mapped = mmap(nullptr, mapped_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, panel_fd, 0);
    if (mapped == MAP_FAILED)
        return -1;
    panel.memory = static_cast<uint8_t *>(mapped);
    turn_panel();
    linux_input_panel = &panel;
    return 0;
}

bool linux_screen_fits()
{
    return access(panel_path, R_OK | W_OK) == 0;
}

int linux_screen_open(int32_t, int32_t)
{
    if (map_panel() != 0) {
        fprintf(stderr, "cannot use %s: %s\n", panel_path, strerror(errno));
        (void)linux_screen_close();
        return -1;
    }
    linux_console_take(panel_fd);
    linux_panel_clear(&panel);
    return 0;
}

int linux_screen_close()
{
    if (panel.memory) {
        linux_panel_clear(&panel);
        munmap(panel.memory, mapped_bytes);
    }
    panel = {};
    linux_input_panel = nullptr;
    linux_console_give_back();
    if (panel_fd >= 0)
        close(panel_fd);
    panel_fd = -1;
    return 0;
}

int linux_screen_show(const fb_surface *frame)
{
    if (!panel.memory)
        return -1;
    linux_panel_draw(&panel, frame, linux_rows_changed(frame));
    return 0;
}

/* Panels that cannot be switched off show the black frame that was drawn before. */
int linux_screen_power(int on)
{
    if (panel_fd < 0)
        return -1;
    linux_console_light(on != 0);
    return 0;
}
