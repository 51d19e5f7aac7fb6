/* font_layout: directions (FriBidi), fonts, scripts, shaping and the ellipsis. */
#include "platform/font/font_layout.h"

#include "platform/font/font_emoji.h"

#include <algorithm>
#include <cstring>
#include <fribidi.h>
#include <hb.h>
#include <iterator>

/* Three full stops: fonts for Han centre the one character for it, which looks wrong after any
 * other letter. */
static constexpr uint32_t ellipsis[] = {'.', '.', '.'};
static constexpr size_t ellipsis_length = std::size(ellipsis);

static_assert(sizeof(FriBidiLevel) == 1 && sizeof(FriBidiCharType) == 4);

/* Below the Hebrew block no character asks for right to left. */
static bool may_be_bidi(const font_layout *layout)
{
    return std::any_of(layout->text, layout->text + layout->length, [](uint32_t character) {
        return (character >= 0x0590 && character < 0x0900) || character == 0x200F ||
               (character >= 0x202A && character <= 0x202E) ||
               (character >= 0x2066 && character <= 0x2069) ||
               (character >= 0xFB1D && character < 0xFF00) || character >= 0x10800;
    });
}

/* Most lines go one way; the library, which allocates, is asked only for the others. */
static void set_levels(font_layout *layout)
{
    memset(layout->levels, 0, layout->length);
    if (!may_be_bidi(layout))
        return;
    const FriBidiStrIndex length = static_cast<FriBidiStrIndex>(layout->length);
    FriBidiParType direction = FRIBIDI_PAR_ON;
    fribidi_get_bidi_types(layout->text, length, layout->types);
    fribidi_get_bracket_types(layout->text, length, layout->types, layout->brackets);
    if (fribidi_get_par_embedding_levels_ex(layout->types, layout->brackets, length, &direction,
                                            reinterpret_cast<FriBidiLevel *>(layout->levels)) == 0)
        memset(layout->levels, 0, layout->length); /* out of memory: left to right */
}

/* Blanks, digits, signs and accents belong to whatever stands around them. */
static bool is_own_script(uint32_t script)
{
    return script != HB_SCRIPT_COMMON && script != HB_SCRIPT_INHERITED &&
           script != HB_SCRIPT_UNKNOWN;
}

/* The first script of a text, for what precedes it. */
static uint32_t leading_script(const font_layout *layout)
{
    for (size_t i = 0; i < layout->length; i++) {
        const uint32_t script = hb_unicode_script(hb_unicode_funcs_get_default(), layout->text[i]);
        if (is_own_script(script))
            return script;
    }
    return HB_SCRIPT_LATIN;
}

/* Characters that have no look of their own, or change that of the one before. */
static bool is_attached(uint32_t character)
{
    const hb_unicode_general_category_t category =
        hb_unicode_general_category(hb_unicode_funcs_get_default(), character);
    return category == HB_UNICODE_GENERAL_CATEGORY_NON_SPACING_MARK ||
           category == HB_UNICODE_GENERAL_CATEGORY_ENCLOSING_MARK ||
           category == HB_UNICODE_GENERAL_CATEGORY_SPACING_MARK ||
           category == HB_UNICODE_GENERAL_CATEGORY_FORMAT;
}

/* An accent stays with its letter when that font has it; so do invisible characters, which need no
 * font, and what is joined to an emoji, which is not seen. */
static uint32_t choose_face(const font_layout *layout, font_faces *faces, uint32_t i, uint32_t last)
{
    const uint32_t character = layout->text[i];
    if (font_emoji_goes_on(layout->text, i))
        return last;
    const bool attached = i > 0 && is_attached(character);
    if (attached && font_face_has(faces, last, character))
        return last;
    const uint32_t found = font_face_for(faces, character);
    return attached && found == 0 ? last : found;
}

/* Splits the text where face, script or direction change. */
static void set_runs(font_layout *layout, font_faces *faces)
{
    layout->run_count = 0;
    uint32_t script = leading_script(layout);
    uint32_t face = 0;
    for (uint32_t i = 0; i < layout->length; i++) {
        const uint32_t character = layout->text[i];
        const uint32_t own = hb_unicode_script(hb_unicode_funcs_get_default(), character);
        if (is_own_script(own))
            script = own;
        face = choose_face(layout, faces, i, face);
        font_run *last = layout->run_count ? &layout->runs[layout->run_count - 1] : nullptr;
        if (last && last->face == face && last->script == script &&
            last->level == layout->levels[i])
            last->count++;
        else
            layout->runs[layout->run_count++] = {i, 1, face, script, layout->levels[i]};
    }
}

