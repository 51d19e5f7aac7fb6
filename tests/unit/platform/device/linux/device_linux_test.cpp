/* The bare device: its panel in memory and its buttons through pipes. */
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/device/linux/device_linux.h"
#include "platform/draw/fb.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"
#include "support/scratch.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

/* ---- Panel ---- */

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

/* ---- Buttons and fingers ---- */

class linux_input_of : public testing::Test
{
  protected:
    void SetUp() override
    {
        device_current = &device_linux;
        ASSERT_EQ(key_open(), 0);
        ASSERT_EQ(touch_open(), 0);
    }
    void TearDown() override
    {
        touch_close();
        key_close();
        for (const int end : ends)
            close(end);
    }

    int attach(const linux_touch_ranges &panel = {}, const linux_trigger (&triggers)[2] = {{}, {}})
    {
        return attach_axes(linux_axes{panel, {triggers[0], triggers[1]}, {}, {}});
    }

    int attach_axes(const linux_axes &axes)
    {
        int pair[2];
        EXPECT_EQ(pipe(pair), 0);
        EXPECT_EQ(linux_input_add(pair[0], &axes), 0);
        ends.push_back(pair[1]);
        return pair[1];
    }

    static void send(int to, uint16_t type, uint16_t code, int32_t value)
    {
        input_event record = {};
        record.type = type;
        record.code = code;
        record.value = value;
        ASSERT_EQ(write(to, &record, sizeof record), ssize_t{sizeof record});
    }

    static void report(int to) { send(to, EV_SYN, SYN_REPORT, 0); }

    static key_report pass()
    {
        key_report keys;
        key_check(&keys);
        return keys;
    }

    static void expect_touch(int32_t type, int32_t x, int32_t y)
    {
        int32_t got_x = -1, got_y = -1, got_type = 0;
        EXPECT_EQ(touch_check(&got_x, &got_y, &got_type), type != 0);
        EXPECT_EQ(got_type, type);
        if (type != 0) {
            EXPECT_EQ(got_x, x);
            EXPECT_EQ(got_y, y);
        }
    }

    std::vector<int> ends;
};

constexpr linux_touch_ranges panel_ranges = {{100, 3900}, {3800, 200}}; /* y counts upwards */

TEST_F(linux_input_of, buttons_are_keys)
{
    const int buttons = attach();
    const struct {
        uint16_t code;
        uint32_t mask;
    } codes[] = {
        {KEY_UP, key_up},         {KEY_ENTER, key_select},       {KEY_ESC, key_back},
        {BTN_SOUTH, key_select},  {BTN_TL, key_page_up},         {KEY_VOLUMEUP, key_vol_up},
        {KEY_POWER, key_quit},    {KEY_TAB, key_switch},         {KEY_F5, key_reload},
        {BTN_SELECT, key_switch}, {BTN_START, key_media_play},   {BTN_TL2, key_vol_down},
        {BTN_TR2, key_vol_up},    {KEY_NEXTSONG, key_media_next}};
    for (const auto &each : codes) {
        send(buttons, EV_KEY, each.code, 1);
        report(buttons);
        EXPECT_EQ(pass().pressed, each.mask);
        send(buttons, EV_KEY, each.code, 2);
        report(buttons);
        EXPECT_EQ(pass().repeat, 0u) << "the kernel's repeats are not ours";
        send(buttons, EV_KEY, each.code, 0);
        report(buttons);
        EXPECT_EQ(pass().released, each.mask);
    }
    send(buttons, EV_KEY, KEY_F12, 1);
    EXPECT_EQ(pass().held, 0u);
}

TEST_F(linux_input_of, a_direction_hat_is_four_keys)
{
    const int pad = attach();
    send(pad, EV_ABS, ABS_HAT0X, -1);
    EXPECT_EQ(pass().pressed, key_left);
    send(pad, EV_ABS, ABS_HAT0X, 1);
    send(pad, EV_ABS, ABS_HAT0Y, -1);
    EXPECT_EQ(pass().held, key_right | key_up);
    send(pad, EV_ABS, ABS_HAT0X, 0);
    send(pad, EV_ABS, ABS_HAT0Y, 0);
    EXPECT_EQ(pass().held, 0u);
}

constexpr linux_trigger pad_triggers[2] = {{ABS_Z, {0, 255}}, {ABS_RZ, {0, 255}}};

