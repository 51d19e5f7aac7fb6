/* font_face: the open fonts, the chosen one first, then the fallbacks. Private to font*.cpp; main
 * thread only. Lengths are in pixels. */
#pragma once

#include <cstddef>
#include <cstdint>

struct font_faces;

constexpr uint32_t font_faces_max = 64; /* opened fonts */

/* One glyph of a shaped run, in visual order from left to right. */
struct font_glyph {
    uint32_t glyph;   /* index in its face */
    uint32_t cluster; /* index of the first character it stands for */
    int32_t advance;  /* how far the pen moves after it */
    int32_t x, y;     /* offset from the pen, y upwards */
    uint32_t face;
};

/* A stretch of characters of one face, script and direction. */
struct font_run {
    uint32_t start, count; /* characters */
    uint32_t face;
    uint32_t script; /* ISO 15924 tag */
    uint8_t level;   /* bidi level, odd = right to left */
};

/* A drawn glyph. */
struct font_bitmap {
    int32_t left, top; /* pixels from the pen to the left edge, from the baseline up to the top */
    int32_t width, height;
    int32_t pitch;         /* bytes a row */
    const uint8_t *pixels; /* coverage 0..255, valid until the next glyph is drawn */
};

/* Null when the file is no scalable font or memory runs out. */
font_faces *font_faces_open(const char *path);
/* Accepts null. */
void font_faces_close(font_faces *faces);
/* The face for a character; 0 when none has it. May open further fallbacks. */
uint32_t font_face_for(font_faces *faces, uint32_t character);
bool font_face_has(const font_faces *faces, uint32_t face, uint32_t character);
/* Pixels from the top of a line of `size` pixels down to the baseline. */
int32_t font_face_ascent(const font_faces *faces, int32_t size);
/* Shapes a run of `text` (`length` characters, the run's neighbours are context). Returns the
 * glyphs written, at most `room`. */
size_t font_face_shape(font_faces *faces, const uint32_t *text, size_t length, const font_run *run,
                       int32_t size, font_glyph *to, size_t room);
/* False: nothing to see. */
bool font_face_render(font_faces *faces, uint32_t face, uint32_t glyph, int32_t size,
                      font_bitmap *out);
/* Lets the pages of the files go, when no glyph was drawn since the call before. */
void font_faces_rest(font_faces *faces);
