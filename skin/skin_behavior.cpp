/* skin_behavior: what looks and feels the same on every screen. */
#include "skin/skin_behavior.h"

#include "platform/draw/fb.h"
#include "platform/image/image.h"
#include "skin/skin.h"

#include <algorithm>
#include <cstring>

constexpr int32_t opaque = 255;
constexpr int64_t full = 1000;            /* thousandths */
constexpr int64_t longest_surface = 4096; /* pixels */

/* A bar, along the direction it grows in. Sizes are 64 bits wide: a skin may declare any. */
struct bar {
    const skin_element *element;
    fb_surface *surface;
    bool vertical;
    int64_t length;       /* of the bar */
    int64_t image_length; /* of its image */
    int64_t value;        /* V of the length, truncated towards zero */
};

struct bar_type {
    const char *name;
    bool vertical;
    bool draggable;
    void (*draw)(const bar &it);
};

static int32_t narrow(int64_t value)
{
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

/* Draws `size` of the image along the bar, from `source` of the image to `at` of the bar. */
static void draw_piece(const bar &it, int64_t at, int64_t size, int64_t source)
{
    const skin_element *element = it.element;
    const image *picture = element->image;
    const int64_t left = static_cast<int64_t>(element->x) - element->origin_x;
    const int64_t top = static_cast<int64_t>(element->y) - element->origin_y;
    if (it.vertical)
        (void)fb_draw_image(it.surface, picture, narrow(left), narrow(top + at), picture->width,
                            narrow(size), 0, narrow(source), opaque);
    else
        (void)fb_draw_image(it.surface, picture, narrow(left + at), narrow(top), narrow(size),
                            picture->height, narrow(source), 0, opaque);
}

/* A bar may be declared far longer than any surface: tiles that none can show are left out. */
static void draw_tiles(const bar &it, int64_t from, int64_t to)
{
    const skin_element *element = it.element;
    const int64_t origin = it.vertical ? static_cast<int64_t>(element->y) - element->origin_y
                                       : static_cast<int64_t>(element->x) - element->origin_x;
    const int64_t hidden = -origin - from; /* before the surface's first pixel */
    if (hidden > it.image_length)
        from += hidden / it.image_length * it.image_length;
    to = std::min(to, longest_surface - origin);
    for (int64_t at = from; at < to; at += it.image_length)
        draw_piece(it, at, std::min(it.image_length, to - at), 0);
}

static void fill(const bar &it)
{
    draw_tiles(it, 0, it.value);
}

static void fill_reversed(const bar &it)
{
    draw_tiles(it, it.length - it.value, it.length);
}

static void move(const bar &it)
{
    draw_piece(it, it.value, it.image_length, 0);
}

static void move_reversed(const bar &it)
{
    draw_piece(it, it.length - it.value, it.image_length, 0);
}

static void part(const bar &it)
{
    draw_piece(it, 0, it.value, 0);
}

/* The offset comes from the bar's length: the image is meant to be exactly that long. */
static void part_reversed(const bar &it)
{
    const int64_t hidden = it.length - it.value;
    draw_piece(it, hidden, it.value, hidden);
}

static const bar_type bar_types[] = {
    {"fill-x", false, true, fill}, {"fill-x-rev", false, false, fill_reversed},
    {"fill-y", true, true, fill},  {"fill-y-rev", true, false, fill_reversed},
    {"move-x", false, true, move}, {"move-x-rev", false, false, move_reversed},
    {"move-y", true, true, move},  {"move-y-rev", true, false, move_reversed},
    {"part-x", false, true, part}, {"part-x-rev", false, false, part_reversed},
    {"part-y", true, true, part},  {"part-y-rev", true, false, part_reversed},
};

static const bar_type *find_bar_type(const char *name)
{
    for (const bar_type &type : bar_types)
        if (name && strcmp(type.name, name) == 0)
            return &type;
    return nullptr;
}

bool skin_find_bar_kind(const char *type, skin_bar_kind *kind)
{
    const bar_type *found = find_bar_type(type);
    if (!found)
        return false;
    *kind = {found->vertical, found->draggable, found->draw == part_reversed};
    return true;
}

static int draw_image(skin_element *element, fb_surface *surface)
{
    const image *picture = element->image;
    if (picture)
        (void)fb_draw_image(surface, picture, element->x, element->y, picture->width,
                            picture->height, 0, 0, opaque);
    return 1;
}

static int draw_bar(skin_element *element, fb_surface *surface)
{
    const image *picture = element->image;
    const bar_type *type = find_bar_type(element->type);
    if (!type || !picture || picture->width < 1 || picture->height < 1)
        return 0;
    const int64_t length = type->vertical ? element->height : element->width;
    const bar it = {
        .element = element,
        .surface = surface,
        .vertical = type->vertical,
        .length = length,
        .image_length = type->vertical ? picture->height : picture->width,
        .value = element->value * length / full,
    };
    type->draw(it);
    return 0;
}

static int draw_rect(skin_element *element, fb_surface *surface)
{
    (void)fb_draw_rect(surface, element->x, element->y, element->width, element->height,
                       element->color);
    return 0;
}

struct behavior {
    const char *name;
    int (*draw)(skin_element *element, fb_surface *surface);
};

static const behavior behaviors[] = {
    {"img", draw_image},
    {"button", draw_image},
    {"scroll", draw_bar},
    {"rect", draw_rect},
};

int skin_common_behavior(skin_element *element, fb_surface *surface)
{
    for (const behavior &known : behaviors)
        if (strcmp(known.name, element->name) == 0)
            return known.draw(element, surface);
    return 0;
}

/* The rounding term is half the whole length and the divisor one less than it, so the last pixel
 * of a bar gives exactly 1000, and 1001 on a bar of two pixels. */
static int32_t permillage(int64_t offset, int64_t length)
{
    return length < 2 ? -1 : narrow((offset * full + length / 2) / (length - 1));
}

int32_t skin_get_scroll_permillage(const skin_element *element, int32_t touch_x, int32_t touch_y)
{
    if (strcmp(element->name, "scroll") != 0)
        return -1;
    const bar_type *type = find_bar_type(element->type);
    const int64_t x = static_cast<int64_t>(touch_x) - element->x;
    const int64_t y = static_cast<int64_t>(touch_y) - element->y;
    if (!type || !type->draggable)
        return -1;
    if (x < 0 || x >= element->width || y < 0 || y >= element->height)
        return -1;
    return type->vertical ? permillage(y, element->height) : permillage(x, element->width);
}