TEST_F(linux_input_of, triggers_that_are_axes_are_volume_keys)
{
    const int pad = attach({}, pad_triggers);
    send(pad, EV_ABS, ABS_Z, 255);
    EXPECT_EQ(pass().pressed, key_vol_down);
    send(pad, EV_ABS, ABS_RZ, 200);
    EXPECT_EQ(pass().pressed, key_vol_up);
    send(pad, EV_ABS, ABS_Z, 0);
    EXPECT_EQ(pass().released, key_vol_down);
    EXPECT_EQ(pass().held, key_vol_up);
    close(pad);
    ends.clear();
    EXPECT_EQ(pass().held, 0u) << "unplugged";
}

TEST_F(linux_input_of, a_trigger_that_trembles_presses_once)
{
    const int pad = attach({}, {{ABS_BRAKE, {0, 1023}}, {ABS_GAS, {0, 1023}}});
    send(pad, EV_ABS, ABS_GAS, 500);
    EXPECT_EQ(pass().held, 0u) << "not half way";
    send(pad, EV_ABS, ABS_GAS, 520);
    EXPECT_EQ(pass().pressed, key_vol_up);
    for (const int32_t value : {505, 515, 400, 512}) {
        send(pad, EV_ABS, ABS_GAS, value);
        const key_report keys = pass();
        EXPECT_EQ(keys.pressed | keys.released, 0u) << value;
    }
    send(pad, EV_ABS, ABS_GAS, 380);
    EXPECT_EQ(pass().released, key_vol_up);
}

TEST_F(linux_input_of, triggers_of_any_range_press)
{
    for (const linux_range &range :
         {linux_range{-32768, 32767}, linux_range{0, 255}, linux_range{INT32_MIN, INT32_MAX}}) {
        const int pad = attach({}, {{ABS_Z, range}, {ABS_RZ, range}});
        send(pad, EV_ABS, ABS_RZ, range.most);
        EXPECT_EQ(pass().pressed, key_vol_up) << range.least;
        send(pad, EV_ABS, ABS_RZ, range.least);
        EXPECT_EQ(pass().released, key_vol_up) << range.least;
    }
}

TEST_F(linux_input_of, a_trigger_that_is_an_axis_and_a_button_is_one_key)
{
    const int pad = attach({}, pad_triggers);
    send(pad, EV_ABS, ABS_RZ, 255);
    EXPECT_EQ(pass().pressed, key_vol_up);
    send(pad, EV_KEY, BTN_TR2, 1);
    EXPECT_EQ(pass().pressed, 0u);
    send(pad, EV_KEY, BTN_TR2, 0);
    EXPECT_EQ(pass().held, key_vol_up) << "still pulled";
    send(pad, EV_ABS, ABS_RZ, 0);
    EXPECT_EQ(pass().released, key_vol_up);
}

TEST_F(linux_input_of, sticks_on_the_axes_of_triggers_press_nothing)
{
    const int pad = attach();
    send(pad, EV_ABS, ABS_Z, 255);
    send(pad, EV_ABS, ABS_RZ, 0);
    EXPECT_EQ(pass().held, 0u);
}

TEST_F(linux_input_of, a_trigger_that_turns_out_to_be_a_stick_presses_nothing)
{
    const int pad = attach({}, {{ABS_Z, {0, 255}, true}, {ABS_RZ, {0, 255}, true}});
    send(pad, EV_ABS, ABS_Z, 128); /* all axes of a pad are told when the first button is pressed */
    send(pad, EV_ABS, ABS_RZ, 130);
    for (const int32_t value : {255, 0, 128}) {
        send(pad, EV_ABS, ABS_Z, value);
        send(pad, EV_ABS, ABS_RZ, value);
        EXPECT_EQ(pass().held, 0u) << value;
    }
}

TEST_F(linux_input_of, a_trigger_that_turns_out_to_be_one_presses)
{
    const int pad = attach({}, {{ABS_Z, {0, 255}, true}, {ABS_RZ, {0, 255}, true}});
    send(pad, EV_ABS, ABS_Z, 40);
    send(pad, EV_ABS, ABS_Z, 129);
    EXPECT_EQ(pass().held, key_vol_down);
    send(pad, EV_ABS, ABS_RZ, 255);
    EXPECT_EQ(pass().held, key_vol_down | key_vol_up);
}

