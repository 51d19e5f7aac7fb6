/* skin_draw: how the kinds of elements and the types of bars draw. */
#include "skin/skin_draw.h"

#include "platform/draw/fb.h"
#include "platform/image/image.h"
#include "skin/skin.h"
#include "skin/skin_table.h"

#include <algorithm>

constexpr int32_t opaque = 255;
constexpr int64_t longest_surface = 4096; /* pixels */

static int32_t narrow(int64_t value)
{
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

/* Draws `size` of the image along the bar, from `source` of the image to `at` of the bar. */
static void draw_piece(const skin_bar &it, int64_t at, int64_t size, int64_t source)
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
static void draw_tiles(const skin_bar &it, int64_t from, int64_t to)
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

void skin_bar_fill(const skin_bar &it)
{
    draw_tiles(it, 0, it.value);
}

void skin_bar_fill_reversed(const skin_bar &it)
{
    draw_tiles(it, it.length - it.value, it.length);
}

void skin_bar_move(const skin_bar &it)
{
    draw_piece(it, it.value, it.image_length, 0);
}

void skin_bar_move_reversed(const skin_bar &it)
{
    draw_piece(it, it.length - it.value, it.image_length, 0);
}

void skin_bar_part(const skin_bar &it)
{
    draw_piece(it, 0, it.value, 0);
}

/* The offset comes from the bar's length: the image is meant to be exactly that long. */
void skin_bar_part_reversed(const skin_bar &it)
{
    const int64_t hidden = it.length - it.value;
    draw_piece(it, hidden, it.value, hidden);
}

int skin_draw_image(const skin_element *element, fb_surface *surface)
{
    const image *picture = element->image;
    if (picture)
        (void)fb_draw_image(surface, picture, element->x, element->y, picture->width,
                            picture->height, 0, 0, opaque);
    return 1;
}

int skin_draw_bar(const skin_element *element, fb_surface *surface)
{
    const image *picture = element->image;
    const skin_bar_type &type = skin_bar_types[element->means.type];
    if (!type.draw || !picture || picture->width < 1 || picture->height < 1)
        return 0;
    const int64_t length = type.vertical ? element->height : element->width;
    const skin_bar it = {
        .element = element,
        .surface = surface,
        .vertical = type.vertical,
        .length = length,
        .image_length = type.vertical ? picture->height : picture->width,
        .value = element->value * length / skin_bar_full,
    };
    type.draw(it);
    return 0;
}

int skin_draw_rect(const skin_element *element, fb_surface *surface)
{
    (void)fb_draw_rect(surface, element->x, element->y, element->width, element->height,
                       element->color);
    return 0;
}
