/* The bare device's panel in memory: where a frame comes to lie in it, and in which bits. */
#include "platform/device/linux/device_linux.h"
#include "platform/draw/fb.h"

#include <cstring>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

class linux_panel_of : public testing::Test
{
  protected:
    void SetUp() override
    {
        frame = fb_create(4, 3);
        ASSERT_NE(frame, nullptr);
        for (int i = 0; i < 12; i++)
            frame->pixels[i / 4 * frame->stride + i % 4] = static_cast<uint16_t>(0x1111 * (i + 1));
    }
    void TearDown() override { fb_free(frame); }

    linux_panel make(int32_t width, int32_t height, int32_t bytes, int32_t spare = 0)
    {
        const int32_t line = width * bytes + spare;
        memory.assign(static_cast<size_t>(line) * static_cast<size_t>(height) + 16, 0xab);
        const linux_panel small = {memory.data(), width, height, line, 2, {11, 5}, {5, 6}, {0, 5}};
        const linux_panel large = {memory.data(), width, height, line, 4, {16, 8}, {8, 8}, {0, 8}};
        return bytes == 2 ? small : large;
    }

    uint32_t at(const linux_panel &panel, int32_t x, int32_t y)
    {
        uint32_t value = 0;
        memcpy(&value, memory.data() + y * panel.line_bytes + x * panel.pixel_bytes,
               static_cast<size_t>(panel.pixel_bytes));
        return value;
    }

    void draw(const linux_panel &panel)
    {
        linux_panel_draw(&panel, frame, linux_rows_of(&frame->changes));
    }

    uint16_t pixel(int32_t x, int32_t y) { return frame->pixels[y * frame->stride + x]; }

    void expect_untouched_end()
    {
        for (size_t i = memory.size() - 16; i < memory.size(); i++)
            ASSERT_EQ(memory[i], 0xab);
    }

    fb_surface *frame = nullptr;
    std::vector<uint8_t> memory;
};

TEST_F(linux_panel_of, its_own_size_gets_the_frame_as_it_is)
{
    const linux_panel panel = make(4, 3, 2, 6);
    draw(panel);
    for (int32_t y = 0; y < 3; y++) {
        for (int32_t x = 0; x < 4; x++)
            EXPECT_EQ(at(panel, x, y), pixel(x, y));
        EXPECT_EQ(memory[static_cast<size_t>(y * panel.line_bytes + 8)], 0xab) << "beside the row";
    }
    expect_untouched_end();
}

TEST_F(linux_panel_of, a_larger_size_gets_whole_squares_in_the_middle)
{
    const linux_panel panel = make(11, 7, 2);
    linux_panel_clear(&panel);
    draw(panel);
    for (int32_t y = 0; y < 7; y++) {
        for (int32_t x = 0; x < 11; x++) {
            const bool inside = x >= 1 && x < 9 && y < 6;
            ASSERT_EQ(at(panel, x, y), inside ? pixel((x - 1) / 2, y / 2) : 0) << x << "," << y;
        }
    }
    expect_untouched_end();
}

TEST_F(linux_panel_of, a_smaller_size_shows_the_middle)
{
    const linux_panel panel = make(2, 1, 2);
    draw(panel);
    EXPECT_EQ(at(panel, 0, 0), pixel(1, 1));
    EXPECT_EQ(at(panel, 1, 0), pixel(2, 1));
    expect_untouched_end();
}

/* Where a pixel of the frame comes to lie, the slow way: turned by a quarter as often as asked. */
static std::pair<int32_t, int32_t> turned(int32_t x, int32_t y, int32_t turn)
{
    int32_t width = 4, height = 3;
    for (int32_t i = 0; i < turn; i++) {
        const int32_t before = x;
        x = height - 1 - y;
        y = before;
        std::swap(width, height);
    }
    return {x, y};
}

TEST_F(linux_panel_of, a_turned_frame_lies_as_it_would_after_so_many_quarters)
{
    for (int32_t turn = 0; turn < 4; turn++) {
        for (const int32_t scale : {1, 2, 3}) {
            for (const int32_t bytes : {2, 4}) {
                const int32_t columns = turn % 2 ? 3 : 4, rows = turn % 2 ? 4 : 3;
                linux_panel panel = make(columns * scale + 1, rows * scale + 1, bytes, 4);
                panel.turn = turn;
                linux_panel_clear(&panel);
                draw(panel);
                for (int32_t y = 0; y < 3 * scale; y++) {
                    for (int32_t x = 0; x < 4 * scale; x++) {
                        auto [to_x, to_y] = turned(x / scale, y / scale, turn);
                        int32_t back_x = to_x * scale, back_y = to_y * scale;
                        uint16_t five_six_five = pixel(x / scale, y / scale);
                        const uint32_t got = at(panel, back_x, back_y);
                        if (bytes == 2)
                            ASSERT_EQ(got, five_six_five) << turn << ": " << x << "," << y;
                        else
                            ASSERT_EQ(got >> 19, uint32_t{five_six_five} >> 11) << turn;
                        ASSERT_EQ(got, at(panel, back_x + scale - 1, back_y + scale - 1));
                    }
                }
                EXPECT_EQ(at(panel, panel.width - 1, 0), 0u) << "beside the picture";
                EXPECT_EQ(at(panel, 0, panel.height - 1), 0u) << "below it";
                expect_untouched_end();
            }
        }
    }
}

