/* fb_image: pictures on surfaces, against a slow version that works pixel by pixel in floating
 * point. */
#include "platform/draw/fb.h"

#include "platform/image/image.h"
#include "support/seed.h"
#include "unit/platform/draw/guarded_surface.h"
#include "unit/platform/image/image_fixture.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>

/* Five or six bits widened to eight as the eye sees them. */
static int wide(int value, int bits)
{
    return bits == 5 ? value << 3 | value >> 2 : value << 2 | value >> 4;
}

static int rounded_share(int value, int share)
{
    return static_cast<int>(floor(value * share / 255.0 + 0.5));
}

static uint16_t slow_over(uint32_t argb, uint16_t under, int opacity)
{
    const int rest = 255 - rounded_share(static_cast<int>(argb >> 24), opacity);
    const int red = rounded_share(static_cast<int>(argb >> 16 & 0xFF), opacity) +
                    rounded_share(wide(under >> 11, 5), rest);
    const int green = rounded_share(static_cast<int>(argb >> 8 & 0xFF), opacity) +
                      rounded_share(wide(under >> 5 & 63, 6), rest);
    const int blue = rounded_share(static_cast<int>(argb & 0xFF), opacity) +
                     rounded_share(wide(under & 31, 5), rest);
    return static_cast<uint16_t>(std::min(red, 255) / 8 << 11 | std::min(green, 255) / 4 << 5 |
                                 std::min(blue, 255) / 8);
}

/* The pixels as they were before they were dithered. */
static void slow_draw(fb_surface &to, const std::vector<uint32_t> &argb, int32_t width,
                      int32_t height, int64_t x, int64_t y, int64_t w, int64_t h, int64_t src_x,
                      int64_t src_y, int alpha)
{
    for (int64_t j = std::max<int64_t>(0, -src_y); j < std::min<int64_t>(h, height - src_y); j++)
        for (int64_t i = std::max<int64_t>(0, -src_x); i < std::min<int64_t>(w, width - src_x);
             i++) {
            if (x + i < 0 || y + j < 0 || x + i >= to.width || y + j >= to.height)
                continue;
            uint16_t &pixel = to.pixels[(y + j) * to.stride + x + i];
            pixel =
                slow_over(argb[static_cast<size_t>((src_y + j) * width + src_x + i)], pixel, alpha);
        }
}

static std::vector<uint32_t> pixels_of(const image *picture)
{
    const size_t count = static_cast<size_t>(picture->width) * static_cast<size_t>(picture->height);
    return std::vector<uint32_t>(picture->argb, picture->argb + count);
}

/* Runs of every kind: opaque, empty and blended, short and long. */
static maker_picture runs(int width, int height)
{
    maker_picture made = maker_speckles(width, height, 3);
    uint32_t state = seed_or(7);
    for (size_t i = 0; i < made.argb.size();) {
        state = state * 1664525u + 1013904223u;
        const uint32_t kind = state >> 30;
        for (size_t end = i + 1 + (state >> 20) % 12; i < end && i < made.argb.size(); i++)
            made.argb[i] = kind == 0 ? 0 : kind == 1 ? made.argb[i] : made.argb[i] | 0xFF000000u;
    }
    return made;
}

static guarded_surface &painted(guarded_surface &surface)
{
    for (int32_t y = 0; y < surface.surface.height; y++)
        for (int32_t x = 0; x < surface.surface.width; x++)
            surface.surface.pixels[y * surface.surface.stride + x] =
                static_cast<uint16_t>(y * 9001 + x * 1733);
    return surface;
}

/* Draws one picture in both ways at many places. */
static void compare(const image *picture, const std::vector<uint32_t> &argb, int alpha)
{
    const int32_t places[] = {INT_MIN, -40, -17, -3, 0, 5, 31, 200, INT_MAX};
    const int32_t sizes[] = {-1, 0, 1, 7, 20, 24, 90, INT_MAX};
    for (const int32_t place : places)
        for (const int32_t source : places)
            for (const int32_t size : sizes) {
                guarded_surface fast(32, 26), slow(32, 26);
                painted(fast), painted(slow);
                ASSERT_EQ(
                    fb_draw_image(&fast.surface, picture, place, 2, size, 40, source, 1, alpha), 0);
                slow_draw(slow.surface, argb, picture->width, picture->height, place, 2, size, 40,
                          source, 1, alpha);
                ASSERT_EQ(
                    fb_draw_image(&fast.surface, picture, 3, place, 40, size, -1, source, alpha),
                    0);
                slow_draw(slow.surface, argb, picture->width, picture->height, 3, place, 40, size,
                          -1, source, alpha);
                ASSERT_EQ(fast.pixels(), slow.pixels())
                    << place << ' ' << source << ' ' << size << ' ' << alpha;
                ASSERT_TRUE(fast.guards_hold());
            }
}

TEST(fb_draw_image, with_alpha_is_drawn_like_the_slow_version)
{
    for (const maker_picture &made : {runs(24, 20), maker_speckles(24, 20, 5),
                                      maker_disc(24, 20, 0xFFFFC040), maker_plain(24, 20, 0)}) {
        const image_owner picture = image_from(made);
        const std::vector<uint32_t> argb = pixels_of(picture.get());
        compare(picture.get(), argb, 255);
        ASSERT_EQ(image_dither(picture.get()), 0);
        ASSERT_NE(picture->spans, nullptr);
        compare(picture.get(), argb, 255);
        compare(picture.get(), argb, 100);
    }
}

