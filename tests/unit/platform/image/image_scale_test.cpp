/* image_scale: fitting and resampling. */
#include "platform/image/image.h"

#include "platform/base/fault.h"
#include "support/seed.h"
#include "unit/platform/image/image_fixture.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>

static std::pair<int, int> fitted(int32_t w, int32_t h, int32_t box_w, int32_t box_h)
{
    EXPECT_EQ(image_resize_ratio(&w, &h, box_w, box_h), 0);
    return {w, h};
}

TEST(image_resize_ratio, fits_into_the_box_in_both_directions)
{
    using size = std::pair<int, int>;
    EXPECT_EQ(fitted(200, 100, 100, 100), size(100, 50));
    EXPECT_EQ(fitted(100, 200, 100, 100), size(50, 100));
    EXPECT_EQ(fitted(10, 10, 100, 60), size(60, 60));
    EXPECT_EQ(fitted(100, 100, 100, 100), size(100, 100));
    EXPECT_EQ(fitted(50, 25, 100, 100), size(100, 50));
    EXPECT_EQ(fitted(4000, 1, 100, 100), size(100, 1));
    EXPECT_EQ(fitted(1, 4000, 100, 100), size(1, 100));
    EXPECT_EQ(fitted(INT_MAX, INT_MAX, INT_MAX, 7), size(7, 7));
}

TEST(image_resize_ratio, refuses_what_is_below_one_and_leaves_the_outputs)
{
    for (const int32_t bad : {0, -1, INT_MIN}) {
        int32_t w = 10, h = 20;
        EXPECT_EQ(image_resize_ratio(&w, &h, bad, 5), -1);
        EXPECT_EQ(image_resize_ratio(&w, &h, 5, bad), -1);
        EXPECT_EQ(w, 10);
        EXPECT_EQ(h, 20);
        w = bad;
        EXPECT_EQ(image_resize_ratio(&w, &h, 5, 5), -1);
        EXPECT_EQ(w, bad);
        EXPECT_EQ(h, 20);
    }
    int32_t one = 1;
    EXPECT_EQ(image_resize_ratio(nullptr, &one, 5, 5), -1);
    EXPECT_EQ(image_resize_ratio(&one, nullptr, 5, 5), -1);
}

/* The whole of one picture onto a new one. */
static image_owner scaled(const image *from, int32_t width, int32_t height)
{
    image_owner made(image_create(width, height));
    EXPECT_EQ(image_copy_resampled(made.get(), from, 0, 0, width, height, 0, 0, from->width,
                                   from->height),
              0);
    return made;
}

TEST(image_copy_resampled, at_equal_size_is_an_exact_copy)
{
    const maker_picture made = maker_speckles(31, 17);
    const image_owner from = image_from(made);
    const image_owner to = scaled(from.get(), 31, 17);
    for (size_t i = 0; i < made.argb.size(); i++)
        ASSERT_EQ(to->argb[i], from->argb[i]);
    EXPECT_TRUE(to->has_alpha);
}

TEST(image_copy_resampled, a_flat_picture_stays_flat_at_every_size)
{
    for (const uint32_t argb : {0xFF000000u, 0xFFFFFFFFu, 0xFF13579Bu, 0x80402010u})
        for (const int size : {1, 2, 3, 50, 257, 1000}) {
            const image_owner from = image_from(maker_plain(size, 300 - size / 4, argb));
            for (const int target : {1, 7, 64, 301}) {
                const image_owner to = scaled(from.get(), target, target / 2 + 1);
                EXPECT_EQ(to->has_alpha, argb >> 24 != 255);
                for (int i = 0; i < target * (target / 2 + 1); i++)
                    ASSERT_EQ(to->argb[i], premultiplied(argb)) << size << " to " << target;
            }
        }
}

static double kernel(double t)
{
    t = fabs(t);
    if (t < 1)
        return 1.5 * t * t * t - 2.5 * t * t + 1;
    return t < 2 ? -0.5 * t * t * t + 2.5 * t * t - 4 * t + 2 : 0;
}

