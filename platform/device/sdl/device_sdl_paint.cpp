/* device_sdl_paint: pixels of the player as squares of the window's pixels. SDL's own way from 16 bits
 * to 32 looks each pixel of the window up by itself, three times as long as the whole play screen takes
 * to draw. */
#include "platform/device/sdl/device_sdl.h"

#include <SDL.h>
#include <cassert>
#include <cstddef>
#include <cstring>

/* What the channels of a pixel become; main thread. */
static constinit uint32_t reds[32] = {}, greens[64] = {}, blues[32] = {};
static constinit uint32_t known_format = SDL_PIXELFORMAT_UNKNOWN; /* what they are made for */

static Uint8 widened(uint32_t value, uint32_t most)
{
    return static_cast<Uint8>(value * 255 / most);
}

static void learn(const SDL_PixelFormat *format)
{
    if (known_format == format->format)
        return;
    known_format = format->format;
    for (uint32_t i = 0; i < 32; i++) {
        reds[i] = SDL_MapRGB(format, widened(i, 31), 0, 0);
        blues[i] = SDL_MapRGB(format, 0, 0, widened(i, 31));
    }
    for (uint32_t i = 0; i < 64; i++)
        greens[i] = SDL_MapRGB(format, 0, widened(i, 63), 0);
}

static void paint_row(const uint16_t *from, int32_t width, uint32_t *to, int32_t scale)
{
    for (int32_t x = 0; x < width; x++) {
        const uint32_t pixel =
            reds[from[x] >> 11] | greens[from[x] >> 5 & 63] | blues[from[x] & 31];
        for (int32_t i = 0; i < scale; i++)
            *to++ = pixel;
    }
}

static uint32_t *place_in(SDL_Surface *surface, int32_t x, int32_t y)
{
    auto *row =
        static_cast<uint8_t *>(surface->pixels) + static_cast<ptrdiff_t>(y) * surface->pitch;
    return static_cast<uint32_t *>(static_cast<void *>(row)) + x;
}

/* Whether the part becomes squares that lie within the surface. */
static bool fits(const SDL_Surface *to, const SDL_Rect &part, const SDL_Rect &at)
{
    const int32_t scale = at.w / part.w;
    return scale >= 1 && at.w == part.w * scale && at.h == part.h * scale && at.x >= 0 &&
           at.y >= 0 && at.x + at.w <= to->w && at.y + at.h <= to->h;
}

int sdl_paint(SDL_Surface *from, const SDL_Rect &part, SDL_Surface *to, const SDL_Rect &at)
{
    assert(from->format->format == SDL_PIXELFORMAT_RGB565 && part.w > 0 && part.h > 0);
    if (to->format->BytesPerPixel != 4 || !fits(to, part, at)) {
        SDL_Rect clipped = at; /* it is told there what was painted */
        return SDL_BlitScaled(from, &part, to, &clipped);
    }
    learn(to->format);
    const int32_t scale = at.w / part.w;
    const auto *row =
        static_cast<const uint8_t *>(from->pixels) + static_cast<ptrdiff_t>(part.y) * from->pitch;
    for (int32_t y = 0; y < at.h; y += scale, row += from->pitch) {
        uint32_t *first = place_in(to, at.x, at.y + y);
        paint_row(static_cast<const uint16_t *>(static_cast<const void *>(row)) + part.x, part.w,
                  first, scale);
        for (int32_t i = 1; i < scale; i++)
            memcpy(place_in(to, at.x, at.y + y + i), first,
                   static_cast<size_t>(at.w) * sizeof *first);
    }
    return 0;
}
