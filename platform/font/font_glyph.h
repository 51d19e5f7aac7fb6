/* font_glyph: drawn glyphs, kept for the next time. Private to font*.cpp; main thread only. */
#pragma once

#include "platform/font/font_face.h"

struct font_glyphs;

/* Null when memory runs out. */
font_glyphs *font_glyphs_new();
/* Accepts null. */
void font_glyphs_free(font_glyphs *cache);
/* Finds or draws a glyph. False: nothing to see. The pixels stay valid until the next call. */
bool font_glyph_get(font_glyphs *cache, font_faces *faces, uint32_t face, uint32_t glyph,
                    int32_t size, font_bitmap *out);