TEST_F(linux_panel_of, only_rows_that_are_asked_for_are_drawn_however_it_is_turned)
{
    for (int32_t turn = 0; turn < 4; turn++) {
        linux_panel panel = make(turn % 2 ? 6 : 8, turn % 2 ? 8 : 6, 2);
        panel.turn = turn;
        linux_panel_clear(&panel);
        linux_rows rows;
        rows[1] = true;
        linux_panel_draw(&panel, frame, rows);
        for (int32_t y = 0; y < 3; y++) {
            for (int32_t x = 0; x < 4; x++) {
                const auto [to_x, to_y] = turned(x, y, turn);
                ASSERT_EQ(at(panel, to_x * 2 + 1, to_y * 2), y == 1 ? pixel(x, y) : 0) << turn;
            }
        }
    }
}

TEST_F(linux_panel_of, only_what_changed_is_copied_where_nothing_is_to_be_converted)
{
    const linux_panel panel = make(4, 3, 2, 6);
    frame->changes = {.partial = true, .count = 2, .rects = {{0, 1, 2, 2}, {3, 0, 1, 1}}};
    ASSERT_TRUE(linux_panel_copy(&panel, frame, &frame->changes));
    for (int32_t y = 0; y < 3; y++)
        for (int32_t x = 0; x < 4; x++) {
            const bool inside = (x < 2 && y > 0) || (x == 3 && y == 0);
            EXPECT_EQ(at(panel, x, y), inside ? pixel(x, y) : 0xabab) << x << "," << y;
        }
    frame->changes = {};
    ASSERT_TRUE(linux_panel_copy(&panel, frame, &frame->changes));
    EXPECT_EQ(at(panel, 2, 2), pixel(2, 2)) << "nobody knows what changed";
    EXPECT_EQ(memory[8], 0xab) << "beside the row";
    expect_untouched_end();
}

TEST_F(linux_panel_of, nothing_is_copied_to_another_shape_or_another_kind_of_pixels)
{
    linux_panel turned = make(4, 3, 2);
    turned.turn = 2;
    linux_panel swapped = turned;
    swapped.turn = 0;
    std::swap(swapped.red, swapped.blue);
    const std::vector<uint8_t> before = memory;
    EXPECT_FALSE(linux_panel_copy(&turned, frame, &frame->changes));
    EXPECT_FALSE(linux_panel_copy(&swapped, frame, &frame->changes));
    EXPECT_EQ(memory, before);
    for (const auto &panel : {make(5, 3, 2), make(4, 4, 2), make(4, 3, 4)})
        EXPECT_FALSE(linux_panel_copy(&panel, frame, &frame->changes));
}

TEST_F(linux_panel_of, a_turned_frame_is_cropped_where_the_panel_is_smaller)
{
    linux_panel panel = make(1, 2, 2);
    panel.turn = 1;
    draw(panel);
    EXPECT_EQ(at(panel, 0, 0), pixel(1, 1));
    EXPECT_EQ(at(panel, 0, 1), pixel(2, 1));
    expect_untouched_end();
}

TEST(linux_panel, a_point_of_the_panel_is_the_pixel_that_is_shown_there)
{
    fb_surface *picture = fb_create(device_width, device_height);
    ASSERT_NE(picture, nullptr);
    const struct {
        int32_t width, height;
    } sizes[] = {{320, 240}, {240, 320}, {800, 480}, {480, 800}, {300, 200}};
    for (const auto &size : sizes) {
        for (int32_t turn = 0; turn < 4; turn++) {
            std::vector<uint16_t> memory(static_cast<size_t>(size.width * size.height), 0);
            const linux_panel panel = {reinterpret_cast<uint8_t *>(memory.data()),
                                       size.width,
                                       size.height,
                                       size.width * 2,
                                       2,
                                       {11, 5},
                                       {5, 6},
                                       {0, 5},
                                       0,
                                       turn};
            for (int32_t y = 3; y < size.height; y += 91) {
                for (int32_t x = 2; x < size.width; x += 97) {
                    int32_t to_x = x, to_y = y;
                    if (!linux_panel_point(&panel, &to_x, &to_y))
                        continue;
                    ASSERT_TRUE(to_x >= 0 && to_x < device_width && to_y >= 0 &&
                                to_y < device_height);
                    uint16_t *there = picture->pixels + to_y * picture->stride + to_x;
                    *there = 0xabcd;
                    linux_panel_draw(&panel, picture, linux_rows().set());
                    ASSERT_EQ(memory[static_cast<size_t>(y * size.width + x)], 0xabcd)
                        << size.width << "," << turn << ": " << x << "," << y;
                    *there = 0;
                }
            }
        }
    }
    EXPECT_EQ(fb_free(picture), 0);
}

