/* maker_picture_gif: GIF files. The codes are not compressed: the table is cleared before it
 * grows, so that all codes keep one width. */
#include "tests/makers/maker_picture_private.h"

#include <algorithm>
#include <cstddef>

/* Codes are this wide: 8 bits of a colour and the two control codes. */
static constexpr int code_bits = 9;
static constexpr uint32_t code_clear = 256;
static constexpr uint32_t code_end = 257;
/* Colours between two clears. */
static constexpr size_t run_max = 200;

static void append_text(maker_bytes *to, const char *text)
{
    while (*text)
        to->push_back(static_cast<uint8_t>(*text++));
}

static void append_number(maker_bytes *to, int number)
{
    to->push_back(static_cast<uint8_t>(number));
    to->push_back(static_cast<uint8_t>(number >> 8));
}

/* The order of rows in the file. */
static std::vector<int> row_order(int height, bool interlaced)
{
    std::vector<int> order;
    if (!interlaced) {
        for (int y = 0; y < height; y++)
            order.push_back(y);
        return order;
    }
    const int starts[] = {0, 4, 2, 1};
    const int steps[] = {8, 8, 4, 2};
    for (int pass = 0; pass < 4; pass++)
        for (int y = starts[pass]; y < height; y += steps[pass])
            order.push_back(y);
    return order;
}

static maker_bytes packed_codes(const std::vector<uint32_t> &codes)
{
    maker_bytes packed;
    uint32_t bits = 0;
    int count = 0;
    for (const uint32_t code : codes) {
        bits |= code << count;
        for (count += code_bits; count >= 8; count -= 8, bits >>= 8)
            packed.push_back(static_cast<uint8_t>(bits));
    }
    if (count > 0)
        packed.push_back(static_cast<uint8_t>(bits));
    return packed;
}

static void append_pixels(maker_bytes *to, const maker_bytes &indices, int width, int height,
                          bool interlaced)
{
    std::vector<uint32_t> codes;
    size_t run = run_max;
    for (const int y : row_order(height, interlaced)) {
        for (int x = 0; x < width; x++, run++) {
            if (run >= run_max) {
                codes.push_back(code_clear);
                run = 0;
            }
            codes.push_back(indices[static_cast<size_t>(y) * static_cast<size_t>(width) +
                                    static_cast<size_t>(x)]);
        }
    }
    codes.push_back(code_end);
    const maker_bytes packed = packed_codes(codes);
    to->push_back(8); /* bits of a colour */
    for (size_t i = 0; i < packed.size(); i += 255) {
        const size_t size = std::min<size_t>(255, packed.size() - i);
        to->push_back(static_cast<uint8_t>(size));
        to->insert(to->end(), packed.begin() + static_cast<ptrdiff_t>(i),
                   packed.begin() + static_cast<ptrdiff_t>(i + size));
    }
    to->push_back(0);
}

static void append_frame(maker_bytes *to, const maker_picture &picture, const maker_bytes &indices,
                         const maker_gif_options &options)
{
    if (options.transparent) {
        const uint8_t control[] = {0x21, 0xF9, 4, 1, 0, 0, indices[0], 0};
        to->insert(to->end(), control, control + sizeof control);
    }
    to->push_back(0x2C);
    append_number(to, options.left);
    append_number(to, options.top);
    append_number(to, picture.width);
    append_number(to, picture.height);
    to->push_back(options.interlaced ? 0x40 : 0);
    append_pixels(to, indices, picture.width, picture.height, options.interlaced);
}

maker_bytes maker_gif(const maker_picture &picture, const maker_gif_options &options)
{
    const maker_palette palette = maker_palette_of(picture, 256);
    maker_bytes bytes;
    append_text(&bytes, "GIF89a");
    append_number(&bytes,
                  options.canvas_width ? options.canvas_width : options.left + picture.width);
    append_number(&bytes,
                  options.canvas_height ? options.canvas_height : options.top + picture.height);
    bytes.insert(bytes.end(), {0xF7, 0, 0}); /* 256 colours for all frames */
    for (size_t i = 0; i < 256; i++) {
        const uint32_t argb = i < palette.colours.size() ? palette.colours[i] : 0;
        bytes.insert(bytes.end(), {static_cast<uint8_t>(argb >> 16),
                                   static_cast<uint8_t>(argb >> 8), static_cast<uint8_t>(argb)});
    }
    append_frame(&bytes, picture, palette.indices, options);
    const maker_bytes black(palette.indices.size(), 255);
    for (int i = 1; i < options.frames; i++)
        append_frame(&bytes, picture, black, options);
    bytes.push_back(0x3B);
    return bytes;
}
