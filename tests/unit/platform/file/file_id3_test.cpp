#include "platform/file/file_id3.h"

#include <gtest/gtest.h>

TEST(file_id3, adds_up_four_bytes_of_seven_bits)
{
    file_id3_head head = {};
    ASSERT_TRUE(file_id3_read({'I', 'D', '3', 4, 0, 0x90, 1, 2, 3, 4}, &head));
    EXPECT_EQ(head.version, 4);
    EXPECT_EQ(head.flags, 0x90u);
    EXPECT_EQ(head.size, 1 << 21 | 2 << 14 | 3 << 7 | 4);
    EXPECT_FALSE(head.is_broken);
    ASSERT_TRUE(file_id3_read({'I', 'D', '3', 3, 0, 0, 127, 127, 127, 127}, &head));
    EXPECT_EQ(head.size, (1 << 28) - 1);
    EXPECT_FALSE(head.is_broken);
}

TEST(file_id3, tells_of_a_size_whose_bytes_are_too_large)
{
    for (size_t i = 6; i < file_id3_head_bytes; i++) {
        uint8_t bytes[file_id3_head_bytes] = {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 5};
        bytes[i] |= 0x80;
        file_id3_head head = {};
        ASSERT_TRUE(file_id3_read(bytes, &head));
        EXPECT_TRUE(head.is_broken) << i;
        EXPECT_EQ(head.size, 5) << "the low seven bits count: " << i;
    }
}

TEST(file_id3, leaves_the_head_alone_where_no_tag_begins)
{
    file_id3_head head = {.version = 9, .flags = 0, .size = 77, .is_broken = false};
    EXPECT_FALSE(file_id3_read({'I', 'D', '4', 3, 0, 0, 0, 0, 0, 5}, &head));
    EXPECT_FALSE(file_id3_read({'T', 'A', 'G', 3, 0, 0, 0, 0, 0, 5}, &head));
    EXPECT_EQ(head.size, 77);
}
