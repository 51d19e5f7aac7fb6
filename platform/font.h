/* font: the face that fb_draw_text() draws with. Main thread only. */
#pragma once

/* Opens the font file (face 0 of a collection) and the fallback fonts for what it lacks.
 * Replaces a font that is open; on -1 that one stays. */
[[nodiscard]] int font_open(const char *path);
/* Frees faces and cached glyphs. Accepts a font that was never opened. */
int font_close();
/* Width in pixels of a text at a size, 0 without a font. */
int font_text_width(const char *text, int size);
