/* image_span: the runs that a picture with alpha is drawn by. Shared by image_dither.cpp, which
 * makes them, and fb_image.cpp, which draws them.
 *
 * Skin pictures with alpha are opaque or empty in long runs, with blended edges between. The runs
 * are sorted by row, then from left to right; what no run covers is empty. */
#pragma once

#include <cstdint>

struct image_span {
    uint16_t y;      /* row */
    uint16_t x;      /* first pixel */
    uint16_t length; /* pixels, at least 1 */
    uint16_t opaque; /* 1: the pixels stand in image.runs, ready to be copied; 0: to be blended */
    uint32_t first;  /* of an opaque run: index of its first pixel in image.runs */
};