/* From logical to visual order: stretches of each level and above are turned around, the highest
 * level first. */
static void order_runs(font_layout *layout)
{
    font_run *runs = layout->runs;
    const size_t count = layout->run_count;
    uint8_t highest = 0;
    for (size_t i = 0; i < count; i++)
        highest = std::max(highest, runs[i].level);
    for (uint8_t level = highest; level > 0; level--) {
        for (size_t i = 0; i < count; i++) {
            const size_t start = i;
            while (i < count && runs[i].level >= level)
                i++;
            std::reverse(runs + start, runs + i);
        }
    }
}

/* A font without a sign for joined emoji gives one for each: the first stands for all. */
static void keep_first_signs(font_layout *layout, size_t first_glyph)
{
    size_t kept = first_glyph, last = SIZE_MAX;
    for (size_t i = first_glyph; i < layout->glyph_count; i++) {
        const size_t begin = font_emoji_begin(layout->text, layout->glyphs[i].cluster);
        const bool joined = font_emoji_length(layout->text, layout->length, begin) > 1;
        if (!joined || begin != last)
            layout->glyphs[kept++] = layout->glyphs[i];
        if (joined)
            last = begin;
    }
    layout->glyph_count = kept;
}

int32_t font_layout_shape(font_layout *layout, font_faces *faces, int32_t size)
{
    set_levels(layout);
    set_runs(layout, faces);
    order_runs(layout);
    layout->glyph_count = 0;
    for (size_t i = 0; i < layout->run_count; i++) {
        const size_t before = layout->glyph_count;
        layout->glyph_count += font_face_shape(
            faces, layout->text, layout->length, &layout->runs[i], size,
            layout->glyphs + layout->glyph_count, font_glyphs_max - layout->glyph_count);
        keep_first_signs(layout, before);
    }
    int32_t width = 0;
    for (size_t i = 0; i < layout->glyph_count; i++)
        width += layout->glyphs[i].advance;
    return std::max(width, 0);
}

/* Widths by character, in the order of the text; a character inside a cluster has none. Kerning may
 * move the pen back over all of a letter: then that takes no room. */
static void sum_advances(font_layout *layout)
{
    std::fill_n(layout->advances, layout->length, -1);
    for (size_t i = 0; i < layout->glyph_count; i++) {
        int32_t *advance = &layout->advances[layout->glyphs[i].cluster];
        *advance = std::max(std::max(*advance, 0) + layout->glyphs[i].advance, 0);
    }
}

/* How many characters fit; cuts between clusters only. */
static size_t fitting(const font_layout *layout, int32_t room)
{
    size_t fits = 0;
    int32_t used = 0;
    for (size_t i = 0; i < layout->length; i++) {
        if (layout->advances[i] < 0)
            continue;
        if (used <= room)
            fits = i;
        used += layout->advances[i];
    }
    return fits;
}

/* Shapes the first `kept` characters and the ellipsis behind them. */
static int32_t shape_cut(font_layout *layout, font_faces *faces, int32_t size, size_t kept)
{
    uint32_t replaced[ellipsis_length];
    const size_t length = layout->length;
    std::copy_n(layout->text + kept, ellipsis_length, replaced);
    std::copy_n(ellipsis, ellipsis_length, layout->text + kept);
    layout->length = kept + ellipsis_length;
    const int32_t width = font_layout_shape(layout, faces, size);
    std::copy_n(replaced, ellipsis_length, layout->text + kept);
    layout->length = length;
    return width;
}

int32_t font_layout_shorten(font_layout *layout, font_faces *faces, int32_t size, int32_t width,
                            int32_t limit)
{
    sum_advances(layout);
    const int32_t room = limit - shape_cut(layout, faces, size, 0);
    for (size_t kept = fitting(layout, room); kept > 0;) {
        while (kept > 1 && layout->text[kept - 1] == ' ')
            kept--;
        const int32_t shortened = shape_cut(layout, faces, size, kept);
        if (shortened <= limit)
            return shortened;
        /* Joined letters may be wider at an end than in the middle: one cluster less. */
        do
            kept--;
        while (kept > 0 && layout->advances[kept] < 0);
    }
    /* Dots alone say less than the beginning of the text. */
    (void)font_layout_shape(layout, faces, size);
    return width;
}
