/* What elements draw, to the pixel, and what a touch on a bar means. */
#include "skin/skin.h"

#include "platform/draw/fb.h"
#include "platform/image/image.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

constexpr int32_t screen_width = 320, screen_height = 240;

struct element_values {
    const char *name = "scroll";
    const char *type = nullptr;
    int32_t x = 0, y = 0, width = 0, height = 0, value = 0;
    int32_t origin_x = 0, origin_y = 0;
    int32_t image_width = 0, image_height = 0; /* 0: no image */
};

/* All pixels of the screen, of which 0 was not drawn. */
using pixels = std::vector<uint16_t>;
/* Parts of the element's image, as "X,Y WxH from X,Y": where to, how much, and where from. */
using pieces = std::vector<std::string>;

static int last_result;

static skin_element make_element(const element_values &values)
{
    skin_element element = {};
    snprintf(element.name, sizeof(element.name), "%s", values.name);
    element.type = values.type ? strdup(values.type) : nullptr;
    element.x = values.x;
    element.y = values.y;
    element.width = values.width;
    element.height = values.height;
    element.value = values.value;
    element.origin_x = values.origin_x;
    element.origin_y = values.origin_y;
    element.color = 0x1234;
    return element;
}

/* Every pixel of the image differs from every other. */
static pixels image_pixels(const element_values &values)
{
    const int64_t count = int64_t{values.image_width} * values.image_height;
    pixels all(count > 0 ? static_cast<size_t>(count) : 0);
    for (size_t i = 0; i < all.size(); i++)
        all[i] = static_cast<uint16_t>(1 + i);
    return all;
}

/* What the element draws. */
static pixels draw(const element_values &values)
{
    skin_element element = make_element(values);
    pixels source = image_pixels(values);
    image picture = {};
    picture.width = values.image_width;
    picture.height = values.image_height;
    picture.rgb565 = source.data();
    element.image = values.image_width != 0 ? &picture : nullptr;
    pixels screen(screen_width * screen_height);
    fb_surface surface = {};
    surface.width = surface.stride = screen_width;
    surface.height = screen_height;
    surface.pixels = screen.data();
    last_result = skin_common_behavior(&element, &surface);
    free(element.type);
    return screen;
}

/* What it should be: each pixel by itself. */
static pixels painted(const element_values &values, const pieces &parts)
{
    const pixels source = image_pixels(values);
    pixels screen(screen_width * screen_height);
    for (const std::string &part : parts) {
        int x = 0, y = 0, w = 0, h = 0, from_x = 0, from_y = 0;
        EXPECT_EQ(sscanf(part.c_str(), "%d,%d %dx%d from %d,%d", &x, &y, &w, &h, &from_x, &from_y),
                  6);
        for (int row = 0; row < h; row++)
            for (int column = 0; column < w; column++)
                if (x + column >= 0 && x + column < screen_width && y + row >= 0 &&
                    y + row < screen_height)
                    screen[static_cast<size_t>((y + row) * screen_width + x + column)] =
                        source[static_cast<size_t>((from_y + row) * values.image_width + from_x +
                                                   column)];
    }
    return screen;
}

static void expect_drawn(const element_values &values, const pieces &parts)
{
    const pixels drawn = draw(values), wanted = painted(values, parts);
    size_t wrong = 0, first = 0;
    for (size_t i = drawn.size(); i-- > 0;)
        if (drawn[i] != wanted[i]) {
            wrong++;
            first = i;
        }
    EXPECT_EQ(wrong, 0u) << (values.type ? values.type : values.name) << ": first at "
                         << first % screen_width << "," << first / screen_width << ", "
                         << drawn[first] << " and not " << wanted[first];
}

static int32_t touch(const element_values &values, int32_t x, int32_t y)
{
    skin_element element = make_element(values);
    const int32_t result = skin_get_scroll_permillage(&element, x, y);
    free(element.type);
    return result;
}

