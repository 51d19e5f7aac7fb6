#include "platform/device/web/wire/web_message.h"

#include "platform/input/key.h"
#include "platform/input/touch.h"

#include <gtest/gtest.h>

#include <vector>

static int read(const std::vector<uint8_t> &bytes, web_message *to)
{
    return web_read_message(bytes.data(), bytes.size(), to);
}

static bool is_refused(const std::vector<uint8_t> &bytes)
{
    web_message message = {.word = web_word::take};
    return read(bytes, &message) == -1 && message.word == web_word::take;
}

TEST(web_message, keys_are_read)
{
    web_message message;
    ASSERT_EQ(read({1, 1, 0x00, 0x20, 0, 0}, &message), 0);
    EXPECT_EQ(message.word, web_word::key);
    EXPECT_TRUE(message.on);
    EXPECT_EQ(message.key, key_select);
    ASSERT_EQ(read({1, 0, 0, 0, 0x80, 0}, &message), 0);
    EXPECT_FALSE(message.on);
    EXPECT_EQ(message.key, key_media_next);
}

TEST(web_message, keys_that_no_page_has_are_refused)
{
    EXPECT_TRUE(is_refused({1, 1, 0, 0, 0, 0}));
    EXPECT_TRUE(is_refused({1, 1, 0x11, 0, 0, 0})) << "two at once";
    EXPECT_TRUE(is_refused({1, 1, 0x02, 0, 0, 0})) << "none of ours";
    EXPECT_TRUE(is_refused({1, 2, 0x10, 0, 0, 0})) << "neither down nor up";
    EXPECT_TRUE(is_refused({1, 1, 0, 0, 0, 0x80}));
}

TEST(web_message, codes_of_keys_and_buttons_are_read)
{
    web_message message;
    ASSERT_EQ(read({8, 1, 0x30, 0x01}, &message), 0);
    EXPECT_EQ(message.word, web_word::code);
    EXPECT_TRUE(message.on);
    EXPECT_EQ(message.code, 0x130);
    ASSERT_EQ(read({8, 0, 103, 0}, &message), 0);
    EXPECT_FALSE(message.on);
    EXPECT_TRUE(is_refused({8, 2, 103, 0})) << "neither down nor up";
    EXPECT_TRUE(is_refused({8, 1, 0, 0}));
    EXPECT_TRUE(is_refused({8, 1, 0, 3})) << "an axis";
    EXPECT_TRUE(is_refused({8, 1, 0xff, 0xff}));
}

TEST(web_message, fingers_are_read_inside_the_screen_only)
{
    web_message message;
    ASSERT_EQ(read({2, 3, 0x3F, 1, 239, 0}, &message), 0);
    EXPECT_EQ(message.touch_type, touch_type_move);
    EXPECT_EQ(message.x, 319);
    EXPECT_EQ(message.y, 239);
    EXPECT_TRUE(is_refused({2, 3, 0x40, 1, 0, 0}));
    EXPECT_TRUE(is_refused({2, 3, 0, 0, 240, 0}));
    EXPECT_TRUE(is_refused({2, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(is_refused({2, 4, 0, 0, 0, 0}));
}

TEST(web_message, reports_of_sound_and_battery_are_read)
{
    web_message message;
    ASSERT_EQ(read({6, 1, 2, 3, 4, 5, 0, 0, 0}, &message), 0);
    EXPECT_EQ(message.frames_come, 0x04030201u);
    EXPECT_EQ(message.frames_left, 5u);
    ASSERT_EQ(read({3, 100}, &message), 0);
    EXPECT_EQ(message.percent, 100);
    EXPECT_TRUE(is_refused({3, 101}));
    ASSERT_EQ(read({5, 1}, &message), 0);
    EXPECT_TRUE(message.on);
}

TEST(web_message, every_other_length_and_kind_is_refused)
{
    const size_t lengths[] = {6, 6, 2, 1, 2, 9, 1, 4};
    for (int kind = 0; kind < 256; kind++) {
        for (size_t length = 0; length < 20; length++) {
            std::vector<uint8_t> bytes(length, 0);
            if (length > 0)
                bytes[0] = static_cast<uint8_t>(kind);
            if (kind < 1 || kind > 8 || lengths[kind - 1] != length) {
                EXPECT_TRUE(is_refused(bytes)) << kind << " " << length;
            }
        }
    }
}

TEST(web_message, state_is_written)
{
    uint8_t bytes[web_state_bytes];
    web_put_state({.keys = web_keys::another_page, .lit = true, .battery = 42, .upload_mib = 256},
                  bytes);
    const uint8_t wanted[] = {4, 2, 1, 42, 0, 1, 0, 0};
    EXPECT_TRUE(std::equal(bytes, bytes + sizeof bytes, wanted));
}
