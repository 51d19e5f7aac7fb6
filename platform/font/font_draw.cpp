/* font_draw: text on surfaces. */
#include "platform/draw/fb.h"
#include "platform/draw/fb_pixel.h"
#include "platform/draw/fb_trace.h"
#include "platform/font/font_face.h"
#include "platform/font/font_glyph.h"
#include "platform/font/font_line.h"
#include "platform/font/font_state.h"
#include "platform/font/font_wrap.h"

#include <algorithm>
#include <cstring>

/* Half-open, in pixels of the surface. */
struct clip {
    int64_t left, top, right, bottom;
};

/* Red on top of blue, so that both are mixed at once. */
static uint32_t outer_of(uint16_t pixel)
{
    return (pixel & 0xF800u) << 5 | (pixel & 0x001Fu);
}

/* Each channel in its own 5 or 6 bits: full coverage gives the very colour asked for. The same as
 * fb_div255() of each, two of them in one word. */
static uint16_t ink_over(uint16_t under, uint16_t ink, uint32_t coverage)
{
    const uint32_t rest = 255 - coverage;
    uint32_t outer = outer_of(under) * rest + outer_of(ink) * coverage + 0x00800080;
    outer = (outer + (outer >> 8 & 0x00FF00FF)) >> 8;
    const uint32_t green = fb_div255((under >> 5 & 0x3Fu) * rest + (ink >> 5 & 0x3Fu) * coverage);
    return static_cast<uint16_t>((outer >> 5 & 0xF800) | green << 5 | (outer & 0x1F));
}

/* Whether the machine mixes eight pixels at once. One that does not passes over the empty ones. */
#if defined(__SSE2__) || defined(__ARM_NEON)
static constexpr bool has_vectors = true;
#else
static constexpr bool has_vectors = false;
#endif

/* What a row of ink needs of its colour. */
struct ink_channels {
    uint16_t red, green, blue;
};

static uint16_t mixed(uint16_t under, uint16_t ink, uint16_t share)
{
    const auto sum = static_cast<uint16_t>(under * (255 - share) + ink * share + 128);
    return static_cast<uint16_t>(static_cast<uint16_t>(sum + (sum >> 8)) >> 8);
}

/* Eight pixels without a branch, for vectors: no coverage gives what was there, full coverage the ink. */
static void ink_eight(uint16_t *__restrict to, const uint8_t *__restrict coverage,
                      const ink_channels &ink)
{
    for (int i = 0; i < 8; i++) {
        const uint16_t under = to[i], share = coverage[i];
        const uint16_t red = mixed(under >> 11, ink.red, share);
        const uint16_t green = mixed(under >> 5 & 0x3F, ink.green, share);
        const uint16_t blue = mixed(under & 0x1F, ink.blue, share);
        to[i] = static_cast<uint16_t>(red << 11 | green << 5 | blue);
    }
}

static void ink_row(uint16_t *to, const uint8_t *coverage, int64_t count, uint16_t colour,
                    const ink_channels &ink)
{
    for (; has_vectors && count >= 8; count -= 8, to += 8, coverage += 8)
        ink_eight(to, coverage, ink);
    for (int64_t i = 0; i < count; i++)
        if (coverage[i] != 0)
            to[i] = coverage[i] == 255 ? colour : ink_over(to[i], colour, coverage[i]);
}

static void draw_bitmap(fb_surface *surface, const clip &area, const font_bitmap &glyph, int64_t x,
                        int64_t y, uint16_t colour)
{
    const int64_t left = std::max(x, area.left);
    const int64_t right = std::min(x + glyph.width, area.right);
    const int64_t bottom = std::min(y + glyph.height, area.bottom);
    const ink_channels ink = {static_cast<uint16_t>(colour >> 11),
                              static_cast<uint16_t>(colour >> 5 & 0x3F),
                              static_cast<uint16_t>(colour & 0x1F)};
    for (int64_t row = std::max(y, area.top); row < bottom; row++) {
        const uint8_t *coverage = glyph.pixels + (row - y) * glyph.pitch;
        uint16_t *to = surface->pixels + row * surface->stride;
        ink_row(to + left, coverage + (left - x), right - left, colour, ink);
    }
}

/* x, y: left end of the baseline. */
static void draw_line(fb_surface *surface, const clip &area, const font_line &line, int64_t x,
                      int64_t y, int32_t size, uint16_t colour)
{
    for (uint32_t i = 0; i < line.count; i++) {
        const font_place &place = line.places[i];
        const int64_t pen = x + place.x;
        /* No glyph reaches farther from its pen than a few times its size. */
        if (pen > area.right + 8 * size || pen < area.left - 8 * size)
            continue;
        font_bitmap glyph;
        if (font_glyph_get(font_current.glyphs, font_current.faces, place.face, place.glyph, size,
                           &glyph))
            draw_bitmap(surface, area, glyph, pen + glyph.left, y - place.y - glyph.top, colour);
    }
}