/* A bar of 100 x 40 at 0, 0. */
static element_values bar(const char *type, int32_t value, int32_t image_width = 30,
                          int32_t image_height = 7)
{
    return {.type = type,
            .width = 100,
            .height = 40,
            .value = value,
            .image_width = image_width,
            .image_height = image_height};
}

TEST(skin_behavior, draws_images_and_buttons_whole_and_without_origin)
{
    for (const char *name : {"img", "button"}) {
        expect_drawn({.name = name,
                      .x = 3,
                      .y = 4,
                      .width = 99,
                      .height = 99,
                      .origin_x = 5,
                      .origin_y = 6,
                      .image_width = 30,
                      .image_height = 10},
                     {"3,4 30x10 from 0,0"});
        EXPECT_EQ(last_result, 1);
        expect_drawn({.name = name}, {});
        EXPECT_EQ(last_result, 1);
    }
}

TEST(skin_behavior, fills_rectangles)
{
    const pixels drawn =
        draw({.name = "rect", .x = -1, .y = 2, .width = 30, .height = 40, .origin_x = 9});
    for (int32_t y = 0; y < screen_height; y++)
        for (int32_t x = 0; x < screen_width; x++)
            ASSERT_EQ(drawn[static_cast<size_t>(y * screen_width + x)],
                      x < 29 && y >= 2 && y < 42 ? 0x1234 : 0)
                << x << "," << y;
    EXPECT_EQ(last_result, 0);
}

TEST(skin_behavior, leaves_other_elements_to_the_screen)
{
    for (const char *name : {"text", "list", "item", "lyrics", "album_cover", "Img", "imgs", ""}) {
        expect_drawn({.name = name,
                      .type = "fill-x",
                      .width = 9,
                      .height = 9,
                      .value = 500,
                      .image_width = 5,
                      .image_height = 5},
                     {});
        EXPECT_EQ(last_result, 0);
    }
}

TEST(skin_behavior, draws_no_bar_without_image_or_known_type)
{
    expect_drawn(bar("fill-x", 500, 0, 0), {});
    EXPECT_EQ(last_result, 0);
    for (const char *type : {"fill", "fill-z", "Fill-x", "fill-x-", ""})
        expect_drawn(bar(type, 500), {});
    expect_drawn(bar(nullptr, 500), {});
}

TEST(skin_behavior, fills_from_the_left)
{
    expect_drawn(bar("fill-x", 500), {"0,0 30x7 from 0,0", "30,0 20x7 from 0,0"});
    expect_drawn(bar("fill-x", 333), {"0,0 30x7 from 0,0", "30,0 3x7 from 0,0"});
    expect_drawn(bar("fill-x", 0), {});
    expect_drawn(bar("fill-x", 1000), {"0,0 30x7 from 0,0", "30,0 30x7 from 0,0",
                                       "60,0 30x7 from 0,0", "90,0 10x7 from 0,0"});
    EXPECT_EQ(last_result, 0);
}

TEST(skin_behavior, fills_from_the_right)
{
    expect_drawn(bar("fill-x-rev", 500), {"50,0 30x7 from 0,0", "80,0 20x7 from 0,0"});
    expect_drawn(bar("fill-x-rev", 1000), {"0,0 30x7 from 0,0", "30,0 30x7 from 0,0",
                                           "60,0 30x7 from 0,0", "90,0 10x7 from 0,0"});
    expect_drawn(bar("fill-x-rev", 0), {});
    expect_drawn(bar("fill-x-rev", 333), {"67,0 30x7 from 0,0", "97,0 3x7 from 0,0"});
}

TEST(skin_behavior, fills_from_above_and_below)
{
    expect_drawn(bar("fill-y", 250), {"0,0 30x7 from 0,0", "0,7 30x3 from 0,0"});
    expect_drawn(bar("fill-y-rev", 250), {"0,30 30x7 from 0,0", "0,37 30x3 from 0,0"});
    expect_drawn(bar("fill-y", 0), {});
    expect_drawn(bar("fill-y-rev", 0), {});
}

