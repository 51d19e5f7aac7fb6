/* Fonts while memory runs out: the one that is open stays. */
#include "platform/font/font.h"

#include "support/allocations.h"
#include "tests/makers/maker_font.h"

#include <gtest/gtest.h>

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(font_memory, a_font_that_cannot_be_opened_leaves_the_old_and_nothing_else)
{
    ASSERT_EQ(font_open(maker_font_path), 0);
    const int width = font_text_width("Kino", 16);
    ASSERT_GT(width, 0);
    EXPECT_EQ(font_open("no_such_font.ttf"), -1); /* the libraries keep some of their own */
    const int64_t before = allocated_bytes;
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(font_open("no_such_font.ttf"), -1);
    EXPECT_EQ(allocated_bytes, before) << "nothing stays behind";
    EXPECT_EQ(font_text_width("Kino", 16), width);
    allocation_to_fail = 1;
    EXPECT_EQ(font_open(maker_font_path), -1);
    EXPECT_EQ(allocation_to_fail, 0);
    allocation_to_fail = 0;
    EXPECT_EQ(font_text_width("Kino", 16), width);
    EXPECT_EQ(font_close(), 0);
    EXPECT_EQ(font_text_width("Kino", 16), 0);
}

TEST(font_memory, closing_gives_all_back)
{
    const auto use = [] {
        ASSERT_EQ(font_open(maker_font_path), 0);
        EXPECT_GT(font_text_width("Kino 音楽 مرحبا", 16), 0);
        EXPECT_EQ(font_close(), 0);
    };
    use();
    const int64_t before = allocated_bytes;
    use();
    EXPECT_LE(allocated_bytes - before, 1024) << "fonts have hundreds of KiB";
}
#endif
