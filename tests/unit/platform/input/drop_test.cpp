#include "platform/input/drop.h"

#include <gtest/gtest.h>
#include <string>

class drop : public testing::Test
{
  protected:
    void SetUp() override { drop_forget(); }
    void TearDown() override { drop_forget(); }
};

TEST_F(drop, is_seen_when_it_is_whole)
{
    drop_event("/a/one.mp3");
    drop_event("/a/two.mp3");
    EXPECT_EQ(drop_count(), 0u);
    EXPECT_EQ(drop_path(0), nullptr);
    drop_end();
    ASSERT_EQ(drop_count(), 2u);
    EXPECT_STREQ(drop_path(0), "/a/one.mp3");
    EXPECT_STREQ(drop_path(1), "/a/two.mp3");
    EXPECT_EQ(drop_path(2), nullptr);
}

TEST_F(drop, is_forgotten_when_it_was_taken)
{
    drop_event("/one.mp3");
    drop_end();
    drop_forget();
    EXPECT_EQ(drop_count(), 0u);
    drop_forget();
    drop_event("/two.mp3");
    EXPECT_EQ(drop_count(), 0u) << "the end of the drop before was another one's";
    drop_end();
    ASSERT_EQ(drop_count(), 1u);
    EXPECT_STREQ(drop_path(0), "/two.mp3");
}

TEST_F(drop, one_that_brings_nothing_is_none)
{
    drop_end();
    EXPECT_EQ(drop_count(), 0u);
}

TEST_F(drop, of_too_many_files_the_first_are_kept)
{
    for (int i = 0; i < 10050; i++)
        drop_event(std::to_string(i).c_str());
    drop_end();
    EXPECT_EQ(drop_count(), 10000u);
    EXPECT_STREQ(drop_path(9999), "9999");
}
