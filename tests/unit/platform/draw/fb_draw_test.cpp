/* fb_draw and fb_line: surfaces, copies, rectangles and lines against slow obvious versions. */
#include "platform/draw/fb.h"

#include "unit/platform/draw/guarded_surface.h"

#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <utility>

/* A surface whose pixels all differ. */
static surface_owner numbered(int32_t width, int32_t height)
{
    surface_owner made(fb_create(width, height));
    for (int32_t i = 0; i < width * height; i++)
        made->pixels[i] = static_cast<uint16_t>(i + 1);
    return made;
}

static bool is_inside(const fb_surface &surface, int64_t x, int64_t y)
{
    return x >= 0 && y >= 0 && x < surface.width && y < surface.height;
}

static void slow_copy(fb_surface &dst, const fb_surface &src, int64_t dst_x, int64_t dst_y,
                      int64_t w, int64_t h, int64_t src_x, int64_t src_y)
{
    for (int64_t y = 0; y < h; y++)
        for (int64_t x = 0; x < w; x++)
            if (is_inside(src, src_x + x, src_y + y) && is_inside(dst, dst_x + x, dst_y + y))
                dst.pixels[(dst_y + y) * dst.stride + dst_x + x] =
                    src.pixels[(src_y + y) * src.stride + src_x + x];
}

TEST(fb_create, gives_zeroed_pixels)
{
    surface_owner made(fb_create(7, 5));
    ASSERT_TRUE(made);
    EXPECT_EQ(made->width, 7);
    EXPECT_EQ(made->height, 5);
    EXPECT_GE(made->stride, 7);
    for (int i = 0; i < 35; i++)
        EXPECT_EQ(made->pixels[i], 0);
}

TEST(fb_create, refuses_sizes_out_of_range)
{
    for (const auto &[width, height] :
         {std::pair{0, 1}, {1, 0}, {-1, 5}, {4097, 1}, {1, 4097}, {INT_MAX, INT_MAX}})
        EXPECT_EQ(fb_create(width, height), nullptr) << width << " x " << height;
    const surface_owner widest(fb_create(4096, 1)), highest(fb_create(1, 4096));
    EXPECT_TRUE(widest);
    EXPECT_TRUE(highest);
}

TEST(fb_free, accepts_null)
{
    EXPECT_EQ(fb_free(nullptr), 0);
}

TEST(fb_clear, fills_the_surface_and_nothing_else)
{
    guarded_surface target(13, 9);
    EXPECT_EQ(fb_clear(&target.surface, 0xFFFF), 0);
    EXPECT_EQ(target.pixels(), std::vector<uint16_t>(13 * 9, 0xFFFF));
    EXPECT_TRUE(target.guards_hold());
    EXPECT_EQ(fb_clear(nullptr, 0), 0);
}

TEST(fb_copy, copies_a_whole_surface)
{
    const surface_owner from = numbered(20, 10);
    surface_owner to(fb_create(20, 10));
    EXPECT_EQ(fb_copy(to.get(), from.get(), 0, 0, 20, 10, 0, 0), 0);
    for (int i = 0; i < 200; i++)
        ASSERT_EQ(to->pixels[i], i + 1);
}

TEST(fb_copy, clips_like_the_slow_version_in_every_direction)
{
    const surface_owner from = numbered(9, 6);
    const int32_t places[] = {INT_MIN, -100, -9, -3, 0, 2, 8, 100, INT_MAX};
    const int32_t sizes[] = {INT_MIN, -1, 0, 1, 5, 6, 9, 40, INT_MAX};
    for (const int32_t dst_x : places)
        for (const int32_t src_x : places)
            for (const int32_t size : sizes) {
                guarded_surface fast(11, 7), slow(11, 7);
                EXPECT_EQ(fb_copy(&fast.surface, from.get(), dst_x, 1, size, 6, src_x, 0), 0);
                slow_copy(slow.surface, *from, dst_x, 1, std::min(size, 300), 6, src_x, 0);
                ASSERT_EQ(fast.pixels(), slow.pixels()) << dst_x << ' ' << src_x << ' ' << size;
                ASSERT_TRUE(fast.guards_hold());
                guarded_surface fast_y(11, 7), slow_y(11, 7);
                EXPECT_EQ(fb_copy(&fast_y.surface, from.get(), 1, dst_x, 9, size, 0, src_x), 0);
                slow_copy(slow_y.surface, *from, 1, dst_x, 9, std::min(size, 300), 0, src_x);
                ASSERT_EQ(fast_y.pixels(), slow_y.pixels());
                ASSERT_TRUE(fast_y.guards_hold());
            }
}

TEST(fb_copy, slides_two_screens_over_a_third)
{
    const surface_owner old_view = numbered(32, 4);
    surface_owner new_view(fb_create(32, 4));
    fb_clear(new_view.get(), 0xFFFF);
    for (int x = -32; x <= 32; x++) {
        guarded_surface screen(32, 4, 0x5555);
        fb_copy(&screen.surface, old_view.get(), x, 0, 32, 4, 0, 0);
        fb_copy(&screen.surface, new_view.get(), x < 0 ? x + 32 : x - 32, 0, 32, 4, 0, 0);
        for (int32_t i = 0; i < 32; i++) {
            const bool is_old = i >= x && i < x + 32;
            ASSERT_EQ(screen.at(i, 2), is_old ? old_view->pixels[64 + i - x] : 0xFFFF) << x;
        }
        ASSERT_TRUE(screen.guards_hold());
    }
}

