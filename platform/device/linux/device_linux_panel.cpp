/* device_linux_panel: a frame in the memory of a panel, whatever its pixels look like. */
#include "platform/device/linux/device_linux.h"
#include "platform/draw/fb.h"

#include <algorithm>
#include <bit>
#include <cstring>

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
