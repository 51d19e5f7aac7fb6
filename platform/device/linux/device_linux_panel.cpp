/* device_linux_panel: a frame in the memory of a panel, whatever its pixels look like. */
#include "platform/base/device.h"
#include "platform/device/linux/device_linux.h"
#include "platform/draw/fb.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

constinit const linux_panel *linux_panel_open = nullptr;

/* Where a frame lies on the panel: the corner may lie outside of it. */
struct panel_placement {
    int32_t left, top;
    int32_t columns, rows; /* of the turned frame, in its own pixels */
    int32_t scale;
};

/* The pixels of a row of the panel are those of a row or a column of the frame. */
struct panel_line {
    const uint16_t *first;
    ptrdiff_t step; /* to the next one */
};

static panel_placement place(const linux_panel *on, int32_t width, int32_t height)
{
    const bool lies = on->turn % 2 != 0;
    const int32_t columns = lies ? height : width, rows = lies ? width : height;
    const int32_t scale = std::max(1, std::min(on->width / columns, on->height / rows));
    return {(on->width - columns * scale) / 2, (on->height - rows * scale) / 2, columns, rows,
            scale};
}

/* What the row `index` of the turned frame is made of. */
static panel_line line_of(int32_t turn, const fb_surface *frame, int32_t index)
{
    const ptrdiff_t stride = frame->stride, last_x = frame->width - 1, last_y = frame->height - 1;
    switch (turn) {
    case 1:
        return {frame->pixels + last_y * stride + index, -stride};
    case 2:
        return {frame->pixels + (last_y - index) * stride + last_x, -1};
    case 3:
        return {frame->pixels + last_x - index, stride};
    default:
        return {frame->pixels + index * stride, 1};
    }
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

static void convert_line(const linux_panel *on, const panel_line &line, int32_t scale, int32_t at,
                         int32_t count, uint8_t *to)
{
    static_assert(std::endian::native == std::endian::little);
    const size_t bytes = static_cast<size_t>(on->pixel_bytes);
    const uint16_t *from = line.first + at / scale * line.step;
    for (int32_t done = 0, part = at % scale; done < count; from += line.step, part = 0) {
        const uint32_t pixel = is_565(on) ? *from : convert(on, *from);
        for (; part < scale && done < count; part++, done++, to += bytes)
            memcpy(to, &pixel, bytes); /* the low ones come first */
    }
}

/* Pixels of one row of the panel: of the turned frame's columns `from` to `end`. */
struct panel_span {
    const linux_panel *on;
    panel_placement where;
    int32_t y; /* of the panel */
    int32_t from, end;
};

static void draw_span(const panel_span &span, const panel_line &line, bool as_above)
{
    const panel_placement &where = span.where;
    const int32_t left = std::max(where.left + span.from * where.scale, 0);
    const int32_t right = std::min(where.left + span.end * where.scale, span.on->width);
    if (left >= right)
        return;
    uint8_t *to = span.on->memory +
                  static_cast<size_t>(span.y) * static_cast<size_t>(span.on->line_bytes) +
                  static_cast<size_t>(left) * static_cast<size_t>(span.on->pixel_bytes);
    const size_t bytes =
        static_cast<size_t>(right - left) * static_cast<size_t>(span.on->pixel_bytes);
    if (as_above)
        memcpy(to, to - span.on->line_bytes, bytes);
    else if (where.scale == 1 && line.step == 1 && is_565(span.on))
        memcpy(to, line.first + (left - where.left), bytes);
    else
        convert_line(span.on, line, where.scale, left - where.left, right - left, to);
}

/* The rows of the frame are columns of the panel: those that lie together are drawn together. */
static void draw_columns(panel_span span, const panel_line &line, bool as_above,
                         const linux_rows &wanted)
{
    const int32_t count = span.where.columns;
    const auto is_wanted = [&](int32_t column) {
        return wanted[static_cast<size_t>(span.on->turn == 1 ? count - 1 - column : column)];
    };
    for (span.end = 0; span.end < count; span.end++) {
        if (!is_wanted(span.end))
            continue;
        span.from = span.end;
        while (span.end < count && is_wanted(span.end))
            span.end++;
        draw_span(span, line, as_above);
    }
}

static void copy_part(const linux_panel *on, const fb_surface *frame, const fb_rect &part)
{
    const size_t bytes = static_cast<size_t>(part.w) * sizeof *frame->pixels;
    const size_t line = static_cast<size_t>(on->line_bytes);
    const uint16_t *from = frame->pixels + ptrdiff_t{part.y} * frame->stride + part.x;
    uint8_t *to = on->memory + static_cast<size_t>(part.y) * line +
                  static_cast<size_t>(part.x) * sizeof *from;
    const bool whole = bytes == line && frame->stride == part.w;
    if (whole) /* rows lie one behind the other on both sides */
        memcpy(to, from, bytes * static_cast<size_t>(part.h));
    for (int32_t row = 0; !whole && row < part.h; row++, from += frame->stride, to += line)
        memcpy(to, from, bytes);
}

bool linux_panel_copy(const linux_panel *on, const fb_surface *frame, const fb_changes *changes)
{
    if (on->turn != 0 || on->width != frame->width || on->height != frame->height || !is_565(on))
        return false;
    if (!changes->partial)
        copy_part(on, frame, {0, 0, frame->width, frame->height});
    for (uint32_t i = 0; changes->partial && i < changes->count; i++)
        copy_part(on, frame, changes->rects[i]);
    return true;
}

linux_rows linux_rows_of(const fb_changes *changes)
{
    linux_rows rows;
    if (!changes->partial)
        return rows.set();
    for (uint32_t i = 0; i < changes->count; i++) {
        const fb_rect &part = changes->rects[i];
        for (int32_t y = part.y; y < std::min(part.y + part.h, device_height); y++)
            rows[static_cast<size_t>(y)] = true;
    }
    return rows;
}

void linux_panel_draw(const linux_panel *on, const fb_surface *frame, const linux_rows &wanted)
{
    const panel_placement where = place(on, frame->width, frame->height);
    const int32_t bottom = std::min(where.top + where.rows * where.scale, on->height);
    int32_t index_before = -1;
    for (int32_t y = std::max(where.top, 0); y < bottom; y++) {
        const int32_t index = (y - where.top) / where.scale;
        const bool as_above = index == index_before;
        const panel_line line = line_of(on->turn, frame, index);
        const int32_t row = on->turn == 2 ? where.rows - 1 - index : index;
        index_before = index;
        if (on->turn % 2 != 0)
            draw_columns({on, where, y, 0, 0}, line, as_above, wanted);
        else if (wanted[static_cast<size_t>(row)])
            draw_span({on, where, y, 0, where.columns}, line, as_above);
    }
}

bool linux_panel_point(const linux_panel *on, int32_t *x, int32_t *y)
{
    const panel_placement where = place(on, device_width, device_height);
    const auto whole = [&](int32_t value) { /* rounded down, also below 0 */
                                            return value >= 0 ? value / where.scale
                                                              : -((-value + where.scale - 1) /
                                                                  where.scale);
    };
    const int32_t column = whole(*x - where.left), row = whole(*y - where.top);
    const bool inside = column >= 0 && column < where.columns && row >= 0 && row < where.rows;
    switch (on->turn) {
    case 1:
        *x = row;
        *y = where.columns - 1 - column;
        break;
    case 2:
        *x = where.columns - 1 - column;
        *y = where.rows - 1 - row;
        break;
    case 3:
        *x = where.rows - 1 - row;
        *y = column;
        break;
    default:
        *x = column;
        *y = row;
        break;
    }
    return inside;
}

int32_t linux_turn_wished(const char *degrees)
{
    static constexpr const char *quarters[] = {"0", "90", "180", "270"};
    for (int32_t turn = 0; degrees && turn < 4; turn++) {
        if (strcmp(degrees, quarters[turn]) == 0)
            return turn;
    }
    return -1;
}

int32_t linux_panel_turn_of(const char *wish, const char *console, int32_t width, int32_t height)
{
    const int32_t wished = linux_turn_wished(wish);
    if (wished >= 0)
        return wished;
    if (console && console[0] >= '1' && console[0] <= '3')
        return console[0] - '0';
    return height > width ? 1 : 0;
}

void linux_panel_clear(const linux_panel *on)
{
    for (int32_t y = 0; y < on->height; y++)
        memset(on->memory + static_cast<size_t>(y) * static_cast<size_t>(on->line_bytes), 0,
               static_cast<size_t>(on->width) * static_cast<size_t>(on->pixel_bytes));
}