/* One channel of one pixel straight from the definition, over the source's own pixels. */
static double slow_channel(const image *from, int width, int height, int x, int y, int shift)
{
    const double scale_x = std::max(1.0, static_cast<double>(from->width) / width);
    const double scale_y = std::max(1.0, static_cast<double>(from->height) / height);
    const double middle_x = (x + 0.5) * from->width / width;
    const double middle_y = (y + 0.5) * from->height / height;
    double sum = 0, weights = 0;
    for (int j = static_cast<int>(floor(middle_y - 2 * scale_y)) - 1;
         j <= middle_y + 2 * scale_y + 1; j++)
        for (int i = static_cast<int>(floor(middle_x - 2 * scale_x)) - 1;
             i <= middle_x + 2 * scale_x + 1; i++) {
            const double weight =
                kernel((i + 0.5 - middle_x) / scale_x) * kernel((j + 0.5 - middle_y) / scale_y);
            const int row = std::clamp(j, 0, from->height - 1);
            const int column = std::clamp(i, 0, from->width - 1);
            const uint32_t pixel =
                from->argb[static_cast<size_t>(row) * static_cast<size_t>(from->width) +
                           static_cast<size_t>(column)];
            sum += weight * (pixel >> shift & 0xFF);
            weights += weight;
        }
    return std::clamp(sum / weights, 0.0, 255.0);
}

static double largest_error(const image *from, int width, int height)
{
    const image_owner to = scaled(from, width, height);
    double largest = 0;
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
            for (int shift = 0; shift < 24; shift += 8)
                largest = std::max(
                    largest, fabs(slow_channel(from, width, height, x, y, shift) -
                                  (to->argb[static_cast<size_t>(y * width + x)] >> shift & 0xFF)));
    return largest;
}

TEST(image_copy_resampled, follows_the_definition_where_no_blocks_are_averaged)
{
    const image_owner from = image_from(maker_squares(40, 30, 3, 0xFFFF2040, 0xFF00E0C0));
    const std::pair<int, int> sizes[] = {{97, 61}, {40, 61}, {31, 23}, {17, 45}, {11, 8}};
    for (const auto &[width, height] : sizes)
        EXPECT_LT(largest_error(from.get(), width, height), 1.5) << width << " x " << height;
}

TEST(image_copy_resampled, stays_close_to_the_definition_at_strong_reductions)
{
    const image_owner smooth = image_from(maker_gradient(700, 500));
    EXPECT_LT(largest_error(smooth.get(), 60, 43), 2.0);
    const image_owner squares = image_from(maker_squares(640, 480, 40, 0xFF000000, 0xFFFFFFFF));
    EXPECT_LT(largest_error(squares.get(), 50, 37), 14.0);
}

TEST(image_copy_resampled, stays_close_to_the_definition_where_one_direction_is_reduced_strongly)
{
    const image_owner wide = image_from(maker_gradient(700, 40));
    EXPECT_LT(largest_error(wide.get(), 60, 40), 2.0);
    EXPECT_LT(largest_error(wide.get(), 60, 55), 2.0);
    const image_owner high = image_from(maker_gradient(40, 700));
    EXPECT_LT(largest_error(high.get(), 40, 60), 2.0);
    EXPECT_LT(largest_error(high.get(), 55, 60), 2.0);
}

TEST(image_copy_resampled, a_grey_picture_stays_grey)
{
    const image_owner from(image_create(64, 48));
    uint32_t state = seed_or(11);
    for (int i = 0; i < 64 * 48; i++) {
        state = state * 1664525 + 1013904223;
        from->argb[i] = 0xFF000000 | (state >> 24) * 0x010101;
    }
    for (const auto &[width, height] : {std::pair(97, 61), {64, 20}, {31, 48}, {13, 9}, {200, 3}}) {
        const image_owner to = scaled(from.get(), width, height);
        for (int i = 0; i < width * height; i++)
            ASSERT_EQ(to->argb[i], 0xFF000000 | (to->argb[i] & 0xFF) * 0x010101) << width;
    }
}

