/* skin_behavior: which drawing belongs to an element, and what a finger on it means. */
#include "skin/skin.h"
#include "skin/skin_draw.h"
#include "skin/skin_table.h"

#include <algorithm>

static int32_t narrow(int64_t value)
{
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

static int draw(const skin_element *known, fb_surface *surface)
{
    const skin_kind &kind = skin_kinds[known->means.kind];
    return kind.draw ? kind.draw(known, surface) : 0;
}

int skin_common_behavior(skin_element *element, fb_surface *surface)
{
    if (element->means.looked_up)
        return draw(element, surface);
    skin_element known = *element;
    known.means = skin_look_up(element);
    return draw(&known, surface);
}

bool skin_element_holds(const skin_element *element, int32_t x, int32_t y)
{
    const int64_t right = static_cast<int64_t>(x) - element->x;
    const int64_t down = static_cast<int64_t>(y) - element->y;
    return right >= 0 && right < element->width && down >= 0 && down < element->height;
}

/* The rounding term is half the whole length and the divisor one less than it, so the last pixel
 * of a bar gives exactly 1000, and 1001 on a bar of two pixels. */
static int32_t permillage(int64_t offset, int64_t length)
{
    return length < 2 ? -1 : narrow((offset * skin_bar_full + length / 2) / (length - 1));
}

int32_t skin_get_scroll_permillage(const skin_element *element, int32_t touch_x, int32_t touch_y)
{
    const skin_meaning means = skin_meaning_of(element);
    const skin_bar_type &type = skin_bar_types[means.type];
    if (means.kind != skin_kind_at("scroll") || !type.draggable ||
        !skin_element_holds(element, touch_x, touch_y))
        return -1;
    const int64_t x = static_cast<int64_t>(touch_x) - element->x;
    const int64_t y = static_cast<int64_t>(touch_y) - element->y;
    return type.vertical ? permillage(y, element->height) : permillage(x, element->width);
}
