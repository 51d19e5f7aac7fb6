/* contrast: how well one colour stands out from another. */
#pragma once

#include <cstdint>

/* Relative luminance of an RGB565 colour, 0 to 1, after WCAG 2.1. */
double contrast_light(uint16_t colour);
/* From 1 (the same) to 21 (black and white), of two luminances. */
double contrast_between(double one, double other);