TEST(image_copy_resampled, fine_patterns_become_their_mean_and_not_a_new_pattern)
{
    const image_owner from = image_from(maker_squares(1000, 1000, 1, 0xFF000000, 0xFFFFFFFF));
    for (const int size : {3, 10, 60, 123, 240}) {
        const image_owner to = scaled(from.get(), size, size);
        for (int i = 0; i < size * size; i++)
            ASSERT_LE(difference(to->argb[i], 0xFF808080), 6) << size << " at " << i;
    }
}

TEST(image_copy_resampled, the_mean_brightness_stays_at_the_strongest_reduction)
{
    const image_owner from = image_from(maker_gradient(4096, 256));
    const image_owner to = scaled(from.get(), 1, 1);
    EXPECT_LE(difference(to->argb[0], 0xFF7F7F7F), 2);
}

TEST(image_copy_resampled, no_colour_exceeds_its_alpha)
{
    const image_owner from = image_from(maker_speckles(37, 41));
    for (const int size : {9, 20, 80}) {
        const image_owner to = scaled(from.get(), size, size);
        for (int i = 0; i < size * size; i++)
            for (int shift = 0; shift < 24; shift += 8)
                ASSERT_LE(to->argb[i] >> shift & 0xFF, to->argb[i] >> 24);
    }
}

TEST(image_copy_resampled, a_part_goes_to_a_part_and_nowhere_else)
{
    maker_picture made = maker_plain(20, 20, 0xFFFF0000);
    for (int y = 5; y < 10; y++)
        for (int x = 10; x < 15; x++)
            made.argb[static_cast<size_t>(y * 20 + x)] = 0xFF0000FF;
    const image_owner from = image_from(made);
    const image_owner to(image_create(30, 30));
    ASSERT_EQ(image_copy_resampled(to.get(), from.get(), 3, 4, 12, 9, 10, 5, 5, 5), 0);
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 30; x++) {
            const bool inside = x >= 3 && x < 15 && y >= 4 && y < 13;
            ASSERT_EQ(to->argb[y * 30 + x], inside ? 0xFF0000FFu : 0u) << x << ' ' << y;
        }
}

TEST(image_copy_resampled, a_clipped_target_has_the_pixels_of_the_whole_one)
{
    const image_owner from = image_from(maker_gradient(50, 40));
    const image_owner whole = scaled(from.get(), 30, 20);
    for (const int x : {-31, -29, -7, 0, 4, 11, 12})
        for (const int y : {-20, -3, 0, 9, 10}) {
            const image_owner part(image_create(12, 10));
            ASSERT_EQ(image_copy_resampled(part.get(), from.get(), x, y, 30, 20, 0, 0, 50, 40), 0);
            for (int j = 0; j < 10; j++)
                for (int i = 0; i < 12; i++) {
                    const bool inside = i >= x && j >= y && i - x < 30 && j - y < 20;
                    ASSERT_EQ(part->argb[j * 12 + i],
                              inside ? whole->argb[(j - y) * 30 + i - x] : 0u);
                }
        }
}

TEST(image_copy_resampled, enormous_targets_show_their_visible_part)
{
    const image_owner from = image_from(maker_plain(3, 3, 0xFF445566));
    const image_owner to(image_create(5, 5));
    ASSERT_EQ(
        image_copy_resampled(to.get(), from.get(), -1000000000, -5, INT_MAX, INT_MAX, 0, 0, 3, 3),
        0);
    for (int i = 0; i < 25; i++)
        ASSERT_EQ(to->argb[i], 0xFF445566u);
}

