/* device_linux_screen: a frame buffer of the kernel, 8, 16, 24 or 32 bits a pixel. */
#include "platform/device/linux/device_linux.h"
#include "platform/draw/fb.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/kd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

constexpr char panel_path[] = "/dev/fb0";
constexpr char console_path[] = "/dev/tty0";

/* Main thread. */
static constinit int panel_fd = -1;
static constinit linux_panel panel = {};
static constinit size_t mapped_bytes = 0;
static constinit int console_fd = -1; /* open while the console does not draw */

/* Where a frame lies on the panel. */
struct panel_placement {
    int32_t left, top, scale;
};

static panel_placement place(const linux_panel *on, const fb_surface *frame)
{
    const int32_t scale =
        std::max(1, std::min(on->width / frame->width, on->height / frame->height));
    return {(on->width - frame->width * scale) / 2, (on->height - frame->height * scale) / 2,
            scale};
}

static uint32_t channel(uint32_t value, uint32_t bits, linux_channel to)
{
    const uint32_t most = (1u << bits) - 1;
    const uint32_t wanted = to.length >= 8 ? 255 : (1u << to.length) - 1;
    return ((value * wanted + most / 2) / most) << to.offset;
}

static uint32_t convert(const linux_panel *on, uint16_t pixel)
{
    return channel(pixel >> 11, 5, on->red) | channel((pixel >> 5) & 63, 6, on->green) |
           channel(pixel & 31, 5, on->blue) | on->opaque;
}

static bool is_565(const linux_panel *on)
{
    return on->pixel_bytes == 2 && on->red.offset == 11 && on->red.length == 5 &&
           on->green.offset == 5 && on->green.length == 6 && on->blue.offset == 0 &&
           on->blue.length == 5;
}

/* Columns of the panel that a frame covers: from, and how many. */
static void visible(int32_t at, int32_t length, int32_t limit, int32_t *from, int32_t *count)
{
    *from = std::max(at, 0);
    *count = std::max(0, std::min(at + length, limit) - *from);
}

static void convert_row(const linux_panel *on, const uint16_t *from, const panel_placement &where,
                        int32_t left, int32_t count, uint8_t *to)
{
    static_assert(std::endian::native == std::endian::little);
    const size_t bytes = static_cast<size_t>(on->pixel_bytes);
    for (int32_t x = 0; x < count; x++) {
        const uint32_t pixel = convert(on, from[(left + x - where.left) / where.scale]);
        memcpy(to + x * on->pixel_bytes, &pixel, bytes); /* the low ones come first */
    }
}

void linux_panel_draw(const linux_panel *on, const fb_surface *frame)
{
    const panel_placement where = place(on, frame);
    int32_t left = 0, top = 0, columns = 0, rows = 0;
    visible(where.left, frame->width * where.scale, on->width, &left, &columns);
    visible(where.top, frame->height * where.scale, on->height, &top, &rows);
    const size_t bytes = static_cast<size_t>(columns) * static_cast<size_t>(on->pixel_bytes);
    const bool plain = where.scale == 1 && is_565(on);
    const uint8_t *row_before = nullptr;
    int32_t y_before = -1;
    for (int32_t y = 0; y < rows; y++) {
        const int32_t from_y = (top + y - where.top) / where.scale;
        if (!fb_row_changes(frame, from_y))
            continue;
        const uint16_t *from =
            frame->pixels + static_cast<size_t>(from_y) * static_cast<size_t>(frame->stride);
        uint8_t *to = on->memory +
                      static_cast<size_t>(top + y) * static_cast<size_t>(on->line_bytes) +
                      static_cast<size_t>(left) * static_cast<size_t>(on->pixel_bytes);
        if (plain)
            memcpy(to, from + (left - where.left), bytes);
        else if (from_y == y_before)
            memcpy(to, row_before, bytes);
        else
            convert_row(on, from, where, left, columns, to);
        y_before = from_y;
        row_before = to;
    }
}

void linux_panel_clear(const linux_panel *on)
{
    for (int32_t y = 0; y < on->height; y++)
        memset(on->memory + static_cast<size_t>(y) * static_cast<size_t>(on->line_bytes), 0,
               static_cast<size_t>(on->width) * static_cast<size_t>(on->pixel_bytes));
}

/* The text console would draw its cursor over the picture. A machine without one is fine. */
static void silence_console()
{
    console_fd = open(console_path, O_RDWR | O_CLOEXEC);
    if (console_fd >= 0 && ioctl(console_fd, KDSETMODE, KD_GRAPHICS) != 0) {
        close(console_fd);
        console_fd = -1;
    }
}

static void restore_console()
{
    if (console_fd < 0)
        return;
    (void)ioctl(console_fd, KDSETMODE, KD_TEXT); /* there is nobody to tell */
    close(console_fd);
    console_fd = -1;
}

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
    silence_console();
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
    if (panel_fd >= 0)
        close(panel_fd);
    panel_fd = -1;
    restore_console();
    return 0;
}

int linux_screen_show(const fb_surface *frame)
{
    if (!panel.memory)
        return -1;
    linux_panel_draw(&panel, frame);
    return 0;
}

/* Panels that cannot be switched off show the black frame that was drawn before. */
int linux_screen_power(int on)
{
    if (panel_fd < 0)
        return -1;
    (void)ioctl(panel_fd, FBIOBLANK, on ? FB_BLANK_UNBLANK : FB_BLANK_POWERDOWN);
    return 0;
}
