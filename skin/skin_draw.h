/* skin_draw: what draws elements and bars that look the same on every screen. The tables of
 * skin_table.h point at these. Main thread. */
#pragma once

#include <cstdint>

struct fb_surface;
struct skin_element;

/* They return what skin_common_behavior() does, for elements whose names have been looked up. */
int skin_draw_image(const skin_element *element, fb_surface *surface);
int skin_draw_bar(const skin_element *element, fb_surface *surface);
int skin_draw_rect(const skin_element *element, fb_surface *surface);

constexpr int64_t skin_bar_full = 1000; /* the value of a bar that is full */

/* A bar, along the direction it grows in. Sizes are 64 bits wide: a skin may declare any. */
struct skin_bar {
    const skin_element *element;
    fb_surface *surface;
    bool vertical;
    int64_t length;       /* of the bar */
    int64_t image_length; /* of its image */
    int64_t value;        /* thousandths of the length, truncated towards zero */
};

void skin_bar_fill(const skin_bar &it);
void skin_bar_fill_reversed(const skin_bar &it);
void skin_bar_move(const skin_bar &it);
void skin_bar_move_reversed(const skin_bar &it);
void skin_bar_part(const skin_bar &it);
void skin_bar_part_reversed(const skin_bar &it);
