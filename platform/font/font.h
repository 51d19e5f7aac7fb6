/* font: the face that fb_draw_text() draws with. Main thread only. */
#pragma once

/* Opens the font file (face 0 of a collection) and the fallback fonts for what it lacks, from the
 * same folder or the system's; then those of the folder "fonts" beside it, in the order of their
 * names, each when a letter first asks for it. Replaces a font that is open; on -1 that one stays. The files stay
 * mapped: whoever updates one renames a new file over it and never writes into it. */
[[nodiscard]] int font_open(const char *path);
/* Frees faces and cached glyphs. Accepts a font that was never opened. */
int font_close();
/* To be called now and then. Lets go of what drawing letters for the first time has touched of the
 * files, once that is over: drawn letters are kept, and the kernel maps sixteen pages for one. */
void font_rest();
/* Width in pixels of a text at a size, 0 without a font. Here and in fb_draw_text() sizes above 512
 * count as 512, and characters after the first 2048 are left out. */
int font_text_width(const char *text, int size);
