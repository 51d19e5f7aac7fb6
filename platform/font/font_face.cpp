/* font_face: fonts through FreeType (outlines to pixels) and HarfBuzz (characters to glyphs). Both
 * look at one mapping of the file, so an open font costs little memory of our own. */
#include "platform/font/font_face.h"

#include "platform/base/str.h"
#include "platform/file/file.h"
#include "platform/font/font_map.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <hb.h>

/* Symbols and scripts that the chosen font may lack, in the order tried; then letters that a Latin
 * font chosen by the user lacks. */
static constexpr const char *fallback_names[] = {"DejaVuSans.ttf", "QuenlyAquaEJ.ttf",
                                                 "wqy-microhei.ttc"};
/* Null: the folder of the chosen font, so that a program folder can bring its own. */
static constexpr const char *fallback_folders[] = {
    nullptr,
    "/usr/share/fonts/truetype/dejavu",
    "/usr/share/fonts/truetype/wqy",
    "/usr/share/fonts/truetype",
    "/usr/share/fonts/TTF",
    "/usr/share/fonts/dejavu",
    "/usr/share/fonts/wqy-microhei",
    "/usr/share/fonts",
};

struct face {
    font_map map;
    hb_blob_t *blob; /* the same */
    hb_font_t *shaper;
    FT_Face outlines;
    int32_t pixel_size; /* what the outlines are set to */
};

struct font_faces {
    FT_Library library;
    hb_buffer_t *buffer;
    hb_language_t language;
    face faces[font_faces_max];
    uint32_t count;
    uint32_t rests_due;  /* calls of font_faces_rest() until the pages of the files go */
    file_listing folder; /* of further fallbacks, opened when a character asks for them */
    uint32_t folder_next;
};

static void face_close(face *old)
{
    if (old->shaper)
        hb_font_destroy(old->shaper);
    if (old->outlines)
        FT_Done_Face(old->outlines);
    if (old->blob)
        hb_blob_destroy(old->blob);
    font_map_close(&old->map);
    *old = {};
}

static int open_outlines(FT_Library library, face *made)
{
    if (FT_New_Memory_Face(library, static_cast<const FT_Byte *>(made->map.bytes),
                           static_cast<FT_Long>(made->map.size), 0, &made->outlines))
        return -1;
    return FT_IS_SCALABLE(made->outlines) && made->outlines->units_per_EM > 0 ? 0 : -1;
}

static int face_open(FT_Library library, face *made, const char *path)
{
    if (font_map_open(&made->map, path) != 0)
        return -1;
    made->blob = hb_blob_create(static_cast<const char *>(made->map.bytes),
                                static_cast<unsigned>(made->map.size), HB_MEMORY_MODE_READONLY,
                                nullptr, nullptr);
    hb_face_t *tables = hb_face_create(made->blob, 0);
    made->shaper = hb_font_create(tables);
    hb_face_destroy(tables); /* the font keeps it */
    if (open_outlines(library, made)) {
        face_close(made);
        return -1;
    }
    return 0;
}

/* Whether two names mean one file, so that no font is its own fallback. */
static bool is_open_already(const font_faces *faces, const face *candidate)
{
    const size_t length = candidate->map.size;
    for (uint32_t i = 0; i < faces->count; i++) {
        const font_map *other = &faces->faces[i].map;
        /* The heads of two fonts differ in their checksums. */
        if (length == other->size &&
            memcmp(candidate->map.bytes, other->bytes, std::min<size_t>(length, 4096)) == 0)
            return true;
    }
    return false;
}

static int add_fallback(font_faces *faces, const char *path)
{
    face made = {};
    if (faces->count == font_faces_max || face_open(faces->library, &made, path))
        return -1;
    if (is_open_already(faces, &made))
        face_close(&made);
    else
        faces->faces[faces->count++] = made;
    return 0;
}

/* The first place that has a fallback wins; a machine without any draws boxes. */
static void add_fallbacks(font_faces *faces, const char *path)
{
    const char *slash = strrchr(path, '/');
    const int folder_length = slash ? static_cast<int>(slash - path) + 1 : 0;
    for (const char *name : fallback_names) {
        for (const char *folder : fallback_folders) {
            char candidate[4096];
            const bool whole = folder ? str_format(candidate, "%s/%s", folder, name)
                                      : str_format(candidate, "%.*s%s", folder_length, path, name);
            if (whole && add_fallback(faces, candidate) == 0)
                break;
        }
    }
}

/* The folder "fonts" beside the chosen font: any number of scripts, each in a font of its own. */
static void list_folder(font_faces *faces, const char *path)
{
    const char *slash = strrchr(path, '/');
    const int folder_length = slash ? static_cast<int>(slash - path) + 1 : 0;
    char folder[4096];
    if (!str_format(folder, "%.*sfonts", folder_length, path) ||
        file_list_dir(&faces->folder, folder, nullptr) != 0)
        return;
    faces->folder_next = faces->folder.dir_count;
}

/* Opens the next font of the folder. False when there is none left. */
static bool open_next(font_faces *faces)
{
    const uint32_t before = faces->count;
    while (faces->count == before && faces->count < font_faces_max &&
           faces->folder_next < faces->folder.count)
        (void)add_fallback(faces,
                           faces->folder.paths[faces->folder_next++]); /* no font: the next */
    return faces->count > before;
}

