/* fb_draw: surfaces, and what is drawn on them without a picture or a font. */
#include "platform/base/fault.h"
#include "platform/draw/fb.h"
#include "platform/draw/fb_clip.h"
#include "platform/draw/fb_texts.h"
#include "platform/draw/fb_trace.h"

#include <cstdlib>
#include <cstring>

static constexpr int32_t size_max = 4096;

static uint16_t *row_of(const fb_surface *surface, int32_t x, int32_t y)
{
    return surface->pixels + static_cast<size_t>(y) * static_cast<size_t>(surface->stride) + x;
}

/* The first row is filled pixel by pixel, the others are copies of it: memcpy() knows the widest
 * stores of the machine. */
static void fill(fb_surface *surface, int32_t x, int32_t y, int32_t w, int32_t h, uint16_t colour)
{
    uint16_t *first = row_of(surface, x, y);
    for (int32_t i = 0; i < w; i++)
        first[i] = colour;
    for (int32_t i = 1; i < h; i++)
        memcpy(row_of(surface, x, y + i), first, static_cast<size_t>(w) * sizeof *first);
}

fb_surface *fb_create(int32_t width, int32_t height)
{
    if (fault_hit("fb_create"))
        return nullptr;
    if (width < 1 || height < 1 || width > size_max || height > size_max)
        return nullptr;
    fb_surface *made = static_cast<fb_surface *>(calloc(1, sizeof *made));
    if (!made)
        return nullptr;
    made->width = width;
    made->height = height;
    made->stride = width;
    made->pixels = static_cast<uint16_t *>(
        calloc(static_cast<size_t>(width) * static_cast<size_t>(height), sizeof *made->pixels));
    if (!made->pixels || fb_texts_attach(made)) {
        (void)fb_free(made); /* not the screen, so it cannot refuse */
        return nullptr;
    }
    return made;
}

int fb_free(fb_surface *surface)
{
    if (!surface)
        return 0;
    if (surface->flags & fb_flag_screen)
        return -1;
    fb_texts_detach(surface);
    free(surface->pixels);
    free(surface);
    return 0;
}

int fb_clear(fb_surface *surface, uint16_t colour)
{
    if (!surface)
        return 0;
    const fb_rect area = fb_bounds(surface);
    if (!fb_trace_note(surface, {}, 0))
        return 0; /* every picture begins with it */
    if (!surface->covered)
        fill(surface, area.x, area.y, area.w, area.h, colour);
    if (!surface->quiet)
        fb_texts_drop(surface);
    return 0;
}

static void copy_rows(fb_surface *dst, const fb_surface *src, const fb_area &area)
{
    const size_t row_size = static_cast<size_t>(area.w) * sizeof *dst->pixels;
    uint16_t *to = row_of(dst, area.dst_x, area.dst_y);
    const uint16_t *from = row_of(src, area.src_x, area.src_y);
    for (int32_t i = 0; i < area.h; i++, to += dst->stride, from += src->stride)
        memcpy(to, from, row_size);
}

int fb_copy(fb_surface *dst, const fb_surface *src, int32_t dst_x, int32_t dst_y, int32_t w,
            int32_t h, int32_t src_x, int32_t src_y)
{
    if (!dst || !src)
        return 0;
    if (dst == src)
        return -1; /* rows would be read after they were overwritten */
    fb_area area = {dst_x, dst_y, w, h, src_x, src_y};
    if (!fb_clip(&area, dst->width, dst->height, src->width, src->height))
        return 0;
    dst->content = 0;
    copy_rows(dst, src, area);
    fb_texts_move(dst, src, &area);
    return 0;
}

/* What is to be copied so that `dst` becomes `src`. */
static fb_changes missing_in(const fb_surface *dst, const fb_surface *src)
{
    if (src->content != 0 && dst->content == src->content)
        return {.partial = true, .count = 0, .rects = {}};
    if (src->content != 0 && src->before != 0 && dst->content == src->before)
        return src->changes;
    return {};
}

int fb_copy_changes(fb_surface *dst, const fb_surface *src)
{
    if (!dst || !src)
        return 0;
    const fb_changes missing = missing_in(dst, src);
    const bool fits = dst->width == src->width && dst->height == src->height;
    if (!missing.partial || !fits) {
        const int result = fb_copy(dst, src, 0, 0, src->width, src->height, 0, 0);
        if (result != 0 || !fits)
            return result;
    } else if (dst->content != src->content) {
        for (uint32_t i = 0; i < missing.count; i++) {
            const fb_rect &part = missing.rects[i];
            copy_rows(dst, src, {part.x, part.y, part.w, part.h, part.x, part.y});
        }
        const fb_area whole = {0, 0, src->width, src->height, 0, 0};
        fb_texts_move(dst, src, &whole); /* the texts that stay come along with the others */
    }
    dst->before = src->before;
    dst->content = src->content;
    dst->changes = src->changes;
    return 0;
}

int fb_draw_rect(fb_surface *surface, int32_t x, int32_t y, int32_t w, int32_t h, uint16_t colour)
{
    if (!surface)
        return 0;
    if (!fb_trace_note(surface, {x, y, w, h}, fb_trace_mix(1, colour)))
        return 0;
    fb_area area = {x, y, w, h, 0, 0};
    /* There is no source that could end. */
    if (fb_clip_within(&area, fb_bounds(surface), INT32_MAX, INT32_MAX))
        fill(surface, area.dst_x, area.dst_y, area.w, area.h, colour);
    return 0;
}
