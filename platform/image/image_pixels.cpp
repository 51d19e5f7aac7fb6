/* image_pixels: what decoders hand out becomes what is drawn, a row at a time while it is in the
 * cache. The loops without a branch are for the compiler to make vectors of. */
#include "platform/draw/fb_pixel.h"
#include "platform/image/image_codec.h"

#include <algorithm>
#include <bit>
#include <cstring>

/* Pixels looked at together: most are all opaque or all empty. */
static constexpr size_t stretch = 64;

static constexpr uint32_t even_bytes = 0x00FF00FF;

/* R, G, B, A in memory as a number with A on top and R at the bottom. */
static uint32_t as_abgr(uint32_t stored)
{
    if constexpr (std::endian::native == std::endian::little)
        return stored;
    return stored << 24 | (stored & 0xFF00) << 8 | (stored >> 8 & 0xFF00) | stored >> 24;
}

static uint32_t swap_red_and_blue(uint32_t pixel)
{
    return (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
}

/* Two channels at a time, each as fb_div255() does it. */
static uint32_t multiplied(uint32_t abgr)
{
    const uint32_t alpha = abgr >> 24;
    uint32_t outer = (abgr & even_bytes) * alpha + 0x00800080;
    outer = (outer + (outer >> 8 & even_bytes)) >> 8 & even_bytes;
    const uint32_t green = fb_div255((abgr >> 8 & 0xFF) * alpha);
    return alpha << 24 | (outer & 0xFF) << 16 | green << 8 | outer >> 16;
}

static void premultiply_mixed(uint32_t *pixels, size_t count)
{
    for (size_t i = 0; i < count; i++)
        pixels[i] = multiplied(as_abgr(pixels[i]));
}

void image_reorder(uint32_t *pixels, size_t count)
{
    for (size_t i = 0; i < count; i++)
        pixels[i] = swap_red_and_blue(as_abgr(pixels[i]));
}

/* Returns the alpha that all of them have in common, bit by bit. */
static uint32_t premultiply_stretch(uint32_t *pixels, size_t count)
{
    uint32_t all = UINT32_MAX, any = 0;
    for (size_t i = 0; i < count; i++) {
        all &= pixels[i];
        any |= pixels[i];
    }
    const uint32_t least = as_abgr(all) >> 24;
    if (least == 0xFF)
        image_reorder(pixels, count);
    else if (as_abgr(any) >> 24 == 0)
        memset(pixels, 0, count * sizeof *pixels);
    else
        premultiply_mixed(pixels, count);
    return least;
}

bool image_premultiply(uint32_t *pixels, size_t count)
{
    uint32_t all = 0xFF;
    for (size_t i = 0; i < count; i += stretch)
        all &= premultiply_stretch(pixels + i, std::min(stretch, count - i));
    return all == 0xFF;
}

bool image_is_opaque(const image *picture)
{
    const size_t count = static_cast<size_t>(picture->width) * static_cast<size_t>(picture->height);
    uint32_t all = UINT32_MAX;
    for (size_t i = 0; i < count && all >> 24 == 0xFF;) {
        const size_t end = std::min(count, i + stretch);
        for (; i < end; i++)
            all &= picture->argb[i];
    }
    return all >> 24 == 0xFF;
}
