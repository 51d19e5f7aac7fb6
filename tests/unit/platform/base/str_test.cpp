#include "platform/base/str.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

static std::string stripped(std::string text)
{
    text.push_back('\0');
    EXPECT_EQ(str_strip(text.data()), text.data());
    return text.c_str();
}

TEST(str_strip, removes_white_space_at_both_ends_only)
{
    EXPECT_EQ(stripped("  \t\r\n\v\f a b \n"), "a b");
    EXPECT_EQ(stripped("ab"), "ab");
    EXPECT_EQ(stripped(""), "");
    EXPECT_EQ(stripped(" \t "), "");
}

TEST(str_strip, looks_at_nothing_in_front_of_the_text)
{
    for (const char *text : {"", " ", "a"}) {
        char room[8] = "    ";
        (void)str_copy_to(room + 4, sizeof room - 4, text);
        (void)str_strip(room + 4);
        EXPECT_STREQ(room + 4, *text == 'a' ? "a" : "");
        EXPECT_EQ(std::string(room, 4), "    ");
    }
}

TEST(str_strip, keeps_bytes_above_ascii)
{
    /* 0xA0 and 0x85 are white space in some single-byte locales. */
    EXPECT_EQ(stripped(" \xA0x\x85 "), "\xA0x\x85");
    EXPECT_EQ(stripped(" 未知 "), "未知");
}

TEST(str_strip, accepts_null)
{
    EXPECT_EQ(str_strip(nullptr), nullptr);
}

TEST(str_copy, tells_whether_all_of_it_fitted)
{
    char to[4];
    EXPECT_TRUE(str_copy(to, "abc"));
    EXPECT_STREQ(to, "abc");
    EXPECT_FALSE(str_copy(to, "abcd"));
    EXPECT_STREQ(to, "abc");
    EXPECT_TRUE(str_copy(to, nullptr));
    EXPECT_STREQ(to, "");
    EXPECT_FALSE(str_copy_to(to, 0, "x"));
}

TEST(str_copy, may_copy_out_of_its_own_target)
{
    char to[8] = "abcdef";
    EXPECT_TRUE(str_copy(to, to + 2));
    EXPECT_STREQ(to, "cdef");
}

TEST(str_copy, reads_no_further_than_it_keeps)
{
    const char from[4] = {'a', 'b', 'c', 'd'}; /* not ended */
    char to[4];
    EXPECT_FALSE(str_copy_to(to, sizeof(to), from));
    EXPECT_STREQ(to, "abc");
}

TEST(str_format, cuts_and_tells)
{
    char to[6];
    EXPECT_TRUE(str_format(to, "%d-%s", 12, "ab"));
    EXPECT_STREQ(to, "12-ab");
    EXPECT_FALSE(str_format(to, "%s", "abcdef"));
    EXPECT_STREQ(to, "abcde");
}

TEST(str_to_int32, reads_like_strtol)
{
    const char *rest = nullptr;
    EXPECT_EQ(str_to_int32("12abc", &rest), 12);
    EXPECT_STREQ(rest, "abc");
    EXPECT_EQ(str_to_int32("", &rest), 0);
    EXPECT_STREQ(rest, "");
    EXPECT_EQ(str_to_int32(" -7", &rest), -7);
    EXPECT_STREQ(rest, "");
    EXPECT_EQ(str_to_int32("x", &rest), 0);
    EXPECT_STREQ(rest, "x");
    EXPECT_EQ(str_to_int32(nullptr, nullptr), 0);
}

TEST(str_to_int32, saturates)
{
    EXPECT_EQ(str_to_int32("2147483647", nullptr), INT32_MAX);
    EXPECT_EQ(str_to_int32("2147483648", nullptr), INT32_MAX);
    EXPECT_EQ(str_to_int32("-2147483649", nullptr), INT32_MIN);
    EXPECT_EQ(str_to_int32("99999999999999999999999", nullptr), INT32_MAX);
    EXPECT_EQ(str_to_int32("-99999999999999999999999", nullptr), INT32_MIN);
}

TEST(str_equal_nocase, folds_ascii_letters_only)
{
    EXPECT_TRUE(str_equal_nocase(".Mp3", ".mP3"));
    EXPECT_FALSE(str_equal_nocase(".mp3", ".mp"));
    EXPECT_FALSE(str_equal_nocase(".mp", ".mp3"));
    EXPECT_FALSE(str_equal_nocase("[", "{"));
    EXPECT_FALSE(str_equal_nocase("Ä", "ä"));
    EXPECT_TRUE(str_equal_nocase(nullptr, ""));
    EXPECT_FALSE(str_equal_nocase(nullptr, "a"));
    EXPECT_TRUE(str_starts_nocase("SELECT 1", "select"));
    EXPECT_FALSE(str_starts_nocase("SEL", "select"));
}