TEST_F(linux_input_of, a_lever_that_turns_out_to_be_a_stick_presses_both_ends)
{
    linux_axes axes = {};
    axes.sticks[ABS_X] = {0, 255};
    axes.resting[ABS_X] = -1;
    const int pad = attach_axes(axes);
    send(pad, EV_ABS, ABS_X, 128);
    EXPECT_EQ(pass().held, 0u);
    send(pad, EV_ABS, ABS_X, 0);
    EXPECT_EQ(pass().held, key_left);
    send(pad, EV_ABS, ABS_X, 255);
    EXPECT_EQ(pass().held, key_right);
}

TEST_F(linux_input_of, sticks_are_directions_from_half_way)
{
    linux_axes axes = {};
    axes.sticks[ABS_X] = {-32768, 32767};
    axes.sticks[ABS_Y] = {0, 255};
    const int pad = attach_axes(axes);
    send(pad, EV_ABS, ABS_X, -16000);
    send(pad, EV_ABS, ABS_Y, 127);
    EXPECT_EQ(pass().held, 0u);
    send(pad, EV_ABS, ABS_X, -17000);
    EXPECT_EQ(pass().pressed, key_left);
    for (const int32_t value : {-16000, -16500, -12500}) {
        send(pad, EV_ABS, ABS_X, value);
        const key_report keys = pass();
        EXPECT_EQ(keys.pressed | keys.released, 0u) << value;
    }
    send(pad, EV_ABS, ABS_X, 32767);
    EXPECT_EQ(pass().held, key_right);
    send(pad, EV_ABS, ABS_X, 0);
    send(pad, EV_ABS, ABS_Y, 255);
    EXPECT_EQ(pass().held, key_down);
    send(pad, EV_ABS, ABS_RX, 255);
    EXPECT_EQ(pass().held, key_down) << "no stick of this pad";
}

TEST_F(linux_input_of, a_lever_presses_the_end_at_which_it_does_not_rest)
{
    linux_axes axes = {};
    axes.sticks[ABS_X] = {0, 255};
    axes.resting[ABS_X] = -1;
    const int pad = attach_axes(axes);
    send(pad, EV_ABS, ABS_X, 5);
    EXPECT_EQ(pass().held, 0u);
    send(pad, EV_ABS, ABS_X, 250);
    EXPECT_EQ(pass().held, key_right);
    send(pad, EV_ABS, ABS_X, 0);
    EXPECT_EQ(pass().held, 0u);
}

/* A map of the test's own instead of the file's. */
static void use_map(const char *text)
{
    static key_map map;
    key_map_report report = {};
    key_map_defaults(&map, key_machine::handheld);
    key_map_read(&map, text, strlen(text), "keys.txt", &report);
    EXPECT_EQ(report.bad_lines, 0u) << report.first;
    key_map_use(&map);
}

TEST_F(linux_input_of, a_chord_may_span_two_devices)
{
    use_map("page_up = KEY_POWER + KEY_VOLUMEUP");
    const int power = attach(), volume = attach();
    send(power, EV_KEY, KEY_POWER, 1);
    EXPECT_EQ(pass().held, 0u);
    send(volume, EV_KEY, KEY_VOLUMEUP, 1);
    EXPECT_EQ(pass().pressed, key_page_up);
    send(volume, EV_KEY, KEY_VOLUMEUP, 2);
    EXPECT_EQ(pass().repeat, 0u) << "the kernel's repeats are not ours";
    send(power, EV_KEY, KEY_POWER, 0);
    EXPECT_EQ(pass().released, key_page_up);
    send(power, EV_KEY, KEY_POWER, 1);
    send(power, EV_KEY, KEY_POWER, 0);
    EXPECT_EQ(pass().pressed, key_quit) << "alone";
}

TEST_F(linux_input_of, a_device_that_goes_while_its_chord_waits_presses_nothing)
{
    use_map("page_up = KEY_POWER + KEY_VOLUMEUP");
    const int power = attach();
    send(power, EV_KEY, KEY_POWER, 1);
    send(power, EV_SYN, SYN_DROPPED, 0);
    send(power, EV_SYN, SYN_REPORT, 0);
    EXPECT_EQ(pass().pressed, 0u);
    send(power, EV_KEY, KEY_POWER, 1);
    EXPECT_EQ(pass().pressed, 0u);
    close(power);
    ends.clear();
    EXPECT_EQ(pass().pressed, 0u);
}

