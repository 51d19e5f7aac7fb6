/* What elements draw, call by call, and what a touch on a bar means. The drawing functions below
 * stand in for the platform's and keep what they are asked to do. */
#include "skin/skin.h"

#include "platform/draw/fb.h"
#include "platform/image/image.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

static std::vector<std::string> calls;

int fb_draw_image(fb_surface *, const image *, int32_t dest_x, int32_t dest_y, int32_t w, int32_t h,
                  int32_t src_x, int32_t src_y, int32_t alpha)
{
    EXPECT_EQ(alpha, 255);
    char text[128];
    snprintf(text, sizeof(text), "%d,%d %dx%d from %d,%d", dest_x, dest_y, w, h, src_x, src_y);
    calls.push_back(text);
    return 0;
}

int fb_draw_rect(fb_surface *, int32_t x, int32_t y, int32_t w, int32_t h, uint16_t colour)
{
    char text[128];
    snprintf(text, sizeof(text), "rect %d,%d %dx%d %04x", x, y, w, h, colour);
    calls.push_back(text);
    return 0;
}

struct element_values {
    const char *name = "scroll";
    const char *type = nullptr;
    int32_t x = 0, y = 0, width = 0, height = 0, value = 0;
    int32_t origin_x = 0, origin_y = 0;
    int32_t image_width = 0, image_height = 0; /* 0: no image */
};

using call_list = std::vector<std::string>;

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

static call_list draw(const element_values &values)
{
    skin_element element = make_element(values);
    image picture = {};
    picture.width = values.image_width;
    picture.height = values.image_height;
    element.image = values.image_width != 0 ? &picture : nullptr;
    fb_surface surface = {};
    surface.width = 320;
    surface.height = 240;
    calls.clear();
    last_result = skin_common_behavior(&element, &surface);
    free(element.type);
    return calls;
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
        EXPECT_EQ(draw({.name = name,
                        .x = 3,
                        .y = 4,
                        .width = 99,
                        .height = 99,
                        .origin_x = 5,
                        .origin_y = 6,
                        .image_width = 30,
                        .image_height = 10}),
                  call_list{"3,4 30x10 from 0,0"});
        EXPECT_EQ(last_result, 1);
        EXPECT_EQ(draw({.name = name}), call_list{});
        EXPECT_EQ(last_result, 1);
    }
}

TEST(skin_behavior, fills_rectangles)
{
    EXPECT_EQ(draw({.name = "rect", .x = -1, .y = 2, .width = 30, .height = 40, .origin_x = 9}),
              call_list{"rect -1,2 30x40 1234"});
    EXPECT_EQ(last_result, 0);
}

TEST(skin_behavior, leaves_other_elements_to_the_screen)
{
    for (const char *name : {"text", "list", "item", "lyrics", "album_cover", "Img", "imgs", ""}) {
        EXPECT_EQ(draw({.name = name,
                        .type = "fill-x",
                        .width = 9,
                        .height = 9,
                        .value = 500,
                        .image_width = 5,
                        .image_height = 5}),
                  call_list{});
        EXPECT_EQ(last_result, 0);
    }
}

TEST(skin_behavior, draws_no_bar_without_image_or_known_type)
{
    EXPECT_EQ(draw(bar("fill-x", 500, 0, 0)), call_list{});
    EXPECT_EQ(last_result, 0);
    for (const char *type : {"fill", "fill-z", "Fill-x", "fill-x-", ""})
        EXPECT_EQ(draw(bar(type, 500)), call_list{}) << type;
    EXPECT_EQ(draw(bar(nullptr, 500)), call_list{});
}

TEST(skin_behavior, fills_from_the_left)
{
    EXPECT_EQ(draw(bar("fill-x", 500)), (call_list{"0,0 30x7 from 0,0", "30,0 20x7 from 0,0"}));
    EXPECT_EQ(draw(bar("fill-x", 333)), (call_list{"0,0 30x7 from 0,0", "30,0 3x7 from 0,0"}));
    EXPECT_EQ(draw(bar("fill-x", 0)), call_list{});
    EXPECT_EQ(draw(bar("fill-x", 1000)).size(), 4u);
    EXPECT_EQ(draw(bar("fill-x", 1000)).back(), "90,0 10x7 from 0,0");
    EXPECT_EQ(last_result, 0);
}

TEST(skin_behavior, fills_from_the_right)
{
    EXPECT_EQ(draw(bar("fill-x-rev", 500)),
              (call_list{"50,0 30x7 from 0,0", "80,0 20x7 from 0,0"}));
    EXPECT_EQ(draw(bar("fill-x-rev", 1000)).front(), "0,0 30x7 from 0,0");
    EXPECT_EQ(draw(bar("fill-x-rev", 0)), call_list{});
    EXPECT_EQ(draw(bar("fill-x-rev", 333)).front(), "67,0 30x7 from 0,0");
}

