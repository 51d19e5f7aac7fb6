/* The quick loops over pixels against slow obvious ones. */
#include "platform/image/image_codec.h"

#include "platform/base/owner.h"
#include "support/seed.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

using image_owner = owner<image, image_free>;

static uint32_t pixel_of(uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha)
{
    const uint8_t bytes[] = {red, green, blue, alpha};
    uint32_t pixel = 0;
    memcpy(&pixel, bytes, sizeof pixel);
    return pixel;
}

static uint32_t slowly(uint32_t pixel)
{
    uint8_t bytes[4];
    memcpy(bytes, &pixel, sizeof bytes);
    const uint32_t alpha = bytes[3];
    const auto multiply = [alpha](uint32_t value) { return (value * alpha * 2 + 255) / 510; };
    return alpha << 24 | multiply(bytes[0]) << 16 | multiply(bytes[1]) << 8 | multiply(bytes[2]);
}

static void expect_multiplied(const std::vector<uint32_t> &pixels)
{
    std::vector<uint32_t> quick = pixels, slow = pixels;
    bool is_opaque = true;
    for (uint32_t &pixel : slow) {
        pixel = slowly(pixel);
        is_opaque = is_opaque && pixel >> 24 == 255;
    }
    EXPECT_EQ(image_premultiply(quick.data(), quick.size()), is_opaque);
    EXPECT_EQ(quick, slow);
}

TEST(image_pixels, every_value_is_multiplied_by_every_alpha)
{
    std::vector<uint32_t> pixels;
    for (uint32_t alpha = 0; alpha < 256; alpha++)
        for (uint32_t value = 0; value < 256; value++)
            pixels.push_back(pixel_of(static_cast<uint8_t>(value), static_cast<uint8_t>(value * 3),
                                      static_cast<uint8_t>(255 - value),
                                      static_cast<uint8_t>(alpha)));
    expect_multiplied(pixels);
}

/* Runs of one kind of any length at any place. */
TEST(image_pixels, runs_and_rests_are_multiplied_alike)
{
    uint32_t noise = seed_or(1);
    const auto next = [&noise](uint32_t most) {
        noise = noise * 1664525 + 1013904223;
        return (noise >> 8) % most;
    };
    for (int round = 0; round < 300; round++) {
        std::vector<uint32_t> pixels;
        const size_t size = next(400);
        while (pixels.size() < size) {
            const uint8_t alphas[] = {0, 255, 255, static_cast<uint8_t>(next(256))};
            const uint8_t alpha = alphas[next(4)];
            for (uint32_t left = 1 + next(150); left > 0 && pixels.size() < size; left--)
                pixels.push_back(pixel_of(static_cast<uint8_t>(next(256)),
                                          static_cast<uint8_t>(next(256)),
                                          static_cast<uint8_t>(next(256)), alpha));
        }
        expect_multiplied(pixels);
    }
}

TEST(image_pixels, one_pixel_that_is_not_opaque_is_found_anywhere)
{
    const image_owner picture(image_create(150, 3));
    ASSERT_TRUE(picture);
    std::fill_n(picture->argb, 450, 0xFF102030);
    EXPECT_TRUE(image_is_opaque(picture.get()));
    for (size_t i = 0; i < 450; i++) {
        picture->argb[i] = 0xFE102030;
        EXPECT_FALSE(image_is_opaque(picture.get())) << i;
        picture->argb[i] = 0xFF102030;
    }
}

/* Blocks of every size, with rests, against sums and divisions. */
TEST(image_pixels, blocks_are_averaged_exactly)
{
    uint32_t noise = seed_or(1);
    const auto next = [&noise] {
        noise = noise * 1664525 + 1013904223;
        return noise >> 30 == 0 ? UINT32_MAX : noise;
    };
    for (const int32_t width : {1, 5, 64, 131})
        for (const int32_t block : {1, 2, 3, 4, 5, 6, 7, 16, 64, 65, 100})
            for (const int32_t rows : {1, 2, 5, 64, 66}) {
                const int32_t count = (width + block - 1) / block;
                std::vector<uint32_t> sums(static_cast<size_t>(count) * 4), row(width), got(count);
                std::vector<uint64_t> slow(sums.size());
                for (int32_t y = 0; y < rows; y++) {
                    for (int32_t x = 0; x < width; x++) {
                        row[x] = next();
                        for (uint32_t channel = 0; channel < 4; channel++)
                            slow[x / block * 4 + channel] += row[x] >> (8 * channel) & 0xFF;
                    }
                    image_blocks_add(sums.data(), row.data(), width, block);
                }
                image_blocks_average(got.data(), sums.data(), width, block, rows);
                for (int32_t i = 0; i < count * 4; i++) {
                    const uint64_t area =
                        static_cast<uint64_t>(rows * std::min(block, width - i / 4 * block));
                    ASSERT_EQ(got[i / 4] >> (i % 4 * 8) & 0xFF, (slow[i] + area / 2) / area)
                        << width << " " << block << " " << rows << " " << i;
                }
            }
}

/* Where 8 x 8 thresholds stand that grow by halving the distance. */
static uint32_t bayer(uint32_t x, uint32_t y)
{
    uint32_t value = 0;
    for (uint32_t bit = 0; bit < 3; bit++)
        value = value << 2 | ((x >> bit ^ y >> bit) & 1) << 1 | (y >> bit & 1);
    return value;
}

static uint16_t dithered_slowly(uint32_t value, uint32_t x, uint32_t y)
{
    const uint32_t threshold = bayer(x & 7, y & 7);
    const uint32_t outer = std::min<uint32_t>(255, value + threshold / 8);
    const uint32_t green = std::min<uint32_t>(255, value + threshold / 16);
    return static_cast<uint16_t>(outer >> 3 << 11 | green >> 2 << 5 | outer >> 3);
}

TEST(image_pixels, every_value_is_dithered_by_every_threshold)
{
    for (const int32_t width : {8, 13})
        for (uint32_t value = 0; value < 256; value++) {
            const image_owner picture(image_create(width, 9));
            ASSERT_TRUE(picture);
            std::fill_n(picture->argb, width * 9, 0xFF000000 | value * 0x010101);
            ASSERT_EQ(image_dither(picture.get()), 0);
            for (int32_t i = 0; i < width * 9; i++)
                ASSERT_EQ(picture->rgb565[i],
                          dithered_slowly(value, static_cast<uint32_t>(i % width),
                                          static_cast<uint32_t>(i / width)))
                    << value << " at " << i;
        }
}
