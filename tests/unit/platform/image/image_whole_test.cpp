/* Whether a PNG file is whole: no less strict than its decoder, as far as damage goes. */
#include "platform/base/owner.h"
#include "platform/image/image.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <png.h>
#include <string>
#include <vector>
#include <zlib.h>

using image_owner = owner<image, image_free>;

static std::string make_png(uint32_t format, uint32_t width, uint32_t height)
{
    std::vector<uint8_t> pixels(size_t{4} * width * height);
    for (size_t i = 0; i < pixels.size(); i++)
        pixels[i] = static_cast<uint8_t>(format & PNG_FORMAT_FLAG_COLORMAP ? i % 4 : i * 7);
    const uint8_t colours[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = width;
    picture.height = height;
    picture.format = format;
    picture.colormap_entries = 4;
    std::string file(65536, '\0');
    png_alloc_size_t size = file.size();
    EXPECT_NE(png_image_write_to_memory(&picture, file.data(), &size, 0, pixels.data(), 0, colours),
              0);
    file.resize(size);
    return file;
}

static bool is_whole(const std::string &file)
{
    int32_t width = -1, height = -1;
    const bool whole = image_is_whole_png(file.data(), file.size(), &width, &height);
    if (!whole) {
        EXPECT_EQ(width, -1);
        EXPECT_EQ(height, -1);
    }
    return whole;
}

static bool decodes(const std::string &file)
{
    return image_owner(image_read_from_memory(".png", file.data(), file.size())) != nullptr;
}

/* Writes the checksum of the chunk whose name stands at a place anew. */
static void mend(std::string *file, size_t name)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(file->data());
    const uint32_t size = uint32_t{bytes[name - 2]} << 8 | bytes[name - 1];
    const uint32_t sum = static_cast<uint32_t>(crc32(0, bytes + name, size + 4));
    for (uint32_t i = 0; i < 4; i++)
        (*file)[name + 4 + size + i] = static_cast<char>(sum >> (24 - 8 * i));
}

TEST(image_whole, tells_the_size_of_every_kind_of_png)
{
    for (const uint32_t format :
         std::vector<uint32_t>{PNG_FORMAT_GRAY, PNG_FORMAT_GA, PNG_FORMAT_RGB, PNG_FORMAT_RGBA,
                               PNG_FORMAT_RGB_COLORMAP, PNG_FORMAT_LINEAR_RGB_ALPHA}) {
        int32_t width = 0, height = 0;
        const std::string file = make_png(format, 20, 10);
        EXPECT_TRUE(image_is_whole_png(file.data(), file.size(), &width, &height)) << format;
        EXPECT_EQ(width, 20);
        EXPECT_EQ(height, 10);
    }
}

TEST(image_whole, a_side_has_one_pixel_to_4096)
{
    for (const uint32_t side : {1u, 4096u}) {
        EXPECT_TRUE(is_whole(make_png(PNG_FORMAT_GRAY, side, 1))) << side;
        EXPECT_TRUE(is_whole(make_png(PNG_FORMAT_GRAY, 1, side))) << side;
    }
    EXPECT_FALSE(is_whole(make_png(PNG_FORMAT_GRAY, 4097, 1)));
    EXPECT_FALSE(is_whole(make_png(PNG_FORMAT_GRAY, 1, 4097)));
    std::string flat = make_png(PNG_FORMAT_GRAY, 1, 1);
    flat[23] = 0; /* the last byte of its height */
    mend(&flat, 12);
    EXPECT_FALSE(is_whole(flat));
    flat[23] = 1;
    flat[19] = 0; /* and of its width */
    mend(&flat, 12);
    EXPECT_FALSE(is_whole(flat));
}

TEST(image_whole, no_damaged_byte_is_missed)
{
    for (const uint32_t format : std::vector<uint32_t>{PNG_FORMAT_RGBA, PNG_FORMAT_RGB_COLORMAP}) {
        const std::string file = make_png(format, 9, 7);
        for (size_t i = 0; i < file.size(); i++)
            for (const int bits : {1, 0x20, 0x80, 0xFF}) {
                std::string damaged = file;
                damaged[i] = static_cast<char>(damaged[i] ^ bits);
                EXPECT_FALSE(is_whole(damaged)) << i;
            }
    }
}

TEST(image_whole, a_file_that_ends_early_is_not_whole)
{
    const std::string file = make_png(PNG_FORMAT_RGBA, 9, 7);
    for (size_t size = 0; size < file.size(); size++)
        EXPECT_FALSE(is_whole(std::string(file.data(), size))) << size;
    EXPECT_TRUE(is_whole(file + "what stands behind it is nobody's"));
}