TEST(image_copy_resampled, works_at_random_sizes)
{
    uint32_t state = seed_or(4711);
    const auto below = [&state](uint32_t limit) {
        state = state * 1664525u + 1013904223u;
        return static_cast<int32_t>((state >> 8) % limit);
    };
    const image_owner from = image_from(maker_gradient(211, 173));
    for (int round = 0; round < 400; round++) {
        const image_owner to(image_create(1 + below(90), 1 + below(90)));
        const int32_t src_x = below(211), src_y = below(173);
        ASSERT_EQ(image_copy_resampled(to.get(), from.get(), below(100) - 50, below(100) - 50,
                                       1 + below(300), 1 + below(300), src_x, src_y,
                                       1 + below(static_cast<uint32_t>(211 - src_x)),
                                       1 + below(static_cast<uint32_t>(173 - src_y))),
                  0);
    }
}

TEST(image_copy_resampled, refuses_what_makes_no_sense)
{
    const image_owner from = image_from(maker_gradient(10, 10));
    const image_owner to(image_create(10, 10));
    const auto copy = [&](int32_t w, int32_t h, int32_t x, int32_t y, int32_t src_w,
                          int32_t src_h) {
        return image_copy_resampled(to.get(), from.get(), 0, 0, w, h, x, y, src_w, src_h);
    };
    EXPECT_EQ(copy(0, 5, 0, 0, 10, 10), -1);
    EXPECT_EQ(copy(5, -5, 0, 0, 10, 10), -1);
    EXPECT_EQ(copy(5, 5, -1, 0, 10, 10), -1);
    EXPECT_EQ(copy(5, 5, 0, 5, 10, 6), -1);
    EXPECT_EQ(copy(5, 5, INT_MAX, 0, INT_MAX, 10), -1);
    EXPECT_EQ(copy(5, 5, 0, 0, 0, 10), -1);
    EXPECT_EQ(image_copy_resampled(nullptr, from.get(), 0, 0, 5, 5, 0, 0, 5, 5), -1);
    EXPECT_EQ(image_copy_resampled(to.get(), nullptr, 0, 0, 5, 5, 0, 0, 5, 5), -1);
    EXPECT_EQ(image_copy_resampled(to.get(), to.get(), 0, 0, 5, 5, 5, 5, 5, 5), -1);
    fault_set("image_copy_resampled");
    EXPECT_EQ(copy(5, 5, 0, 0, 10, 10), -1);
    fault_set("");
    ASSERT_EQ(image_dither(from.get()), 0);
    EXPECT_EQ(copy(5, 5, 0, 0, 10, 10), -1);
}

TEST(image_copy_resampled, leaves_pictures_alone_that_are_kept_for_drawing)
{
    const image_owner plain = image_from(maker_gradient(10, 10));
    const image_owner mixed = image_from(maker_speckles(10, 10));
    ASSERT_EQ(image_dither(mixed.get()), 0);
    ASSERT_TRUE(mixed->spans && mixed->argb);
    const uint32_t before = mixed->argb[0];
    EXPECT_EQ(image_copy_resampled(mixed.get(), plain.get(), 0, 0, 10, 10, 0, 0, 10, 10), -1);
    EXPECT_EQ(mixed->argb[0], before);
    EXPECT_EQ(image_copy_resampled(plain.get(), mixed.get(), 0, 0, 10, 10, 0, 0, 10, 10), -1);
}

TEST(image_copy_resampled, beside_the_target_leaves_all_as_it_is)
{
    const image_owner from = image_from(maker_gradient(10, 10));
    for (const int32_t away : {-10, 20}) {
        const image_owner to(image_create(20, 20));
        const bool before = to->has_alpha;
        EXPECT_EQ(image_copy_resampled(to.get(), from.get(), away, 0, 10, 10, 0, 0, 10, 10), 0);
        EXPECT_EQ(to->has_alpha, before);
        EXPECT_EQ(image_copy_resampled(to.get(), from.get(), 0, away, 10, 10, 0, 0, 10, 10), 0);
        EXPECT_EQ(to->has_alpha, before);
    }
}