TEST(fb_copy, refuses_a_surface_onto_itself_and_ignores_null)
{
    const surface_owner one = numbered(4, 4);
    EXPECT_EQ(fb_copy(one.get(), one.get(), 1, 0, 4, 4, 0, 0), -1);
    EXPECT_EQ(one->pixels[1], 2);
    EXPECT_EQ(fb_copy(nullptr, one.get(), 0, 0, 4, 4, 0, 0), 0);
    EXPECT_EQ(fb_copy(one.get(), nullptr, 0, 0, 4, 4, 0, 0), 0);
}

TEST(fb_draw_rect, clips_in_every_direction)
{
    const int32_t places[] = {INT_MIN, -50, -4, 0, 3, 9, 10, 50, INT_MAX};
    const int32_t sizes[] = {INT_MIN, -5, 0, 1, 4, 10, 60, INT_MAX};
    for (const int32_t x : places)
        for (const int32_t y : places)
            for (const int32_t w : sizes)
                for (const int32_t h : sizes) {
                    guarded_surface target(10, 8);
                    EXPECT_EQ(fb_draw_rect(&target.surface, x, y, w, h, 0xF800), 0);
                    for (int32_t j = 0; j < 8; j++)
                        for (int32_t i = 0; i < 10; i++) {
                            const bool inside = i >= x && j >= y &&
                                                i < static_cast<int64_t>(x) + w &&
                                                j < static_cast<int64_t>(y) + h;
                            ASSERT_EQ(target.at(i, j), inside ? 0xF800 : 0)
                                << x << ' ' << y << ' ' << w << ' ' << h;
                        }
                    ASSERT_TRUE(target.guards_hold());
                }
    EXPECT_EQ(fb_draw_rect(nullptr, 0, 0, 1, 1, 0), 0);
}

using place = std::pair<int32_t, int32_t>;

static std::set<place> line_pixels(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int32_t width,
                                   int32_t height)
{
    guarded_surface target(width, height);
    EXPECT_EQ(fb_draw_line(&target.surface, x1, y1, x2, y2, 1), 0);
    EXPECT_TRUE(target.guards_hold());
    std::set<place> drawn;
    for (int32_t y = 0; y < height; y++)
        for (int32_t x = 0; x < width; x++)
            if (target.at(x, y))
                drawn.insert({x, y});
    return drawn;
}

TEST(fb_draw_line, has_both_ends_in_every_direction)
{
    for (int dx = -6; dx <= 6; dx++)
        for (int dy = -6; dy <= 6; dy++) {
            const std::set<place> drawn = line_pixels(8, 8, 8 + dx, 8 + dy, 17, 17);
            EXPECT_TRUE(drawn.count({8, 8}));
            EXPECT_TRUE(drawn.count({8 + dx, 8 + dy}));
            EXPECT_EQ(drawn.size(), static_cast<size_t>(std::max(abs(dx), abs(dy))) + 1);
            EXPECT_EQ(drawn, line_pixels(8 + dx, 8 + dy, 8, 8, 17, 17)) << dx << ' ' << dy;
        }
}

TEST(fb_draw_line, draws_an_outline_of_four_sides)
{
    guarded_surface target(10, 10);
    fb_draw_line(&target.surface, 2, 3, 7, 3, 1);
    fb_draw_line(&target.surface, 7, 3, 7, 8, 1);
    fb_draw_line(&target.surface, 7, 8, 2, 8, 1);
    fb_draw_line(&target.surface, 2, 8, 2, 3, 1);
    for (int32_t y = 0; y < 10; y++)
        for (int32_t x = 0; x < 10; x++) {
            const bool inside = x >= 2 && x <= 7 && y >= 3 && y <= 8;
            const bool edge = inside && (x == 2 || x == 7 || y == 3 || y == 8);
            EXPECT_EQ(target.at(x, y), edge ? 1 : 0) << x << ' ' << y;
        }
}

TEST(fb_draw_line, a_clipped_line_has_the_pixels_of_the_whole_one)
{
    for (int round = 0; round < 2000; round++) {
        const int32_t x1 = rand() % 120 - 50, y1 = rand() % 120 - 50;
        const int32_t x2 = rand() % 120 - 50, y2 = rand() % 120 - 50;
        std::set<place> wanted;
        for (const place &pixel : line_pixels(x1 + 60, y1 + 60, x2 + 60, y2 + 60, 140, 140))
            if (pixel.first >= 60 && pixel.second >= 60 && pixel.first < 80 && pixel.second < 75)
                wanted.insert({pixel.first - 60, pixel.second - 60});
        ASSERT_EQ(line_pixels(x1, y1, x2, y2, 20, 15), wanted)
            << x1 << ' ' << y1 << ' ' << x2 << ' ' << y2;
    }
}

TEST(fb_draw_line, ends_at_the_far_corners_of_the_numbers)
{
    const std::set<place> diagonal = line_pixels(INT_MIN, INT_MIN, INT_MAX, INT_MAX, 9, 9);
    EXPECT_EQ(diagonal.size(), 9u);
    EXPECT_TRUE(diagonal.count({4, 4}));
    EXPECT_EQ(line_pixels(INT_MIN, 3, INT_MAX, 3, 9, 9).size(), 9u);
    EXPECT_EQ(line_pixels(5, INT_MAX, 5, INT_MIN, 9, 9).size(), 9u);
    EXPECT_TRUE(line_pixels(INT_MIN, INT_MAX, -1, -1, 9, 9).empty());
    EXPECT_EQ(line_pixels(4, 4, 4, 4, 9, 9).size(), 1u);
    EXPECT_TRUE(line_pixels(-1, 4, -1, 4, 9, 9).empty());
    EXPECT_EQ(fb_draw_line(nullptr, 0, 0, 1, 1, 1), 0);
}