TEST(linux_panel, a_point_beside_the_picture_is_none)
{
    const linux_panel wide = {nullptr, 800, 480, 1600, 2, {}, {}, {}};
    for (const int32_t x : {0, 79, 720, 799}) {
        int32_t to_x = x, to_y = 100;
        EXPECT_FALSE(linux_panel_point(&wide, &to_x, &to_y)) << x;
    }
    int32_t x = 80, y = 0;
    EXPECT_TRUE(linux_panel_point(&wide, &x, &y));
    EXPECT_EQ(x, 0);
}

TEST(linux_panel, is_turned_as_wished_else_as_the_console_else_by_its_shape)
{
    EXPECT_EQ(linux_panel_turn_of(nullptr, nullptr, 320, 240), 0);
    EXPECT_EQ(linux_panel_turn_of(nullptr, nullptr, 240, 320), 1);
    EXPECT_EQ(linux_panel_turn_of(nullptr, "0\n", 240, 320), 1);
    EXPECT_EQ(linux_panel_turn_of(nullptr, "3\n", 240, 320), 3);
    EXPECT_EQ(linux_panel_turn_of(nullptr, "2\n", 320, 240), 2);
    EXPECT_EQ(linux_panel_turn_of("0", "3\n", 240, 320), 0);
    EXPECT_EQ(linux_panel_turn_of("270", nullptr, 320, 240), 3);
    for (const char *word : {"", "45", "90 ", "left"})
        EXPECT_EQ(linux_panel_turn_of(word, nullptr, 240, 320), 1) << word;
}

TEST_F(linux_panel_of, thirty_two_bits_get_the_full_range)
{
    frame->pixels[0] = 0xffff;
    frame->pixels[1] = 0xf800;
    frame->pixels[2] = 0x07e0;
    frame->pixels[3] = 0x001f;
    const linux_panel panel = make(8, 6, 4, 8);
    draw(panel);
    EXPECT_EQ(at(panel, 1, 1), 0xffffffu);
    EXPECT_EQ(at(panel, 2, 0), 0xff0000u);
    EXPECT_EQ(at(panel, 5, 1), 0x00ff00u);
    EXPECT_EQ(at(panel, 6, 0), 0x0000ffu);
    expect_untouched_end();
}

TEST_F(linux_panel_of, another_order_of_colours_is_kept)
{
    frame->pixels[0] = 0xf800;
    linux_panel panel = make(4, 3, 2);
    panel.red = {0, 5};
    panel.blue = {11, 5};
    draw(panel);
    EXPECT_EQ(at(panel, 0, 0), 0x001fu);
    panel.red = {10, 5};
    panel.green = {5, 5};
    panel.blue = {0, 5};
    draw(panel);
    EXPECT_EQ(at(panel, 0, 0), 0x7c00u);
}

TEST_F(linux_panel_of, three_bytes_a_pixel_overlap_none_of_their_neighbours)
{
    frame->pixels[0] = 0xf800;
    frame->pixels[1] = 0x07e0;
    frame->pixels[2] = 0x001f;
    linux_panel panel = make(4, 3, 4);
    panel.pixel_bytes = 3;
    panel.line_bytes = 12 + 4;
    draw(panel);
    EXPECT_EQ(at(panel, 0, 0), 0xff0000u);
    EXPECT_EQ(at(panel, 1, 0), 0x00ff00u);
    EXPECT_EQ(at(panel, 2, 0), 0x0000ffu);
    EXPECT_EQ(memory[12], 0xab) << "wrote behind the line";
    linux_panel_clear(&panel);
    EXPECT_EQ(at(panel, 3, 2), 0u);
    EXPECT_EQ(memory[12], 0xab);
}

TEST_F(linux_panel_of, one_byte_a_pixel_keeps_three_three_and_two_bits)
{
    frame->pixels[0] = 0xffff;
    frame->pixels[1] = 0xf800;
    frame->pixels[2] = 0x07e0;
    frame->pixels[3] = 0x001f;
    linux_panel panel = make(4, 3, 4);
    panel.pixel_bytes = 1;
    panel.line_bytes = 4;
    panel.red = {5, 3};
    panel.green = {2, 3};
    panel.blue = {0, 2};
    draw(panel);
    EXPECT_EQ(at(panel, 0, 0), 0xffu);
    EXPECT_EQ(at(panel, 1, 0), 0xe0u);
    EXPECT_EQ(at(panel, 2, 0), 0x1cu);
    EXPECT_EQ(at(panel, 3, 0), 0x03u);
    EXPECT_EQ(memory[12], 0xab);
}

TEST_F(linux_panel_of, pixels_that_could_let_through_do_not)
{
    frame->pixels[0] = 0;
    linux_panel panel = make(4, 3, 4);
    panel.opaque = 0xff000000;
    draw(panel);
    EXPECT_EQ(at(panel, 0, 0), 0xff000000u);
}
