#include "platform/device/web/wire/web_picture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

using frame = std::vector<uint16_t>;

static frame black()
{
    return frame(web_pixels, 0);
}

static std::vector<web_rect> changes(const frame &before, const frame &now)
{
    web_rect rects[web_rects_most];
    const uint32_t count = web_find_changes(before.data(), now.data(), rects);
    return {rects, rects + count};
}

static uint32_t get(const uint8_t *from, int bytes)
{
    uint32_t value = 0;
    for (int i = bytes; i-- > 0;)
        value = value << 8 | from[i];
    return value;
}

/* Reads packed pixels the slow way. */
static frame unpack(const uint8_t *at, const uint8_t *end)
{
    frame pixels;
    while (at < end) {
        const int head = *at++;
        for (int i = 0; i <= head && head < 128; i++, at += 2)
            pixels.push_back(static_cast<uint16_t>(get(at, 2)));
        if (head >= 128) {
            pixels.insert(pixels.end(), static_cast<size_t>(head - 126),
                          static_cast<uint16_t>(get(at, 2)));
            at += 2;
        }
    }
    EXPECT_EQ(at, end);
    return pixels;
}

static frame read_rect(const uint8_t *at, size_t pixels, size_t length)
{
    if (length < pixels * 2)
        return unpack(at, at + length);
    frame raw;
    for (size_t i = 0; i < pixels; i++)
        raw.push_back(static_cast<uint16_t>(get(at + i * 2, 2)));
    return raw;
}

/* What a page shows afterwards that showed `before`. */
static frame after(frame before, const frame &now, size_t *length = nullptr)
{
    web_rect rects[web_rects_most];
    const uint32_t count = web_find_changes(before.data(), now.data(), rects);
    const auto message = std::make_unique<uint8_t[][web_picture_most]>(1);
    const size_t bytes = web_put_picture(now.data(), rects, count, message[0]);
    const uint8_t *at = message[0];
    EXPECT_EQ(get(at, 2), 1u);
    EXPECT_EQ(get(at + 2, 2), count);
    at += web_picture_head;
    for (uint32_t i = 0; i < count; i++) {
        const uint32_t x = get(at, 2), y = get(at + 2, 2), w = get(at + 4, 2), h = get(at + 6, 2);
        const uint32_t size = get(at + 8, 4);
        const frame pixels = read_rect(at + web_rect_head, size_t{w} * h, size);
        EXPECT_EQ(pixels.size(), size_t{w} * h);
        for (uint32_t row = 0; row < h; row++)
            std::copy_n(pixels.begin() + row * w, w, before.begin() + (y + row) * device_width + x);
        at += web_rect_head + size;
    }
    EXPECT_EQ(static_cast<size_t>(at - message[0]), bytes);
    if (length)
        *length = bytes;
    return before;
}

TEST(web_picture, nothing_changed_is_no_rectangle)
{
    EXPECT_TRUE(changes(black(), black()).empty());
}

TEST(web_picture, one_pixel_is_one_square)
{
    frame now = black();
    now[100 * device_width + 50] = 1;
    const std::vector<web_rect> found = changes(black(), now);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].x, 48);
    EXPECT_EQ(found[0].y, 96);
    EXPECT_EQ(found[0].w, web_tile);
    EXPECT_EQ(found[0].h, web_tile);
}

TEST(web_picture, whole_frame_is_one_rectangle)
{
    const std::vector<web_rect> found = changes(black(), frame(web_pixels, 0xFFFF));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].w, device_width);
    EXPECT_EQ(found[0].h, device_height);
}

TEST(web_picture, corners_are_four_rectangles)
{
    frame now = black();
    now.front() = now[device_width - 1] = now[web_pixels - device_width] = now.back() = 7;
    EXPECT_EQ(changes(black(), now).size(), 4u);
    EXPECT_EQ(after(black(), now), now);
}

TEST(web_picture, chequered_frame_has_the_most_rectangles_and_fits)
{
    frame now = black();
    for (int32_t y = 0; y < device_height; y += web_tile) {
        for (int32_t x = (y / web_tile % 2) * web_tile; x < device_width; x += 2 * web_tile)
            now[static_cast<size_t>(y * device_width + x)] = 1;
    }
    EXPECT_EQ(changes(black(), now).size(), web_rects_most);
    EXPECT_EQ(after(black(), now), now);
}

TEST(web_picture, noise_travels_as_it_is)
{
    std::mt19937 random(20);
    frame now = black();
    for (uint16_t &pixel : now)
        pixel = static_cast<uint16_t>(random());
    size_t length = 0;
    EXPECT_EQ(after(black(), now, &length), now);
    EXPECT_LE(length, web_picture_most);
}

TEST(web_picture, plain_colour_is_packed)
{
    size_t length = 0;
    EXPECT_EQ(after(black(), frame(web_pixels, 0x1234), &length), frame(web_pixels, 0x1234));
    EXPECT_LT(length, 2000u);
}

/* A byte before each stretch of different pixels, and before each pixel that repeats itself. */
TEST(web_picture, stretches_of_one_colour_and_of_many_take_what_they_must)
{
    frame now = black();
    for (uint16_t y = 0; y < web_tile; y++)
        for (uint16_t x = 0; x < web_tile; x++)
            now[static_cast<size_t>(y * device_width + x)] = y == 0 ? x + 1 : 99;
    size_t length = 0;
    EXPECT_EQ(after(black(), now, &length), now);
    const size_t many = 1 + 2 * web_tile, one = 3;
    EXPECT_EQ(length, web_picture_head + web_rect_head + many + 2 * one) << "129 and 111 of a kind";
}

TEST(web_picture, frames_of_all_kinds_arrive_as_they_were)
{
    std::mt19937 random(4);
    frame shown = black();
    for (int round = 0; round < 60; round++) {
        frame now = shown;
        for (int strokes = 0; strokes < 5; strokes++) {
            const size_t from = random() % web_pixels;
            const size_t to = std::min<size_t>(web_pixels, from + random() % 3000);
            const auto colour = static_cast<uint16_t>(random());
            for (size_t i = from; i < to; i++)
                now[i] = static_cast<uint16_t>(colour + (strokes % 2 ? i % 3 : 0));
        }
        ASSERT_EQ(after(shown, now), now) << round;
        shown = now;
    }
}