font_faces *font_faces_open(const char *path)
{
    font_faces *faces = static_cast<font_faces *>(calloc(1, sizeof *faces));
    if (!faces)
        return nullptr;
    faces->buffer = hb_buffer_create();
    /* A fixed language: the process locale changes while the program runs, pixels must not. */
    faces->language = hb_language_from_string("en", -1);
    if (FT_Init_FreeType(&faces->library) || face_open(faces->library, &faces->faces[0], path)) {
        font_faces_close(faces);
        return nullptr;
    }
    faces->count = 1;
    add_fallbacks(faces, path);
    list_folder(faces, path);
    return faces;
}

void font_faces_close(font_faces *faces)
{
    if (!faces)
        return;
    for (uint32_t i = 0; i < faces->count; i++)
        face_close(&faces->faces[i]);
    hb_buffer_destroy(faces->buffer);
    (void)file_free_dir(&faces->folder);
    if (faces->library)
        FT_Done_FreeType(faces->library);
    free(faces);
}

bool font_face_has(const font_faces *faces, uint32_t face, uint32_t character)
{
    assert(face < faces->count);
    hb_codepoint_t glyph = 0;
    return hb_font_get_nominal_glyph(faces->faces[face].shaper, character, &glyph) != 0;
}

uint32_t font_face_for(font_faces *faces, uint32_t character)
{
    for (uint32_t i = 0; i < faces->count || open_next(faces); i++)
        if (font_face_has(faces, i, character))
            return i;
    return 0;
}

int32_t font_face_ascent(const font_faces *faces, int32_t size)
{
    /* Accents and descenders together are higher than the nominal size; a line is centred on it,
     * so that letters stand in the middle of a box of that height. */
    const FT_Face outlines = faces->faces[0].outlines;
    const int64_t rise = outlines->ascender;
    const int64_t fall = -outlines->descender;
    const int64_t em = outlines->units_per_EM;
    return static_cast<int32_t>((size * (em + rise - fall) + em) / (2 * em));
}

/* Whole pixels from glyph to glyph: a letter looks the same wherever it stands, and is drawn once.
 * Light hinting leaves widths alone, so that is the place to round them. */
static int32_t whole_pixels(hb_position_t length)
{
    return (length + 32) >> 6;
}

/* A font may claim any width; the widest honest sign, a line of prayer, has some twenty ems. The
 * widths of a whole line are summed up. */
static int32_t pen_step(hb_position_t length, int32_t size)
{
    constexpr int32_t most_ems = 64;
    return std::clamp(whole_pixels(length), -most_ems * size, most_ems * size);
}

size_t font_face_shape(font_faces *faces, const uint32_t *text, size_t length, const font_run *run,
                       int32_t size, font_glyph *to, size_t room)
{
    assert(run->face < faces->count && run->start + run->count <= length);
    hb_font_t *shaper = faces->faces[run->face].shaper;
    hb_buffer_t *buffer = faces->buffer;
    hb_font_set_scale(shaper, size * 64, size * 64);
    hb_buffer_clear_contents(buffer);
    hb_buffer_add_codepoints(buffer, text, static_cast<int>(length), run->start,
                             static_cast<int>(run->count));
    hb_buffer_set_direction(buffer, run->level & 1 ? HB_DIRECTION_RTL : HB_DIRECTION_LTR);
    hb_buffer_set_script(buffer, static_cast<hb_script_t>(run->script));
    hb_buffer_set_language(buffer, faces->language);
    hb_shape(shaper, buffer, nullptr, 0);
    unsigned count = 0;
    const hb_glyph_info_t *info = hb_buffer_get_glyph_infos(buffer, &count);
    const hb_glyph_position_t *position = hb_buffer_get_glyph_positions(buffer, &count);
    size_t written = 0;
    for (; written < count && written < room; written++)
        to[written] = {info[written].codepoint,
                       info[written].cluster,
                       pen_step(position[written].x_advance, size),
                       whole_pixels(position[written].x_offset),
                       whole_pixels(position[written].y_offset),
                       run->face};
    return written;
}

/* Light hinting snaps heights to the pixel grid and leaves widths alone. */
static bool render_light(FT_Face outlines, uint32_t glyph)
{
    if (FT_Load_Glyph(outlines, glyph, FT_LOAD_TARGET_LIGHT | FT_LOAD_NO_BITMAP))
        return false;
    return FT_Render_Glyph(outlines->glyph, FT_RENDER_MODE_NORMAL) == 0;
}

bool font_face_render(font_faces *faces, uint32_t face_index, uint32_t glyph, int32_t size,
                      font_bitmap *out)
{
    assert(face_index < faces->count);
    face *from = &faces->faces[face_index];
    faces->rests_due = 2;
    if (from->pixel_size != size) {
        if (FT_Set_Pixel_Sizes(from->outlines, 0, static_cast<FT_UInt>(size)))
            return false;
        from->pixel_size = size;
    }
    if (!render_light(from->outlines, glyph))
        return false;
    const FT_GlyphSlot slot = from->outlines->glyph;
    const FT_Bitmap &bitmap = slot->bitmap;
    if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || bitmap.pitch < 0 || !bitmap.buffer)
        return false;
    *out = {slot->bitmap_left,
            slot->bitmap_top,
            static_cast<int32_t>(bitmap.width),
            static_cast<int32_t>(bitmap.rows),
            bitmap.pitch,
            bitmap.buffer};
    return out->width > 0 && out->height > 0;
}

void font_faces_rest(font_faces *faces)
{
    if (faces->rests_due == 0 || --faces->rests_due > 0)
        return;
    for (uint32_t i = 0; i < faces->count; i++)
        font_map_rest(&faces->faces[i].map);
}
