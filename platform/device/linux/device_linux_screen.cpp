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
static constinit uint8_t *mapped = nullptr; /* all pages */
static constinit size_t mapped_bytes = 0;
static constinit fb_var_screeninfo shape = {};
/* The page that is not shown is drawn, and then shown as a whole. */
static constinit uint32_t pages = 1, shown_page = 0;
static constinit fb_changes missing[2] =
    {}; /* of each page: what was drawn on the other one since */
static constexpr fb_changes nothing = {.partial = true, .count = 0, .rects = {}};
static constinit bool waits = false; /* for the time at which the panel begins a picture */

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

static int describe_panel(fb_fix_screeninfo *memory)
{
    if (ioctl(panel_fd, FBIOGET_VSCREENINFO, &shape) != 0 ||
        ioctl(panel_fd, FBIOGET_FSCREENINFO, memory) != 0)
        return -1;
    panel = {.memory = nullptr,
             .width = static_cast<int32_t>(shape.xres),
             .height = static_cast<int32_t>(shape.yres),
             .line_bytes = static_cast<int32_t>(memory->line_length),
             .pixel_bytes = static_cast<int32_t>(shape.bits_per_pixel + 7) / 8,
             .red = channel_of(shape.red),
             .green = channel_of(shape.green),
             .blue = channel_of(shape.blue),
             .opaque = mask_of(shape.transp)};
    if (memory->visual == FB_VISUAL_PSEUDOCOLOR && shape.bits_per_pixel == 8)
        fill_palette();
    const bool known = shape.bits_per_pixel >= 8 && shape.bits_per_pixel <= 32;
    if (known && panel.width > 0 && panel.height > 0 &&
        static_cast<int64_t>(panel.line_bytes) >=
            static_cast<int64_t>(panel.width) * panel.pixel_bytes)
        return 0;
    errno = ENOTSUP;
    return -1;
}

static size_t page_bytes()
{
    return static_cast<size_t>(panel.line_bytes) * static_cast<size_t>(panel.height);
}

static bool pan(uint32_t page)
{
    shape.xoffset = 0;
    shape.yoffset = page * shape.yres;
    return ioctl(panel_fd, FBIOPAN_DISPLAY, &shape) == 0;
}

/* Two, where the memory has room for them and the driver shows the second one when asked. */
static uint32_t count_pages(const fb_fix_screeninfo &memory)
{
    const char *wish = getenv("ZERV_PANEL_PAGES");
    if ((wish && strcmp(wish, "1") == 0) || memory.ypanstep == 0 ||
        memory.smem_len < 2 * page_bytes())
        return 1;
    fb_var_screeninfo wanted = shape;
    wanted.yres_virtual = 2 * wanted.yres;
    if (shape.yres_virtual < wanted.yres_virtual &&
        ioctl(panel_fd, FBIOPUT_VSCREENINFO, &wanted) != 0)
        return 1;
    /* What the driver made of it: anything else than more rows is not what was described before. */
    fb_var_screeninfo made = {};
    fb_fix_screeninfo memory_now = {};
    if (ioctl(panel_fd, FBIOGET_VSCREENINFO, &made) != 0 ||
        ioctl(panel_fd, FBIOGET_FSCREENINFO, &memory_now) != 0 ||
        made.yres_virtual < wanted.yres_virtual || made.xres != shape.xres ||
        made.yres != shape.yres || memory_now.line_length != memory.line_length)
        return 1;
    shape = made;
    return pan(1) ? 2 : 1;
}

/* Anything may be on them. */
static void forget_pages()
{
    for (fb_changes &each : missing)
        each = {};
}

static int map_panel()
{
    fb_fix_screeninfo memory = {};
    panel_fd = open(panel_path, O_RDWR | O_CLOEXEC);
    if (panel_fd < 0 || describe_panel(&memory) != 0)
        return -1;
    pages = count_pages(memory);
    /* The visible part may lie further down, where something panned to it before us. */
    (void)pan(0); /* many drivers cannot, and need not */
    shown_page = 0;
    waits = true;
    mapped_bytes = pages * page_bytes();
    void *at = mmap(nullptr, mapped_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, panel_fd, 0);
    if (at == MAP_FAILED)
        return -1;
    panel.memory = mapped = static_cast<uint8_t *>(at);
    forget_pages();
    turn_panel();
    linux_panel_open = &panel;
    return 0;
}

static void use_page(uint32_t page)
{
    panel.memory = mapped + page * page_bytes();
}

static void clear_pages()
{
    for (uint32_t page = 0; page < pages; page++) {
        use_page(page);
        linux_panel_clear(&panel);
    }
}

/* A driver that does not know when a picture begins is not asked again. */
static void wait_for_picture()
{
    uint32_t which = 0;
    waits = waits && ioctl(panel_fd, FBIO_WAITFORVSYNC, &which) == 0;
}

static void draw(const fb_surface *frame, const fb_changes &changes)
{
    if (!linux_panel_copy(&panel, frame, &changes))
        linux_panel_draw(&panel, frame, linux_rows_of(&changes));
}

/* Draws where nobody looks, and shows it from the next picture of the panel on. */
static void show_next_page(const fb_surface *frame)
{
    const uint32_t next = 1 - shown_page;
    use_page(next);
    draw(frame, fb_changes_add(&frame->changes, &missing[next]));
    missing[next] = nothing;
    missing[shown_page] = fb_changes_add(&frame->changes, &missing[shown_page]);
    if (pan(next)) {
        shown_page = next;
        wait_for_picture(); /* until then the other page is still seen */
        return;
    }
    use_page(shown_page); /* it panned before, and does not any more */
    draw(frame, missing[shown_page]);
    pages = 1;
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
    clear_pages();
    return 0;
}

int linux_screen_close()
{
    if (mapped) {
        clear_pages();
        (void)pan(0); /* as above */
        munmap(mapped, mapped_bytes);
    }
    mapped = nullptr;
    panel = {};
    linux_panel_open = nullptr;
    linux_console_give_back();
    if (panel_fd >= 0)
        close(panel_fd);
    panel_fd = -1;
    return 0;
}

int linux_screen_show(const fb_surface *frame)
{
    if (!mapped)
        return -1;
    if (pages > 1) {
        show_next_page(frame);
        return 0;
    }
    wait_for_picture(); /* else the panel would show half of it for a moment */
    draw(frame, fb_changes_add(&frame->changes, &missing[0]));
    missing[0] = nothing;
    return 0;
}

void linux_screen_lost()
{
    forget_pages();
}

/* Panels that cannot be switched off show the black frame that was drawn before. */
int linux_screen_power(int on)
{
    if (panel_fd < 0)
        return -1;
    linux_console_light(on != 0);
    return 0;
}
