/* font_line: laid-out lines, the recent ones kept. A screen draws the same thirty lines again and
 * again; a kept line costs a look instead of shaping. */
#include "platform/font/font_line.h"

#include "platform/font/font_layout.h"
#include "platform/font/font_utf8.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

static constexpr uint32_t kept_max = 48;
static constexpr uint32_t kept_text_size = 256; /* bytes with the end; longer texts are not kept */
static constexpr uint32_t kept_glyphs_max = 128;

struct kept_line {
    uint32_t hash;
    uint32_t used_at; /* clock of the last use, 0: free */
    int32_t size;
    int32_t limit;
    int32_t width;
    uint32_t count;
    char text[kept_text_size];
    font_place places[kept_glyphs_max];
};

struct font_lines {
    uint32_t clock;
    kept_line kept[kept_max];
    font_layout layout;
    font_place places[font_glyphs_max]; /* of a line that is not kept */
};

font_lines *font_lines_new()
{
    return static_cast<font_lines *>(calloc(1, sizeof(font_lines)));
}

void font_lines_free(font_lines *lines)
{
    free(lines);
}

static uint32_t hash_of(const char *text, size_t length, int32_t size, int32_t limit)
{
    uint32_t hash =
        2166136261u ^ static_cast<uint32_t>(size) * 31u ^ static_cast<uint32_t>(limit) * 131071u;
    for (size_t i = 0; i < length; i++)
        hash = (hash ^ static_cast<uint8_t>(text[i])) * 16777619u;
    return hash;
}

static kept_line *find_kept(font_lines *lines, const char *text, uint32_t hash, int32_t size,
                            int32_t limit)
{
    for (kept_line &line : lines->kept)
        if (line.used_at && line.hash == hash && line.size == size && line.limit == limit &&
            strcmp(line.text, text) == 0)
            return &line;
    return nullptr;
}

/* A free place or the one not used for longest. */
static kept_line *oldest(font_lines *lines)
{
    return std::min_element(
        lines->kept, lines->kept + kept_max,
        [](const kept_line &a, const kept_line &b) { return a.used_at < b.used_at; });
}

/* After four thousand million lines the clock starts over, and the kept ones with it. */
static uint32_t next_clock(font_lines *lines)
{
    if (++lines->clock == 0) {
        for (kept_line &line : lines->kept)
            line.used_at = 0;
        lines->clock = 1;
    }
    return lines->clock;
}

static font_line place_glyphs(font_lines *lines, int32_t width)
{
    const font_layout *layout = &lines->layout;
    int32_t pen = 0;
    for (size_t i = 0; i < layout->glyph_count; i++) {
        const font_glyph *glyph = &layout->glyphs[i];
        lines->places[i] = {glyph->glyph, pen + glyph->x,
                            static_cast<int16_t>(std::clamp(glyph->y, INT16_MIN, INT16_MAX)),
                            static_cast<uint16_t>(glyph->face)};
        pen += glyph->advance;
    }
    return {lines->places, static_cast<uint32_t>(layout->glyph_count), width};
}

static font_line lay_out(font_lines *lines, font_faces *faces, const char *text, int32_t size,
                         int32_t limit)
{
    font_layout *layout = &lines->layout;
    layout->length = font_utf8_decode(text, layout->text, font_text_max);
    if (layout->length == 0)
        return {lines->places, 0, 0};
    int32_t width = font_layout_shape(layout, faces, size);
    if (limit > 0 && width > limit)
        width = font_layout_shorten(layout, faces, size, width, limit);
    return place_glyphs(lines, width);
}

font_line font_line_get(font_lines *lines, font_faces *faces, const char *text, int32_t size,
                        int32_t limit)
{
    const size_t length = strlen(text);
    const bool is_short = length < kept_text_size;
    const uint32_t hash = is_short ? hash_of(text, length, size, limit) : 0;
    kept_line *line = is_short ? find_kept(lines, text, hash, size, limit) : nullptr;
    if (!line) {
        const font_line made = lay_out(lines, faces, text, size, limit);
        if (!is_short || made.count > kept_glyphs_max)
            return made;
        line = oldest(lines);
        line->hash = hash;
        line->size = size;
        line->limit = limit;
        line->width = made.width;
        line->count = made.count;
        memcpy(line->text, text, length + 1);
        std::copy_n(made.places, made.count, line->places);
    }
    line->used_at = next_clock(lines);
    return {line->places, line->count, line->width};
}