TEST(skin_behavior, fills_from_above_and_below)
{
    EXPECT_EQ(draw(bar("fill-y", 250)), (call_list{"0,0 30x7 from 0,0", "0,7 30x3 from 0,0"}));
    EXPECT_EQ(draw(bar("fill-y-rev", 250)),
              (call_list{"0,30 30x7 from 0,0", "0,37 30x3 from 0,0"}));
    EXPECT_EQ(draw(bar("fill-y", 0)), call_list{});
    EXPECT_EQ(draw(bar("fill-y-rev", 0)), call_list{});
}

TEST(skin_behavior, moves_the_image_along_the_bar)
{
    EXPECT_EQ(draw(bar("move-x", 333)), call_list{"33,0 30x7 from 0,0"});
    EXPECT_EQ(draw(bar("move-x-rev", 0)), call_list{"100,0 30x7 from 0,0"});
    EXPECT_EQ(draw(bar("move-x-rev", 333)), call_list{"67,0 30x7 from 0,0"});
    EXPECT_EQ(draw(bar("move-x-rev", 1000)), call_list{"0,0 30x7 from 0,0"});
    EXPECT_EQ(draw(bar("move-y", 999)), call_list{"0,39 30x7 from 0,0"});
    EXPECT_EQ(draw(bar("move-y-rev", 999)), call_list{"0,1 30x7 from 0,0"});
}

TEST(skin_behavior, shows_a_part_of_the_image)
{
    EXPECT_EQ(draw(bar("part-x", 250, 100, 40)), call_list{"0,0 25x40 from 0,0"});
    EXPECT_EQ(draw(bar("part-x-rev", 250, 100, 40)), call_list{"75,0 25x40 from 75,0"});
    EXPECT_EQ(draw(bar("part-y", 250, 100, 40)), call_list{"0,0 100x10 from 0,0"});
    EXPECT_EQ(draw(bar("part-y-rev", 250, 100, 40)), call_list{"0,30 100x10 from 0,30"});
}

TEST(skin_behavior, moves_bars_by_their_origin)
{
    const char *types[] = {"fill-x", "fill-x-rev", "fill-y", "fill-y-rev", "move-x", "move-x-rev",
                           "move-y", "move-y-rev", "part-x", "part-x-rev", "part-y", "part-y-rev"};
    for (const char *type : types) {
        element_values values = bar(type, 1000, 100, 40);
        const std::string plain = draw(values).at(0);
        values.x = 20;
        values.y = 30;
        values.origin_x = 5;
        values.origin_y = -4;
        int x = 0, y = 0, moved_x = 0, moved_y = 0;
        ASSERT_EQ(sscanf(plain.c_str(), "%d,%d", &x, &y), 2);
        ASSERT_EQ(sscanf(draw(values).at(0).c_str(), "%d,%d", &moved_x, &moved_y), 2);
        EXPECT_EQ(moved_x - x, 15) << type;
        EXPECT_EQ(moved_y - y, 34) << type;
    }
}

TEST(skin_behavior, survives_absurd_bars)
{
    element_values values = bar("fill-x", 1000, 1, 1);
    values.width = INT32_MAX;
    EXPECT_LE(draw(values).size(), 4096u);
    values.x = -INT32_MAX;
    values.origin_x = INT32_MAX;
    EXPECT_LE(draw(values).size(), 4096u);
    values.type = "fill-x-rev";
    values.value = INT32_MAX;
    EXPECT_LE(draw(values).size(), 4096u);
    values = bar("move-x", INT32_MIN);
    values.width = INT32_MAX;
    EXPECT_EQ(draw(values).size(), 1u);
    for (const char *type : {"fill-x", "fill-y-rev", "part-x", "move-y"}) {
        EXPECT_EQ(draw(bar(type, 500, -1, 5)), call_list{});
        EXPECT_EQ(draw(bar(type, 500, 5, -1)), call_list{});
    }
}

TEST(skin_behavior, starts_a_far_bar_on_a_whole_tile)
{
    element_values values = bar("fill-x", 1000, 30, 7);
    values.x = -1000;
    values.width = 1100;
    const call_list drawn = draw(values);
    EXPECT_EQ(drawn.front(), "-10,0 30x7 from 0,0");
    EXPECT_EQ(drawn.back(), "80,0 20x7 from 0,0");
    values.x = -900;
    values.origin_x = 100;
    EXPECT_EQ(draw(values), drawn) << "the origin counts as well";
    values = bar("fill-y", 1000, 30, 7);
    values.y = -800;
    values.origin_y = 100;
    values.height = 905;
    EXPECT_EQ(draw(values), (call_list{"0,-4 30x7 from 0,0", "0,3 30x2 from 0,0"}));
}

TEST(skin_behavior, tiles_an_image_of_one_pixel)
{
    for (const char *type : {"fill-x", "fill-y"}) {
        element_values values = bar(type, 30, 1, 1);
        values.height = 100;
        EXPECT_EQ(draw(values).size(), 3u) << type;
    }
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
