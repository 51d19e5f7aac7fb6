/* image_whole: whether a PNG file is whole, told by its own checksums. */
#include "platform/image/image.h"

#include <cstring>
#include <iterator>
#include <zlib.h>

static constexpr size_t chunk_frame = 12; /* length, name and checksum of a chunk */
static constexpr size_t header_size = 13;
static constexpr uint32_t png_side_max = 4096;

struct png_chunk {
    const uint8_t *name; /* four letters, the content behind them */
    const uint8_t *content;
    uint32_t size;
};

/* What has been seen of a file. */
struct png_walk {
    const uint8_t *at, *end;
    uint8_t colour; /* kind of pixels */
    bool has_palette, has_pixels;
};

static uint32_t read_number(const uint8_t *from)
{
    return uint32_t{from[0]} << 24 | uint32_t{from[1]} << 16 | uint32_t{from[2]} << 8 | from[3];
}

static bool is_named(const png_chunk &chunk, const char *name)
{
    return memcmp(chunk.name, name, 4) == 0;
}

/* The chunk that comes next, checked against its own sum. */
static bool take_chunk(png_walk *walk, png_chunk *chunk)
{
    const size_t left = static_cast<size_t>(walk->end - walk->at);
    if (left < chunk_frame)
        return false;
    const uint32_t size = read_number(walk->at);
    if (size > left - chunk_frame)
        return false;
    *chunk = {walk->at + 4, walk->at + 8, size};
    walk->at += chunk_frame + size;
    return crc32(0, chunk->name, size + 4) == read_number(walk->at - 4);
}

/* Depths that go with a kind of pixels, as bits. */
static uint32_t depths_of(uint8_t colour)
{
    static constexpr uint32_t depths[] = {1 << 1 | 1 << 2 | 1 << 4 | 1 << 8 | 1 << 16,
                                          0,
                                          1 << 8 | 1 << 16,
                                          1 << 1 | 1 << 2 | 1 << 4 | 1 << 8,
                                          1 << 8 | 1 << 16,
                                          0,
                                          1 << 8 | 1 << 16};
    return colour < std::size(depths) ? depths[colour] : 0;
}

static bool take_header(png_walk *walk, int32_t *width, int32_t *height)
{
    png_chunk chunk = {};
    if (!take_chunk(walk, &chunk) || !is_named(chunk, "IHDR") || chunk.size != header_size)
        return false;
    const uint32_t across = read_number(chunk.content), down = read_number(chunk.content + 4);
    const uint8_t depth = chunk.content[8];
    walk->colour = chunk.content[9];
    if (across < 1 || across > png_side_max || down < 1 || down > png_side_max)
        return false;
    if (depth > 16 || !(depths_of(walk->colour) >> depth & 1))
        return false;
    *width = static_cast<int32_t>(across);
    *height = static_cast<int32_t>(down);
    /* Packing, filters and interlacing. */
    return chunk.content[10] == 0 && chunk.content[11] == 0 && chunk.content[12] <= 1;
}

/* Palettes stand before the pixels; nothing else that a decoder needs is looked for. */
static bool note_chunk(png_walk *walk, const png_chunk &chunk)
{
    static constexpr uint8_t colour_palette = 3, ancillary = 0x20; /* a small first letter */
    if (is_named(chunk, "PLTE")) {
        const bool fits = !walk->has_palette && !walk->has_pixels && chunk.size % 3 == 0;
        walk->has_palette = true;
        return fits && chunk.size >= 3 && chunk.size <= 768;
    }
    if (is_named(chunk, "IDAT")) {
        walk->has_pixels = walk->has_pixels || chunk.size > 0;
        return walk->has_palette || walk->colour != colour_palette;
    }
    return (chunk.name[0] & ancillary) != 0;
}

bool image_is_whole_png(const void *data, size_t size, int32_t *width, int32_t *height)
{
    static constexpr char signature[] = "\x89PNG\r\n\x1a\n";
    static constexpr size_t signature_size = sizeof signature - 1;
    const auto *bytes = static_cast<const uint8_t *>(data);
    if (size < signature_size || memcmp(bytes, signature, signature_size) != 0)
        return false;
    png_walk walk = {bytes + signature_size, bytes + size, 0, false, false};
    int32_t across = 0, down = 0;
    if (!take_header(&walk, &across, &down))
        return false;
    png_chunk chunk = {};
    do {
        if (!take_chunk(&walk, &chunk))
            return false;
    } while (!is_named(chunk, "IEND") && note_chunk(&walk, chunk));
    if (!is_named(chunk, "IEND") || !walk.has_pixels)
        return false;
    *width = across;
    *height = down;
    return true;
}
