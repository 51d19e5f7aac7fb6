/* font_glyph: a table of drawn glyphs with their pixels in one block of memory. A full cache starts
 * anew: a screen needs a tenth of it, so that happens once in many screens of Han, and keeping
 * track of the oldest glyph would cost every draw. */
#include "platform/font/font_glyph.h"

#include <cassert>
#include <cstdlib>
#include <cstring>

static constexpr uint32_t slot_count = 2048; /* a power of two */
static constexpr uint32_t slots_used_max = slot_count * 3 / 4;
/* 1000 Han of 16 pixels. Pages are touched, and thereby paid, as they fill. */
static constexpr uint32_t pixels_size = 256 * 1024;
/* Larger glyphs are drawn anew each time, lest a few of them push out everything else. */
static constexpr uint32_t glyph_size_max = pixels_size / 8;

struct slot {
    uint32_t glyph;
    uint16_t size; /* 0: the slot is free */
    uint16_t face;
    int16_t left, top;
    uint16_t width, height; /* both 0: nothing to see */
    uint32_t first;         /* index of the first byte of its pixels */
};

struct font_glyphs {
    slot slots[slot_count];
    uint32_t used;
    uint32_t pixels_used;
    uint8_t pixels[pixels_size];
};

font_glyphs *font_glyphs_new()
{
    return static_cast<font_glyphs *>(calloc(1, sizeof(font_glyphs)));
}

void font_glyphs_free(font_glyphs *cache)
{
    free(cache);
}

static void start_anew(font_glyphs *cache)
{
    memset(cache->slots, 0, sizeof cache->slots);
    cache->used = 0;
    cache->pixels_used = 0;
}

/* The slot of a glyph, or the free one where it belongs. */
static slot *find(font_glyphs *cache, const slot *key)
{
    uint32_t hash = key->glyph * 2654435761u;
    hash ^= static_cast<uint32_t>(key->size << 8 | key->face) * 2246822519u;
    hash ^= hash >> 15;
    for (uint32_t i = hash;; i++) {
        slot *at = &cache->slots[i & (slot_count - 1)];
        if (at->size == 0 ||
            (at->glyph == key->glyph && at->size == key->size && at->face == key->face))
            return at;
    }
}

static void keep(font_glyphs *cache, slot *key, const font_bitmap *drawn)
{
    assert(key->size > 0); /* 0 marks a free slot */
    const uint32_t bytes =
        static_cast<uint32_t>(drawn->width) * static_cast<uint32_t>(drawn->height);
    if (cache->used >= slots_used_max || bytes > pixels_size - cache->pixels_used)
        start_anew(cache);
    key->left = static_cast<int16_t>(drawn->left);
    key->top = static_cast<int16_t>(drawn->top);
    key->width = static_cast<uint16_t>(drawn->width);
    key->height = static_cast<uint16_t>(drawn->height);
    key->first = cache->pixels_used;
    for (int32_t y = 0; y < drawn->height; y++)
        memcpy(cache->pixels + key->first +
                   static_cast<size_t>(y) * static_cast<size_t>(drawn->width),
               drawn->pixels + static_cast<ptrdiff_t>(y) * drawn->pitch,
               static_cast<size_t>(drawn->width));
    cache->pixels_used += bytes;
    cache->used++;
    *find(cache, key) = *key;
}

bool font_glyph_get(font_glyphs *cache, font_faces *faces, uint32_t face, uint32_t glyph,
                    int32_t size, font_bitmap *out)
{
    slot key = {};
    key.glyph = glyph;
    key.size = static_cast<uint16_t>(size);
    key.face = static_cast<uint16_t>(face);
    const slot *found = find(cache, &key);
    if (found->size == 0) {
        font_bitmap drawn = {};
        if (!font_face_render(faces, face, glyph, size, &drawn))
            drawn = {}; /* blanks are remembered too */
        if (static_cast<uint32_t>(drawn.width) * static_cast<uint32_t>(drawn.height) >
            glyph_size_max) {
            *out = drawn;
            return true;
        }
        keep(cache, &key, &drawn);
        found = &key;
    }
    *out = {found->left,   found->top,   found->width,
            found->height, found->width, cache->pixels + found->first};
    return found->width > 0;
}
