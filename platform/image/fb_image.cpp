/* fb_image: pictures on surfaces. Opaque ones are copied row by row; those with alpha by their
 * runs: opaque ones copied, edges blended, the rest not touched. */
#include "platform/draw/fb.h"
#include "platform/draw/fb_clip.h"
#include "platform/draw/fb_pixel.h"
#include "platform/draw/fb_trace.h"
#include "platform/image/image.h"
#include "platform/image/image_span.h"

#include <algorithm>
#include <cassert>
#include <cstring>

static uint32_t channel_over(uint32_t source, uint32_t under, uint32_t rest)
{
    return std::min<uint32_t>(255, source + fb_div255(under * rest));
}

/* Premultiplied source over the target, both at 8 bits a channel. */
static uint16_t pixel_over(uint32_t argb, uint16_t under)
{
    const uint32_t rest = 255 - (argb >> 24);
    return fb_pack(channel_over(argb >> 16 & 0xFF, fb_red8(under), rest),
                   channel_over(argb >> 8 & 0xFF, fb_green8(under), rest),
                   channel_over(argb & 0xFF, fb_blue8(under), rest));
}

static uint32_t pixel_faded(uint32_t argb, uint32_t alpha)
{
    return fb_div255((argb >> 24) * alpha) << 24 | fb_div255((argb >> 16 & 0xFF) * alpha) << 16 |
           fb_div255((argb >> 8 & 0xFF) * alpha) << 8 | fb_div255((argb & 0xFF) * alpha);
}

/* Whether the machine blends several pixels at once. One that does not passes over those that need no
 * blending. */
#if defined(__SSE2__) || defined(__ARM_NEON)
static constexpr bool has_vectors = true;
#else
static constexpr bool has_vectors = false;
#endif

/* Without a branch: what is empty leaves what was there, what is opaque takes its place. */
static void blend_eight(uint16_t *__restrict to, const uint32_t *__restrict from)
{
    for (int i = 0; i < 8; i++)
        to[i] = pixel_over(from[i], to[i]);
}

static void blend_row(uint16_t *to, const uint32_t *from, int32_t count, uint32_t alpha)
{
    for (; has_vectors && alpha == 255 && count >= 8; count -= 8, to += 8, from += 8)
        blend_eight(to, from);
    for (int32_t i = 0; i < count; i++) {
        const uint32_t argb = alpha == 255 ? from[i] : pixel_faded(from[i], alpha);
        if (argb >> 24 == 255)
            to[i] = fb_pack_argb(argb);
        else if (argb)
            to[i] = pixel_over(argb, to[i]);
    }
}

static void blend_row_opaque(uint16_t *to, const uint16_t *from, int32_t count, uint32_t alpha)
{
    for (int32_t i = 0; i < count; i++) {
        const uint32_t argb =
            0xFF000000u | fb_red8(from[i]) << 16 | fb_green8(from[i]) << 8 | fb_blue8(from[i]);
        to[i] = pixel_over(pixel_faded(argb, alpha), to[i]);
    }
}

static uint16_t *target_of(const fb_surface *surface, const fb_area *area, int32_t row)
{
    assert(row >= 0 && row < area->h);
    assert(area->dst_x >= 0 && area->dst_x + area->w <= surface->width);
    assert(area->dst_y >= 0 && area->dst_y + area->h <= surface->height);
    return surface->pixels +
           static_cast<size_t>(area->dst_y + row) * static_cast<size_t>(surface->stride) +
           area->dst_x;
}

static size_t source_of(const image *img, const fb_area *area, int32_t row)
{
    assert(area->src_x >= 0 && area->src_x + area->w <= img->width);
    assert(area->src_y >= 0 && area->src_y + row < img->height);
    return static_cast<size_t>(area->src_y + row) * static_cast<size_t>(img->width) +
           static_cast<size_t>(area->src_x);
}

static void draw_opaque(fb_surface *surface, const image *img, const fb_area *area, uint32_t alpha)
{
    for (int32_t row = 0; row < area->h; row++) {
        uint16_t *to = target_of(surface, area, row);
        const uint16_t *from = img->rgb565 + source_of(img, area, row);
        if (alpha == 255)
            memcpy(to, from, static_cast<size_t>(area->w) * sizeof *to);
        else
            blend_row_opaque(to, from, area->w, alpha);
    }
}

static void draw_argb(fb_surface *surface, const image *img, const fb_area *area, uint32_t alpha)
{
    for (int32_t row = 0; row < area->h; row++)
        blend_row(target_of(surface, area, row), img->argb + source_of(img, area, row), area->w,
                  alpha);
}

/* The first run at or below a row. */
static const image_span *span_find(const image *img, int32_t row)
{
    const image_span *begin = img->spans;
    return std::lower_bound(begin, begin + img->span_count, row,
                            [](const image_span &span, int32_t y) { return span.y < y; });
}

static void draw_span(fb_surface *surface, const image *img, const fb_area *area,
                      const image_span *span, uint32_t alpha)
{
    const int32_t from = std::max<int32_t>(span->x, area->src_x);
    const int32_t end = std::min<int32_t>(span->x + span->length, area->src_x + area->w);
    if (from >= end)
        return;
    uint16_t *to = target_of(surface, area, span->y - area->src_y) + (from - area->src_x);
    if (span->opaque && alpha == 255)
        memcpy(to, img->runs + span->first + (from - span->x),
               static_cast<size_t>(end - from) * sizeof *to);
    else
        blend_row(to,
                  img->argb + static_cast<size_t>(span->y) * static_cast<size_t>(img->width) + from,
                  end - from, alpha);
}

static void draw_spans(fb_surface *surface, const image *img, const fb_area *area, uint32_t alpha)
{
    const image_span *end = img->spans + img->span_count;
    for (const image_span *span = span_find(img, area->src_y);
         span < end && span->y < area->src_y + area->h; span++)
        draw_span(surface, img, area, span, alpha);
}

/* A picture that is drawn is not changed any more; a new one has a new number. */
static uint64_t number_of(const image *img, int32_t dest_x, int32_t dest_y, int32_t src_x,
                          int32_t src_y, int32_t alpha)
{
    uint64_t number = fb_trace_mix(3, img->serial);
    for (const int32_t each : {dest_x, dest_y, src_x, src_y, alpha})
        number = fb_trace_mix(number, static_cast<uint32_t>(each));
    return number;
}

static void note_opaque(fb_surface *surface, const image *img, fb_area area)
{
    if (fb_clip(&area, surface->width, surface->height, img->width, img->height))
        fb_trace_opaque(surface, {area.dst_x, area.dst_y, area.w, area.h});
}

int fb_draw_image(fb_surface *surface, const image *img, int32_t dest_x, int32_t dest_y, int32_t w,
                  int32_t h, int32_t src_x, int32_t src_y, int32_t alpha)
{
    if (!surface || !img || alpha <= 0)
        return 0;
    fb_area area = {dest_x, dest_y, w, h, src_x, src_y};
    if (img->rgb565 && alpha >= 255)
        note_opaque(surface, img, area);
    if (!fb_trace_note(surface, {dest_x, dest_y, w, h},
                       number_of(img, dest_x, dest_y, src_x, src_y, alpha)))
        return 0;
    if (!fb_clip_within(&area, fb_bounds(surface), img->width, img->height))
        return 0;
    const uint32_t opacity = static_cast<uint32_t>(std::min<int32_t>(alpha, 255));
    if (img->rgb565)
        draw_opaque(surface, img, &area, opacity);
    else if (img->spans)
        draw_spans(surface, img, &area, opacity);
    else
        draw_argb(surface, img, &area, opacity);
    return 0;
}
