/* Emoji that are joined to one sign: where it begins, and how long it is. */
#include "platform/font/font_emoji.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using text = std::u32string;

static size_t begin_of(const text &in, size_t i)
{
    const std::vector<uint32_t> all(in.begin(), in.end());
    return font_emoji_begin(all.data(), i);
}

static size_t length_of(const text &in, size_t begin = 0)
{
    const std::vector<uint32_t> all(in.begin(), in.end());
    return font_emoji_length(all.data(), all.size(), begin);
}

TEST(font_emoji, by_itself_is_one_character)
{
    EXPECT_EQ(length_of(U"😀"), 1u);
    EXPECT_EQ(length_of(U"😀a"), 1u);
    EXPECT_EQ(length_of(U"a😀", 1), 1u);
    EXPECT_EQ(length_of(U"a"), 1u);
    EXPECT_EQ(length_of(U"😀😀"), 1u) << "two signs";
    EXPECT_EQ(begin_of(U"😀😀", 1), 1u);
    EXPECT_EQ(begin_of(U"😀", 0), 0u);
}

TEST(font_emoji, a_family_is_one_sign_to_its_last_member)
{
    const text family = U"\U0001F468\u200D\U0001F469\u200D\U0001F467";
    EXPECT_EQ(length_of(family), 5u);
    EXPECT_EQ(length_of(family + U"a"), 5u);
    for (size_t i = 0; i < family.size(); i++)
        EXPECT_EQ(begin_of(family, i), 0u) << i;
    EXPECT_EQ(length_of(family.substr(0, 4)), 3u) << "a joiner at the end joins nothing";
}

TEST(font_emoji, a_colour_of_the_skin_belongs_to_the_hand)
{
    const text hand = U"\U0001F44D\U0001F3FD";
    EXPECT_EQ(length_of(hand), 2u);
    EXPECT_EQ(begin_of(hand, 1), 0u);
    EXPECT_EQ(begin_of(U"a\U0001F3FD", 1), 1u) << "a letter has none";
}

TEST(font_emoji, a_digit_and_its_cap_are_a_key)
{
    const text key = U"1\uFE0F\u20E3";
    EXPECT_EQ(length_of(key), 3u);
    EXPECT_EQ(begin_of(key, 2), 0u);
    EXPECT_EQ(length_of(U"1\uFE0Fa"), 1u);
}
