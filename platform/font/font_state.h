/* font_state: the font that is open. Private to font*.cpp; main thread only. */
#pragma once

struct font_faces;
struct font_glyphs;
struct font_lines;

struct font_state {
    font_faces *faces; /* null while no font is open; the others too */
    font_glyphs *glyphs;
    font_lines *lines;
};

extern font_state font_current;

/* Sizes above 512 draw as 512. */
constexpr int font_size_max = 512;