/* A box as high as the text still shows descenders and the accents of capitals, which reach beyond
 * the nominal size of every font: without them letters turn into other letters. */
static clip clip_of(const fb_rect &bounds, int32_t x, int32_t y, int32_t w, int32_t h, int32_t size)
{
    clip area = {bounds.x, bounds.y, bounds.x + bounds.w, bounds.y + bounds.h};
    if (w > 0) {
        area.left = std::max<int64_t>(area.left, x);
        area.right = std::min<int64_t>(area.right, static_cast<int64_t>(x) + w);
    }
    if (h > 0) {
        const int32_t overhang = h >= size ? (size + 3) / 4 : 0;
        area.top = std::max<int64_t>(area.top, static_cast<int64_t>(y) - overhang);
        area.bottom = std::min<int64_t>(area.bottom, static_cast<int64_t>(y) + h + overhang);
    }
    return area;
}

/* Where something of `length` begins in a box; a box of 0 has no far side. */
static int64_t start_of(int64_t box_start, int64_t box_length, int64_t length, bool centred,
                        bool far)
{
    if (box_length == 0)
        return box_start;
    if (centred)
        return box_start + (box_length - length) / 2;
    return far ? box_start + box_length - length : box_start;
}

/* Two lines stand a quarter of a letter apart. False when the box has no room for them, or the text
 * no place to part it. */
static bool draw_two_lines(fb_surface *surface, const clip &area, const char *text,
                           const fb_text &box, int32_t size)
{
    const int32_t pitch = size + size / 4, height = size + pitch;
    font_wrap at = {};
    if (box.w < 1 || box.h < height ||
        !font_wrap_find(font_current.lines, font_current.faces, text, size, box.w, &at))
        return false;
    char first[font_wrap_max];
    memcpy(first, text, at.first_end);
    first[at.first_end] = '\0';
    int64_t top =
        start_of(box.y, box.h, height, box.align & fb_align_middle, box.align & fb_align_bottom);
    for (const char *part : {static_cast<const char *>(first), text + at.second_begin}) {
        const font_line line =
            font_line_get(font_current.lines, font_current.faces, part, size, box.w);
        const int64_t left = start_of(box.x, line.width > box.w ? 0 : box.w, line.width,
                                      box.align & fb_align_center, box.align & fb_align_right);
        draw_line(surface, area, line, left, top + font_face_ascent(font_current.faces, size), size,
                  box.colour);
        top += pitch;
    }
    return true;
}

/* The font belongs to what a text looks like. */
static bool trace_text(fb_surface *surface, const fb_text &text, uint32_t align)
{
    if (!surface->trace)
        return fb_trace_note(surface, {}, 0);
    const clip box = clip_of({0, 0, surface->width, surface->height}, text.x, text.y, text.w,
                             text.h, std::min(text.size, font_size_max));
    uint64_t number = fb_trace_mix_text(4, text.text);
    number = fb_trace_mix(number, reinterpret_cast<uintptr_t>(font_current.faces));
    for (const int32_t each : {text.x, text.y, text.w, text.h, text.size})
        number = fb_trace_mix(number, static_cast<uint32_t>(each));
    number = fb_trace_mix(number, uint64_t{align} << 16 | text.colour);
    const fb_rect within = {static_cast<int32_t>(box.left), static_cast<int32_t>(box.top),
                            static_cast<int32_t>(std::max<int64_t>(0, box.right - box.left)),
                            static_cast<int32_t>(std::max<int64_t>(0, box.bottom - box.top))};
    return fb_trace_note(surface, within, number);
}

int fb_draw_text(fb_surface *surface, const char *text, int32_t x, int32_t y, int32_t w, int32_t h,
                 int32_t size, uint16_t colour, uint32_t align)
{
    if (!surface || !text || !*text || w < 0 || h < 0 || size < 1)
        return 0;
    const fb_text note = {x, y, w, h, size, colour, align & ~fb_align_two_lines, text};
    if (!trace_text(surface, note, align))
        return 0;
    if (!surface->quiet)
        fb_text_note(surface, &note);
    if (!font_current.faces)
        return -1;
    const int32_t drawn_size = std::min(size, font_size_max);
    const clip area = clip_of(fb_bounds(surface), x, y, w, h, drawn_size);
    if (area.left >= area.right || area.top >= area.bottom)
        return 0;
    if ((align & fb_align_two_lines) && draw_two_lines(surface, area, text, note, drawn_size))
        return 0;
    const font_line line =
        font_line_get(font_current.lines, font_current.faces, text, drawn_size, w);
    /* A line that is wider than its box, for want of room even for an ellipsis, shows its start. */
    const int32_t box_width = line.width > w ? 0 : w;
    const int64_t left =
        start_of(x, box_width, line.width, align & fb_align_center, align & fb_align_right);
    const int64_t top =
        start_of(y, h, drawn_size, align & fb_align_middle, align & fb_align_bottom);
    draw_line(surface, area, line, left, top + font_face_ascent(font_current.faces, drawn_size),
              drawn_size, colour);
    return 0;
}