TEST_F(linux_input_of, switches_lock_and_survive_what_the_kernel_drops)
{
    use_map("hold = SW_KEYPAD_SLIDE\nheadphones = SW_HEADPHONE_INSERT");
    const int slide = attach();
    send(slide, EV_SW, SW_KEYPAD_SLIDE, 1);
    send(slide, EV_SW, SW_HEADPHONE_INSERT, 1);
    send(slide, EV_SW, 0xffff, 1);
    send(slide, EV_KEY, KEY_UP, 1);
    EXPECT_EQ(pass().held, 0u);
    EXPECT_TRUE(key_is_locked());
    send(slide, EV_SYN, SYN_DROPPED, 0);
    send(slide, EV_SYN, SYN_REPORT, 0);
    pass();
    EXPECT_TRUE(key_is_locked());
    EXPECT_FALSE(key_take_pulled());
    send(slide, EV_SW, SW_KEYPAD_SLIDE, 0);
    pass();
    EXPECT_FALSE(key_is_locked());
    close(slide);
    ends.clear();
    pass();
    EXPECT_TRUE(key_take_pulled()) << "a device that is gone has no plug";
}

struct pad_bits {
    unsigned char keys[KEY_MAX / 8 + 1] = {}, axes[ABS_MAX / 8 + 1] = {};
    pad_bits(std::initializer_list<unsigned> with_keys, std::initializer_list<unsigned> with_axes)
    {
        for (const unsigned each : with_keys)
            keys[each / 8] = static_cast<unsigned char>(keys[each / 8] | 1u << each % 8);
        for (const unsigned each : with_axes)
            axes[each / 8] = static_cast<unsigned char>(axes[each / 8] | 1u << each % 8);
    }
    std::pair<int, int> triggers() const
    {
        uint16_t found[2] = {};
        return linux_trigger_axes(keys, axes, found) ? std::pair<int, int>(found[0], found[1])
                                                     : std::pair<int, int>();
    }
};

TEST(linux_pads, have_their_triggers_where_their_sticks_are_not)
{
    using axes = std::pair<int, int>;
    const pad_bits two_sticks({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_Z, ABS_RX, ABS_RY, ABS_RZ});
    EXPECT_EQ(two_sticks.triggers(), axes(ABS_Z, ABS_RZ));
    const pad_bits pedals({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_Z, ABS_RZ, ABS_GAS, ABS_BRAKE});
    EXPECT_EQ(pedals.triggers(), axes(ABS_BRAKE, ABS_GAS));
    const pad_bits hats({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_HAT2X, ABS_HAT2Y});
    EXPECT_EQ(hats.triggers(), axes(ABS_HAT2Y, ABS_HAT2X));
    const pad_bits other_stick({BTN_SOUTH}, {ABS_X, ABS_Y, ABS_Z, ABS_RZ});
    EXPECT_EQ(other_stick.triggers(), axes()) << "the second stick";
    const pad_bits wheel({BTN_JOYSTICK}, {ABS_X, ABS_GAS, ABS_BRAKE});
    EXPECT_EQ(wheel.triggers(), axes()) << "no pad";
    const pad_bits plain({BTN_SOUTH, BTN_TL2, BTN_TR2}, {ABS_HAT0X, ABS_HAT0Y});
    EXPECT_EQ(plain.triggers(), axes());
}

TEST_F(linux_input_of, a_panel_reports_whole_points)
{
    const int panel = attach(panel_ranges);
    send(panel, EV_ABS, ABS_X, 100);
    send(panel, EV_ABS, ABS_Y, 3800);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    pass();
    expect_touch(0, 0, 0);
    report(panel);
    pass();
    expect_touch(touch_type_press, 0, 0);
    send(panel, EV_ABS, ABS_X, 3900);
    send(panel, EV_ABS, ABS_Y, 200);
    report(panel);
    report(panel);
    pass();
    expect_touch(touch_type_move, 319, 239);
    expect_touch(0, 0, 0);
    send(panel, EV_KEY, BTN_TOUCH, 0);
    report(panel);
    pass();
    expect_touch(touch_type_release, 319, 239);
}