TEST(fb_draw_image, opaque_and_not_yet_dithered_is_drawn_like_the_slow_version)
{
    const image_owner picture = image_from(maker_gradient(24, 20));
    compare(picture.get(), pixels_of(picture.get()), 255);
    compare(picture.get(), pixels_of(picture.get()), 128);
}

TEST(fb_draw_image, dithered_is_copied)
{
    const image_owner picture = image_from(maker_gradient(24, 20));
    ASSERT_EQ(image_dither(picture.get()), 0);
    std::vector<uint32_t> argb;
    for (int i = 0; i < 24 * 20; i++) {
        const int pixel = picture->rgb565[i];
        argb.push_back(0xFF000000u | static_cast<uint32_t>(wide(pixel >> 11, 5)) << 16 |
                       static_cast<uint32_t>(wide(pixel >> 5 & 63, 6)) << 8 |
                       static_cast<uint32_t>(wide(pixel & 31, 5)));
    }
    compare(picture.get(), argb, 255);
    compare(picture.get(), argb, 77);
}

TEST(fb_draw_image, opacity_is_kept_within_its_range)
{
    const image_owner picture = image_from(maker_plain(4, 4, 0xFFFFFFFF));
    for (const int32_t alpha : {INT_MIN, -1, 0}) {
        guarded_surface target(4, 4);
        EXPECT_EQ(fb_draw_image(&target.surface, picture.get(), 0, 0, 4, 4, 0, 0, alpha), 0);
        EXPECT_EQ(target.at(1, 1), 0);
    }
    guarded_surface target(4, 4);
    EXPECT_EQ(fb_draw_image(&target.surface, picture.get(), 0, 0, 4, 4, 0, 0, INT_MAX), 0);
    EXPECT_EQ(target.at(1, 1), 0xFFFF);
}

TEST(fb_draw_image, null_draws_nothing)
{
    guarded_surface target(4, 4);
    const image_owner picture = image_from(maker_plain(4, 4, 0xFFFFFFFF));
    EXPECT_EQ(fb_draw_image(nullptr, picture.get(), 0, 0, 4, 4, 0, 0, 255), 0);
    EXPECT_EQ(fb_draw_image(&target.surface, nullptr, 0, 0, 4, 4, 0, 0, 255), 0);
    EXPECT_EQ(target.at(0, 0), 0);
}

TEST(fb_draw_image, a_flat_picture_has_the_colour_of_a_rectangle)
{
    /* 0x30A8E0 has no bits that the screen loses. */
    const image_owner opaque = image_from(maker_plain(9, 9, 0xFF30A8E0));
    maker_picture round = maker_plain(9, 9, 0xFF30A8E0);
    round.argb[0] = 0;
    const image_owner with_alpha = image_from(round);
    ASSERT_EQ(image_dither(opaque.get()), 0);
    ASSERT_EQ(image_dither(with_alpha.get()), 0);
    for (const image *picture : {opaque.get(), with_alpha.get()}) {
        guarded_surface target(9, 9);
        fb_draw_image(&target.surface, picture, 0, 0, 9, 9, 0, 0, 255);
        for (int32_t i = 1; i < 81; i++)
            ASSERT_EQ(target.at(i % 9, i / 9), 0x30 >> 3 << 11 | 0xA8 >> 2 << 5 | 0xE0 >> 3);
    }
}

struct trace_owner {
    fb_trace *trace = fb_trace_new();
    trace_owner() = default;
    trace_owner(const trace_owner &) = delete;
    ~trace_owner() { fb_trace_free(trace); }
};

/* Whether clearing is left out in a picture that begins with that one, there. */
static bool hides_all(const image *picture, int32_t x, int32_t y, int32_t alpha)
{
    guarded_surface target(9, 9, 0x1234);
    const trace_owner owner;
    fb_trace_begin(&target.surface, owner.trace);
    fb_clear(&target.surface, 0xFFFF);
    fb_draw_image(&target.surface, picture, x, y, picture->width, picture->height, 0, 0, alpha);
    fb_draw_rect(&target.surface, 0, 0, 9, 9, 0);
    fb_trace_draw(&target.surface);
    fb_clear(&target.surface, 0xFFFF);
    const uint16_t left = target.at(0, 0);
    EXPECT_EQ(target.at(8, 8), left);
    EXPECT_TRUE(left == 0x1234 || left == 0xFFFF) << left;
    (void)fb_trace_end(&target.surface);
    return left == 0x1234;
}

TEST(fb_image, what_a_picture_hides_is_not_cleared_before)
{
    const image_owner opaque = image_from(maker_plain(9, 9, 0xFF30A8E0));
    const image_owner larger = image_from(maker_plain(12, 10, 0xFF30A8E0));
    maker_picture with_hole = maker_plain(9, 9, 0xFF30A8E0);
    with_hole.argb[40] = 0x80FFFFFF;
    const image_owner pierced = image_from(with_hole);
    for (image *picture : {opaque.get(), larger.get(), pierced.get()})
        ASSERT_EQ(image_dither(picture), 0);
    EXPECT_TRUE(hides_all(opaque.get(), 0, 0, 255));
    EXPECT_TRUE(hides_all(larger.get(), -3, -1, 255));
    EXPECT_FALSE(hides_all(larger.get(), -4, 0, 255)) << "a column is left over";
    EXPECT_FALSE(hides_all(opaque.get(), 0, 1, 255)) << "a row is left over";
    EXPECT_FALSE(hides_all(opaque.get(), 0, 0, 254));
    EXPECT_FALSE(hides_all(pierced.get(), 0, 0, 255));
}