TEST(skin_behavior, moves_the_image_along_the_bar)
{
    expect_drawn(bar("move-x", 333), {"33,0 30x7 from 0,0"});
    expect_drawn(bar("move-x-rev", 0), {"100,0 30x7 from 0,0"});
    expect_drawn(bar("move-x-rev", 333), {"67,0 30x7 from 0,0"});
    expect_drawn(bar("move-x-rev", 1000), {"0,0 30x7 from 0,0"});
    expect_drawn(bar("move-y", 999), {"0,39 30x7 from 0,0"});
    expect_drawn(bar("move-y-rev", 999), {"0,1 30x7 from 0,0"});
}

TEST(skin_behavior, shows_a_part_of_the_image)
{
    expect_drawn(bar("part-x", 250, 100, 40), {"0,0 25x40 from 0,0"});
    expect_drawn(bar("part-x-rev", 250, 100, 40), {"75,0 25x40 from 75,0"});
    expect_drawn(bar("part-y", 250, 100, 40), {"0,0 100x10 from 0,0"});
    expect_drawn(bar("part-y-rev", 250, 100, 40), {"0,30 100x10 from 0,30"});
}

TEST(skin_behavior, moves_bars_by_their_origin)
{
    const char *types[] = {"fill-x", "fill-x-rev", "fill-y", "fill-y-rev", "move-x", "move-x-rev",
                           "move-y", "move-y-rev", "part-x", "part-x-rev", "part-y", "part-y-rev"};
    for (const char *type : types) {
        element_values values = bar(type, 1000, 100, 40);
        const pixels plain = draw(values);
        values.x = 20;
        values.y = 30;
        values.origin_x = 5;
        values.origin_y = -4;
        const pixels moved = draw(values);
        pixels wanted(plain.size());
        for (size_t i = 0; i + 34 * screen_width + 15 < plain.size(); i++)
            if (plain[i] != 0)
                wanted[i + 34 * screen_width + 15] = plain[i];
        EXPECT_NE(plain, pixels(plain.size())) << type;
        EXPECT_TRUE(moved == wanted) << type;
    }
}

/* Tile by tile, each of these would take minutes. */
TEST(skin_behavior, draws_no_tile_of_an_absurd_bar_that_none_can_see)
{
    for (const char *type : {"fill-x", "fill-x-rev", "fill-y", "fill-y-rev"}) {
        element_values values = bar(type, 1000, 1, 1);
        values.width = values.height = INT32_MAX;
        const pixels row_or_column = draw(values);
        EXPECT_EQ(row_or_column[0], 1) << type;
        EXPECT_EQ(row_or_column[screen_width - 1], type[5] == 'x' ? 1 : 0) << type;
        values.x = values.y = -INT32_MAX;
        values.origin_x = values.origin_y = INT32_MAX;
        EXPECT_EQ(draw(values), pixels(screen_width * screen_height)) << type;
        values.value = INT32_MAX;
        values.x = values.y = 0;
        EXPECT_EQ(draw(values).size(), row_or_column.size()) << type;
    }
}

TEST(skin_behavior, survives_absurd_bars)
{
    element_values values = bar("move-x", INT32_MIN);
    values.width = INT32_MAX;
    expect_drawn(values, {});
    for (const char *type : {"fill-x", "fill-y-rev", "part-x", "move-y"}) {
        expect_drawn(bar(type, 500, -1, 5), {});
        expect_drawn(bar(type, 500, 5, -1), {});
    }
}

TEST(skin_behavior, starts_a_far_bar_on_a_whole_tile)
{
    element_values values = bar("fill-x", 1000, 30, 7);
    values.x = -1000;
    values.width = 1100;
    const pieces wanted = {"-10,0 30x7 from 0,0", "20,0 30x7 from 0,0", "50,0 30x7 from 0,0",
                           "80,0 20x7 from 0,0"};
    expect_drawn(values, wanted);
    values.x = -900;
    values.origin_x = 100;
    expect_drawn(values, wanted); /* the origin counts as well */
    values = bar("fill-y", 1000, 30, 7);
    values.y = -800;
    values.origin_y = 100;
    values.height = 905;
    expect_drawn(values, {"0,-4 30x7 from 0,0", "0,3 30x2 from 0,0"});
}

