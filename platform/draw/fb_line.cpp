/* fb_line: straight lines between any two points. */
#include "platform/draw/fb_trace.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>

/* A line walked along its longer direction, `major` growing. The same pixels come out whichever
 * end is named first. */
struct line_walk {
    int64_t major;     /* of the pixel reached */
    int64_t minor;     /* of the pixel reached */
    int64_t major_end; /* last pixel */
    uint64_t length;   /* major distance of the end points */
    uint64_t rise;     /* minor distance of the end points, at most `length` */
    uint64_t error;    /* (steps * rise + length / 2) % length */
    int minor_step;    /* -1 or 1 */
};

/* Goes `steps` pixels at once, for a start far outside the surface. The product of steps and rise
 * needs 65 bits, hence the division bit by bit. */
static void walk_skip(line_walk *line, uint64_t steps)
{
    assert(line->length > 0 && line->rise <= line->length);
    uint64_t quotient = 0;
    uint64_t rest = 0;
    for (int bit = 32; bit >= 0; bit--) {
        quotient *= 2;
        rest = rest * 2 + (steps >> bit & 1 ? line->rise : 0);
        for (; rest >= line->length; rest -= line->length)
            quotient++;
    }
    rest += line->length / 2;
    if (rest >= line->length) {
        rest -= line->length;
        quotient++;
    }
    line->error = rest;
    line->major += static_cast<int64_t>(steps);
    line->minor += line->minor_step * static_cast<int64_t>(quotient);
}

static void walk_step(line_walk *line)
{
    assert(line->error < line->length);
    line->major++;
    line->error += line->rise;
    if (line->error >= line->length) {
        line->error -= line->length;
        line->minor += line->minor_step;
    }
}

static line_walk walk_make(int64_t major1, int64_t minor1, int64_t major2, int64_t minor2)
{
    if (major2 < major1) {
        std::swap(major1, major2);
        std::swap(minor1, minor2);
    }
    line_walk line = {};
    line.major = major1;
    line.minor = minor1;
    line.major_end = major2;
    line.length = static_cast<uint64_t>(major2 - major1);
    line.rise = static_cast<uint64_t>(std::llabs(minor2 - minor1));
    line.error = line.length / 2;
    line.minor_step = minor2 < minor1 ? -1 : 1;
    return line;
}

/* The box of a line; a side that has more pixels than a number can tell is cut at its far end. */
static fb_rect box_of(int32_t x1, int32_t y1, int32_t x2, int32_t y2)
{
    const auto length = [](int32_t a, int32_t b) {
        return static_cast<int32_t>(std::min<int64_t>(std::llabs(int64_t{a} - b) + 1, INT32_MAX));
    };
    return {std::min(x1, x2), std::min(y1, y2), length(x1, x2), length(y1, y2)};
}

static uint64_t number_of(int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint16_t colour)
{
    uint64_t number = fb_trace_mix(2, colour);
    for (const int32_t each : {x1, y1, x2, y2})
        number = fb_trace_mix(number, static_cast<uint32_t>(each));
    return number;
}

int fb_draw_line(fb_surface *surface, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                 uint16_t colour)
{
    if (!surface)
        return 0;
    if (y1 == y2 && x1 == x2)
        return fb_draw_rect(surface, x1, y1, 1, 1, colour);
    if (!fb_trace_note(surface, box_of(x1, y1, x2, y2), number_of(x1, y1, x2, y2, colour)))
        return 0;
    const fb_rect bounds = fb_bounds(surface);
    const bool steep = std::llabs(static_cast<int64_t>(y2) - y1) >
                       std::llabs(static_cast<int64_t>(x2) - x1); /* y is the major direction */
    line_walk line = steep ? walk_make(y1, x1, y2, x2) : walk_make(x1, y1, x2, y2);
    const int32_t major_size = steep ? surface->height : surface->width;
    const int32_t minor_size = steep ? surface->width : surface->height;
    if (line.major_end < 0)
        return 0;
    if (line.major < 0)
        walk_skip(&line, static_cast<uint64_t>(-line.major));
    const int64_t end = std::min<int64_t>(line.major_end, major_size - 1);
    for (; line.major <= end; walk_step(&line)) {
        if (line.minor < 0 || line.minor >= minor_size)
            continue;
        const int64_t x = steep ? line.minor : line.major;
        const int64_t y = steep ? line.major : line.minor;
        if (x < bounds.x || x >= bounds.x + bounds.w || y < bounds.y || y >= bounds.y + bounds.h)
            continue;
        surface->pixels[y * surface->stride + x] = colour;
    }
    return 0;
}