TEST_F(linux_input_of, a_finger_turns_and_scales_with_the_picture)
{
    const linux_panel standing = {nullptr, 480, 800, 960, 2, {}, {}, {}, 0, 1};
    linux_panel_open = &standing; /* the picture is 480 x 640 there, 80 below the top */
    const int panel = attach({{0, 479}, {0, 799}});
    send(panel, EV_ABS, ABS_X, 479);
    send(panel, EV_ABS, ABS_Y, 80);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 0, 0);
    send(panel, EV_ABS, ABS_X, 1);
    report(panel);
    pass();
    expect_touch(touch_type_move, 0, 239);
    send(panel, EV_ABS, ABS_Y, 799);
    report(panel);
    pass();
    expect_touch(touch_type_move, 319, 239);
    send(panel, EV_KEY, BTN_TOUCH, 0);
    report(panel);
    pass();
    expect_touch(touch_type_release, 319, 239);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(0, 0, 0);
    linux_panel_open = nullptr;
}

TEST_F(linux_input_of, a_touch_panel_that_tells_points_of_the_picture_is_not_turned_again)
{
    const linux_panel standing = {nullptr, 240, 320, 480, 2, {}, {}, {}, 0, 1};
    linux_panel_open = &standing;
    const int panel = attach({{0, 319}, {0, 239}});
    send(panel, EV_ABS, ABS_X, 300);
    send(panel, EV_ABS, ABS_Y, 20);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 300, 20);
    linux_panel_open = nullptr;
}

TEST_F(linux_input_of, a_touch_panel_is_turned_as_wished)
{
    const linux_panel standing = {nullptr, 240, 320, 480, 2, {}, {}, {}, 0, 1};
    linux_panel_open = &standing;
    key_close();
    setenv("ZERV_TOUCH_TURN", "180", 1);
    ASSERT_EQ(key_open(), 0);
    unsetenv("ZERV_TOUCH_TURN");
    const int panel = attach({{0, 4095}, {0, 4095}});
    send(panel, EV_ABS, ABS_X, 0);
    send(panel, EV_ABS, ABS_Y, 0);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 319, 239);
    linux_panel_open = nullptr;
    key_close();
    ASSERT_EQ(key_open(), 0);
}

TEST_F(linux_input_of, the_left_button_of_a_tablet_is_a_finger)
{
    const int tablet = attach({{0, 32767}, {0, 32767}, true, 32767, 0});
    send(tablet, EV_KEY, BTN_TOUCH, 1);
    report(tablet);
    pass();
    expect_touch(0, 0, 0);
    send(tablet, EV_KEY, BTN_LEFT, 1);
    report(tablet);
    pass();
    expect_touch(touch_type_press, 319, 0);
    send(tablet, EV_ABS, ABS_Y, 32767);
    report(tablet);
    pass();
    expect_touch(touch_type_move, 319, 239);
    send(tablet, EV_KEY, BTN_LEFT, 0);
    report(tablet);
    pass();
    expect_touch(touch_type_release, 319, 239);
}

TEST_F(linux_input_of, the_first_of_several_fingers_counts)
{
    const int panel = attach({{0, 319}, {0, 239}});
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, 7);
    send(panel, EV_ABS, ABS_MT_POSITION_X, 10);
    send(panel, EV_ABS, ABS_MT_POSITION_Y, 20);
    send(panel, EV_ABS, ABS_MT_SLOT, 1);
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, 8);
    send(panel, EV_ABS, ABS_MT_POSITION_X, 200);
    send(panel, EV_ABS, ABS_MT_POSITION_Y, 200);
    report(panel);
    pass();
    expect_touch(touch_type_press, 10, 20);
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, -1);
    report(panel);
    pass();
    expect_touch(0, 0, 0);
    send(panel, EV_ABS, ABS_MT_SLOT, 0);
    send(panel, EV_ABS, ABS_MT_TRACKING_ID, -1);
    report(panel);
    pass();
    expect_touch(touch_type_release, 10, 20);
}

TEST_F(linux_input_of, values_beyond_the_range_stay_on_the_screen)
{
    const int panel = attach(panel_ranges);
    send(panel, EV_ABS, ABS_X, INT32_MAX);
    send(panel, EV_ABS, ABS_Y, INT32_MAX);
    send(panel, EV_KEY, BTN_TOUCH, 1);
    report(panel);
    pass();
    expect_touch(touch_type_press, 319, 0);
}