/* A header of any content, with a checksum that fits: whole is only what decodes. */
TEST(image_whole, a_header_that_the_decoder_refuses_is_refused)
{
    const std::string file = make_png(PNG_FORMAT_RGBA, 3, 3);
    const size_t name = 12;
    ASSERT_EQ(file.substr(name, 4), "IHDR");
    for (size_t at = 0; at < 13; at++)
        for (int value = 0; value < 256; value++) {
            std::string other = file;
            other[name + 4 + at] = static_cast<char>(value);
            mend(&other, name);
            const bool changes_pixels = at < 8 || at == 8 || at == 9 || at == 12;
            if (changes_pixels)
                EXPECT_LE(decodes(other), is_whole(other)) << at << ": " << value;
            else
                EXPECT_EQ(decodes(other), is_whole(other)) << at << ": " << value;
        }
}

TEST(image_whole, needs_its_palette_and_its_pixels)
{
    for (const uint32_t format : std::vector<uint32_t>{PNG_FORMAT_RGB_COLORMAP, PNG_FORMAT_RGBA})
        for (const std::string name : {"PLTE", "IDAT", "IEND"}) {
            std::string file = make_png(format, 9, 7);
            const size_t at = file.find(name);
            if (at == std::string::npos)
                continue;
            file.replace(at, 4, "teXt"); /* a chunk that a decoder passes over */
            mend(&file, at);
            EXPECT_FALSE(is_whole(file)) << name;
            EXPECT_FALSE(decodes(file) && name != "IEND") << name;
        }
}

TEST(image_whole, a_chunk_that_nobody_knows_but_everybody_needs_is_refused)
{
    std::string file = make_png(PNG_FORMAT_RGBA, 9, 7);
    const size_t at = file.find("IEND");
    file.replace(at, 4, "NEED");
    mend(&file, at);
    EXPECT_FALSE(is_whole(file));
}

/* ---- Chunk by chunk ---- */

static std::string number(size_t value)
{
    std::string made;
    for (int shift = 24; shift >= 0; shift -= 8)
        made += static_cast<char>(value >> shift);
    return made;
}

static std::string chunk(const std::string &name, const std::string &content)
{
    const std::string summed = name + content;
    const auto *bytes = reinterpret_cast<const uint8_t *>(summed.data());
    return number(content.size()) + summed +
           number(crc32(0, bytes, static_cast<unsigned>(summed.size())));
}

static std::string header(char colour, char interlaced = 0, const std::string &more = "")
{
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR", number(4) + number(4) + '\x08' + colour +
                                                   std::string(2, '\0') + interlaced + more);
}

static const std::string pixels = chunk("IDAT", "x"), end = chunk("IEND", "");
constexpr char grey = 0, rgb = 2, palette = 3;

static std::string colours(size_t bytes)
{
    return chunk("PLTE", std::string(bytes, 'c'));
}

TEST(image_whole, palettes_have_1_to_256_colours)
{
    for (const size_t fits : {3, 6, 765, 768})
        EXPECT_TRUE(is_whole(header(palette) + colours(fits) + pixels + end)) << fits;
    for (const size_t wrong : {0, 1, 2, 4, 769, 771})
        EXPECT_FALSE(is_whole(header(palette) + colours(wrong) + pixels + end)) << wrong;
}

TEST(image_whole, a_palette_stands_once_and_before_the_pixels)
{
    EXPECT_TRUE(is_whole(header(rgb) + colours(3) + pixels + end));
    EXPECT_FALSE(is_whole(header(rgb) + pixels + colours(3) + end));
    EXPECT_FALSE(is_whole(header(palette) + pixels + colours(3) + end));
    EXPECT_FALSE(is_whole(header(palette) + colours(3) + colours(3) + pixels + end));
}

TEST(image_whole, pixels_may_come_in_parts_but_some_come)
{
    EXPECT_TRUE(is_whole(header(grey) + chunk("IDAT", "") + pixels + pixels + end));
    EXPECT_FALSE(is_whole(header(grey) + chunk("IDAT", "") + end));
    EXPECT_FALSE(is_whole(header(grey) + end));
}

TEST(image_whole, a_header_is_the_first_chunk_and_has_its_size)
{
    EXPECT_TRUE(is_whole(header(grey, 1) + pixels + end)) << "interlaced";
    EXPECT_FALSE(is_whole(header(grey, 2) + pixels + end));
    EXPECT_FALSE(is_whole(header(grey, 0, "more") + pixels + end));
    std::string other = header(grey) + pixels + end;
    other.replace(12, 4, "teXt");
    mend(&other, 12);
    EXPECT_FALSE(is_whole(other));
}
