#include "platform/device/web/wire/web_picture.h"

#include "platform/device/web/wire/web_message.h"

#include <algorithm>
#include <cstring>

constexpr int32_t tiles_across = device_width / web_tile;
constexpr size_t run_most = 129, literal_most = 128;
static_assert(device_width % web_tile == 0 && device_height % web_tile == 0);

/* ---- changes ---- */

static bool tile_changed(const uint16_t *before, const uint16_t *now, int32_t x, int32_t y)
{
    for (int32_t row = y; row < y + web_tile; row++) {
        const int32_t at = row * device_width + x;
        if (memcmp(before + at, now + at, web_tile * sizeof *now) != 0)
            return true;
    }
    return false;
}

/* Adds a run of squares: below a rectangle of the same width it makes that one taller. */
static uint32_t add_run(web_rect *to, uint32_t count, const web_rect &run)
{
    for (uint32_t i = count; i-- > 0 && to[i].y + to[i].h >= run.y;) {
        if (to[i].x == run.x && to[i].w == run.w && to[i].y + to[i].h == run.y) {
            to[i].h += run.h;
            return count;
        }
    }
    to[count] = run;
    return count + 1;
}

static uint32_t add_row(const uint16_t *before, const uint16_t *now, int32_t y, web_rect *to,
                        uint32_t count)
{
    int32_t first = -1; /* square at which a run of changed ones began */
    for (int32_t tile = 0; tile <= tiles_across; tile++) {
        const bool changed = tile < tiles_across && tile_changed(before, now, tile * web_tile, y);
        if (changed && first < 0)
            first = tile;
        if (changed || first < 0)
            continue;
        count =
            add_run(to, count,
                    {.x = first * web_tile, .y = y, .w = (tile - first) * web_tile, .h = web_tile});
        first = -1;
    }
    return count;
}

uint32_t web_find_changes(const uint16_t *before, const uint16_t *now,
                          web_rect (&to)[web_rects_most])
{
    uint32_t count = 0;
    for (int32_t y = 0; y < device_height; y += web_tile)
        count = add_row(before, now, y, to, count);
    return count;
}

/* ---- packing ---- */

/* The pixels of a rectangle, one after the other. */
struct pixel_walk {
    const uint16_t *frame;
    web_rect rect;
    size_t count;

    uint16_t operator[](size_t index) const
    {
        const auto width = static_cast<size_t>(rect.w);
        const size_t row = static_cast<size_t>(rect.y) + index / width;
        return frame[row * device_width + static_cast<size_t>(rect.x) + index % width];
    }
};

static size_t run_at(const pixel_walk &pixels, size_t at)
{
    const size_t end = std::min(pixels.count, at + run_most);
    size_t next = at + 1;
    while (next < end && pixels[next] == pixels[at])
        next++;
    return next - at;
}

/* How many pixels follow of which no two neighbours are alike. */
static size_t literals_at(const pixel_walk &pixels, size_t at)
{
    const size_t end = std::min(pixels.count, at + literal_most);
    size_t next = at + 1;
    while (next < end && (next + 1 >= pixels.count || pixels[next] != pixels[next + 1]))
        next++;
    return next - at;
}

static void put_pixels(const pixel_walk &pixels, size_t at, size_t count, uint8_t *to)
{
    for (size_t i = 0; i < count; i++)
        web_put_16(to + i * 2, pixels[at + i]);
}

/* Returns the length, or 0 where packing saves nothing. */
static size_t pack(const pixel_walk &pixels, uint8_t *to)
{
    const size_t limit = pixels.count * 2;
    size_t length = 0;
    for (size_t at = 0; at < pixels.count;) {
        const size_t run = run_at(pixels, at);
        const size_t taken = run > 1 ? run : literals_at(pixels, at);
        const size_t stored = run > 1 ? 1 : taken;
        if (length + 1 + stored * 2 >= limit)
            return 0;
        to[length++] = static_cast<uint8_t>(run > 1 ? run + 126 : taken - 1);
        put_pixels(pixels, at, stored, to + length);
        length += stored * 2;
        at += taken;
    }
    return length;
}

static size_t put_rect(const pixel_walk &pixels, uint8_t *to)
{
    const int32_t sides[] = {pixels.rect.x, pixels.rect.y, pixels.rect.w, pixels.rect.h};
    for (size_t i = 0; i < 4; i++)
        web_put_16(to + i * 2, static_cast<uint16_t>(sides[i]));
    size_t length = pack(pixels, to + web_rect_head);
    if (length == 0) {
        put_pixels(pixels, 0, pixels.count, to + web_rect_head);
        length = pixels.count * 2;
    }
    web_put_32(to + 8, static_cast<uint32_t>(length));
    return web_rect_head + length;
}

size_t web_put_picture(const uint16_t *frame, const web_rect *rects, uint32_t count,
                       uint8_t (&to)[web_picture_most])
{
    to[0] = static_cast<uint8_t>(web_news::picture);
    to[1] = 0;
    web_put_16(to + 2, static_cast<uint16_t>(count));
    size_t length = web_picture_head;
    for (uint32_t i = 0; i < count; i++) {
        const size_t pixels = static_cast<size_t>(rects[i].w) * static_cast<size_t>(rects[i].h);
        length += put_rect({frame, rects[i], pixels}, to + length);
    }
    return length;
}
