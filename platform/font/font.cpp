/* font: opens and closes the font, and measures text. */
#include "platform/font/font.h"

#include "platform/base/fault.h"
#include "platform/font/font_face.h"
#include "platform/font/font_glyph.h"
#include "platform/font/font_line.h"
#include "platform/font/font_state.h"

#include <algorithm>

constinit font_state font_current = {};

static void release(font_state *old)
{
    font_lines_free(old->lines);
    font_glyphs_free(old->glyphs);
    font_faces_close(old->faces);
    *old = {};
}

int font_open(const char *path)
{
    if (fault_hit("font_open") || !path)
        return -1;
    font_state made = {};
    made.faces = font_faces_open(path);
    made.glyphs = font_glyphs_new();
    made.lines = font_lines_new();
    if (!made.faces || !made.glyphs || !made.lines) {
        release(&made);
        return -1;
    }
    release(&font_current);
    font_current = made;
    return 0;
}

int font_close()
{
    release(&font_current);
    return fault_hit("font_close") ? -1 : 0;
}

void font_rest()
{
    if (font_current.faces)
        font_faces_rest(font_current.faces);
}

int font_text_width(const char *text, int size)
{
    if (!font_current.faces || !text || size < 1)
        return 0;
    return font_line_get(font_current.lines, font_current.faces, text,
                         std::min(size, font_size_max), 0)
        .width;
}