TEST_F(linux_input_of, axes_without_a_panel_are_no_finger)
{
    const int pad = attach();
    send(pad, EV_ABS, ABS_X, 500);
    send(pad, EV_KEY, BTN_TOUCH, 1);
    report(pad);
    pass();
    expect_touch(0, 0, 0);
}

TEST_F(linux_input_of, records_the_kernel_dropped_leave_nothing_held)
{
    const int both = attach(panel_ranges);
    send(both, EV_KEY, KEY_DOWN, 1);
    send(both, EV_KEY, BTN_TOUCH, 1);
    report(both);
    EXPECT_EQ(pass().held, key_down);
    send(both, EV_SYN, SYN_DROPPED, 0);
    send(both, EV_KEY, KEY_UP, 1);
    report(both);
    EXPECT_EQ(pass().held, 0u);
    int32_t x, y, type;
    EXPECT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(type, touch_type_release);
    send(both, EV_KEY, KEY_UP, 1);
    report(both);
    EXPECT_EQ(pass().pressed, key_up);
}

TEST_F(linux_input_of, a_source_that_is_unplugged_lets_go)
{
    const int one = attach(), two = attach();
    send(one, EV_KEY, KEY_DOWN, 1);
    EXPECT_EQ(pass().held, key_down);
    close(one);
    ends.erase(ends.begin());
    EXPECT_EQ(pass().held, 0u);
    send(two, EV_KEY, KEY_UP, 1);
    EXPECT_EQ(pass().held, key_up);
}

/* Longer than the limit of the test program: who sleeps so long is noticed there. */
constexpr int32_t never_ms = 1000000;

TEST_F(linux_input_of, a_record_and_a_call_end_a_long_sleep)
{
    const int buttons = attach();
    for (int round = 0; round < 2; round++) {
        std::thread person([=] {
            clock_real_msleep(10);
            if (round == 0)
                send(buttons, EV_KEY, KEY_UP, 1);
            else
                clock_wake();
        });
        clock_msleep(never_ms);
        person.join();
        pass();
    }
    const auto started = std::chrono::steady_clock::now();
    clock_msleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(29))
        << "one call wakes once";
}

TEST_F(linux_input_of, a_record_after_a_wait_that_brought_none_ends_the_next_wait)
{
    const int buttons = attach();
    pass();
    clock_wake();
    clock_msleep(never_ms);
    send(buttons, EV_KEY, KEY_UP, 1);
    pass(); /* need not look */
    clock_msleep(never_ms);
    EXPECT_EQ(pass().held, key_up);
}

TEST_F(linux_input_of, calls_from_all_sides_are_not_lost)
{
    constexpr int rounds = 2000;
    std::atomic<int> asked{0}, seen{0};
    std::thread caller([&] {
        while (asked < rounds) {
            if (seen != asked)
                continue;
            asked++;
            clock_wake();
        }
    });
    while (seen < rounds) {
        clock_msleep(never_ms);
        seen = asked.load();
    }
    caller.join();
}

TEST_F(linux_input_of, what_is_plugged_in_and_out_while_it_runs_comes_and_goes)
{
    const scratch here;
    const char *kept = linux_input_folder;
    key_close();
    linux_input_folder = here.path.c_str();
    EXPECT_EQ(key_open(), 0);
    ASSERT_EQ(mkfifo("mouse0", 0600), 0);
    for (const char *name : {"event4", "event17", "event4"}) {
        ASSERT_EQ(mkfifo(name, 0600), 0);
        const int buttons = open(name, O_RDWR);
        ASSERT_GE(buttons, 0);
        pass();
        EXPECT_EQ(chmod(name, 0666), 0);
        pass();
        send(buttons, EV_KEY, KEY_UP, 1);
        EXPECT_EQ(pass().pressed, key_up) << name;
        close(buttons);
        EXPECT_EQ(pass().released, key_up) << "unplugged: nothing stays held";
        EXPECT_EQ(unlink(name), 0);
    }
    EXPECT_EQ(unlink("mouse0"), 0);
    key_close();
    linux_input_folder = kept;
    EXPECT_EQ(key_open(), 0);
}

TEST_F(linux_input_of, takes_no_more_sources_than_it_has_room_for)
{
    for (int i = 0; i < 32; i++)
        attach();
    int pair[2];
    ASSERT_EQ(pipe(pair), 0);
    const linux_axes none = {};
    EXPECT_EQ(linux_input_add(pair[0], &none), -1);
    close(pair[0]);
    close(pair[1]);
}
