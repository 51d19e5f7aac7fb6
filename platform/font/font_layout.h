/* font_layout: from characters to glyphs in visual order. Private to font*.cpp; main thread. */
#pragma once

#include "platform/font/font_face.h"

constexpr size_t font_text_max = 2048;   /* characters of a line */
constexpr size_t font_glyphs_max = 4096; /* glyphs of a line */

/* Room for one line at work; its arrays are scratch between calls. */
struct font_layout {
    uint32_t text[font_text_max + 3]; /* and an ellipsis */
    size_t length;
    font_glyph glyphs[font_glyphs_max]; /* the result, from left to right */
    size_t glyph_count;
    font_run runs[font_text_max + 3];
    size_t run_count;
    uint8_t levels[font_text_max + 3]; /* bidi levels */
    uint32_t types[font_text_max + 3]; /* bidi classes */
    uint32_t brackets[font_text_max + 3];
    int32_t advances[font_text_max +
                     3]; /* by character, in the order of the text; -1 inside a cluster */
};

/* Lays out layout->text. Returns the width in pixels. */
int32_t font_layout_shape(font_layout *layout, font_faces *faces, int32_t size);
/* Lays out as much of layout->text as fits `limit` pixels with an ellipsis, and lays it out.
 * Returns the width; `width` (of the whole text) and the glyphs stay when not even one character
 * and the ellipsis fit. */
int32_t font_layout_shorten(font_layout *layout, font_faces *faces, int32_t size, int32_t width,
                            int32_t limit);