TEST(skin_behavior, tiles_an_image_of_one_pixel)
{
    element_values values = bar("fill-x", 30, 1, 1);
    values.height = 100;
    expect_drawn(values, {"0,0 1x1 from 0,0", "1,0 1x1 from 0,0", "2,0 1x1 from 0,0"});
    values.type = "fill-y";
    expect_drawn(values, {"0,0 1x1 from 0,0", "0,1 1x1 from 0,0", "0,2 1x1 from 0,0"});
}

static element_values drag_bar(const char *type, int32_t width, int32_t height)
{
    return {.type = type, .x = 10, .y = 20, .width = width, .height = height};
}

TEST(skin_behavior, turns_a_touch_into_thousandths)
{
    const struct {
        int32_t width, offset, wanted;
    } cases[] = {
        {101, 0, 0},    {101, 50, 500},  {101, 100, 1000}, {100, 49, 495},
        {100, 50, 505}, {100, 99, 1000}, {320, 160, 502},  {3, 1, 500},
        {2, 0, 1},      {2, 1, 1001},    {101, 101, -1},   {101, -1, -1},
    };
    for (const auto &it : cases)
        for (const char *type : {"fill-x", "move-x", "part-x"})
            EXPECT_EQ(touch(drag_bar(type, it.width, 5), 10 + it.offset, 22), it.wanted)
                << it.width << " " << it.offset;
    for (const auto &it : cases)
        for (const char *type : {"fill-y", "move-y", "part-y"})
            EXPECT_EQ(touch(drag_bar(type, 5, it.width), 12, 20 + it.offset), it.wanted);
}

TEST(skin_behavior, tests_the_box_across_the_bar_too)
{
    const element_values values = drag_bar("fill-x", 101, 5);
    EXPECT_EQ(touch(values, 60, 20), 500);
    EXPECT_EQ(touch(values, 60, 24), 500);
    EXPECT_EQ(touch(values, 60, 25), -1);
    EXPECT_EQ(touch(values, 60, 19), -1);
}

TEST(skin_behavior, does_not_move_the_touched_box_by_the_origin)
{
    element_values values = drag_bar("fill-x", 101, 5);
    values.origin_x = 5;
    EXPECT_EQ(touch(values, 10, 20), 0);
    EXPECT_EQ(touch(values, 9, 20), -1);
}

TEST(skin_behavior, cannot_drag_reversed_bars_or_other_elements)
{
    for (const char *type : {"fill-x-rev", "fill-y-rev", "move-x-rev", "move-y-rev", "part-x-rev",
                             "part-y-rev", "other", ""})
        EXPECT_EQ(touch(drag_bar(type, 101, 101), 12, 22), -1) << type;
    EXPECT_EQ(touch(drag_bar(nullptr, 101, 101), 12, 22), -1);
    element_values values = drag_bar("fill-x", 101, 101);
    values.name = "button";
    EXPECT_EQ(touch(values, 12, 22), -1);
}

TEST(skin_behavior, cannot_drag_a_bar_of_one_pixel)
{
    EXPECT_EQ(touch(drag_bar("fill-x", 1, 9), 10, 20), -1);
    EXPECT_EQ(touch(drag_bar("fill-y", 9, 1), 10, 20), -1);
    EXPECT_EQ(touch(drag_bar("fill-y", 9, 0), 10, 20), -1);
}

TEST(skin_behavior, survives_absurd_touches)
{
    element_values values = drag_bar("fill-x", INT32_MAX, INT32_MAX);
    values.x = INT32_MAX;
    EXPECT_EQ(touch(values, INT32_MIN, INT32_MIN), -1);
    values.x = INT32_MIN;
    values.y = INT32_MIN;
    EXPECT_EQ(touch(values, INT32_MAX, INT32_MAX), -1);
    EXPECT_EQ(touch(values, -1, -1), -1);
    EXPECT_EQ(touch(values, -2, -2), 1000);
}
