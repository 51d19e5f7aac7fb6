/* font_line: one line of text as placed glyphs. Private to font*.cpp; main thread only. */
#pragma once

#include "platform/font/font_face.h"

struct font_lines;

/* A glyph and where it stands. */
struct font_place {
    uint32_t glyph;
    int32_t x; /* pixels from the line's left edge to the pen */
    int16_t y; /* pixels above the baseline */
    uint16_t face;
};

struct font_line {
    const font_place *places; /* from left to right */
    uint32_t count;
    int32_t width; /* pixels */
};

/* Null when memory runs out. */
font_lines *font_lines_new();
/* Accepts null. */
void font_lines_free(font_lines *lines);
/* Lays a text out at a size. Characters after the first 2048 are left out.
 *   limit  pixels; a wider line ends in an ellipsis if that fits. 0 = no limit
 * The line is valid until the next call. */
font_line font_line_get(font_lines *lines, font_faces *faces, const char *text, int32_t size,
                        int32_t limit);
