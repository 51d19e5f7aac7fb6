#include "lists/list_cfg.h"

#include "core/lang/lang.h"
#include "platform/base/str.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

static std::string span(int32_t seconds, size_t size = 100)
{
    char text[100];
    memset(text, '#', sizeof text);
    const int written = list_cfg_span2str(seconds, text, size);
    EXPECT_EQ(static_cast<size_t>(written), strlen(text));
    return text;
}

class list_cfg_span : public testing::Test
{
  protected:
    void SetUp() override { str_copy(lang_selected, "en"); }
};

TEST_F(list_cfg_span, durations_are_split_into_hours_minutes_and_seconds)
{
    EXPECT_EQ(span(0), "0 秒");
    EXPECT_EQ(span(1), "1 秒");
    EXPECT_EQ(span(59), "59 秒");
    EXPECT_EQ(span(60), "1 分钟");
    EXPECT_EQ(span(90), "1 分钟 30 秒");
    EXPECT_EQ(span(300), "5 分钟");
    EXPECT_EQ(span(600), "10 分钟");
    EXPECT_EQ(span(1800), "30 分钟");
    EXPECT_EQ(span(3600), "1 小时");
    EXPECT_EQ(span(3605), "1 小时 5 秒");
    EXPECT_EQ(span(3660), "1 小时 1 分钟");
    EXPECT_EQ(span(3725), "1 小时 2 分钟 5 秒");
    EXPECT_EQ(span(10800), "3 小时");
    EXPECT_EQ(span(86399), "23 小时 59 分钟 59 秒");
    EXPECT_EQ(span(INT32_MAX), "596523 小时 14 分钟 7 秒");
}

TEST_F(list_cfg_span, negative_durations_have_a_sign)
{
    EXPECT_EQ(span(-1), "-1 秒");
    EXPECT_EQ(span(-90), "-1 分钟 30 秒");
    EXPECT_EQ(span(INT32_MIN), "-596523 小时 14 分钟 8 秒");
}

TEST_F(list_cfg_span, japanese_joins_without_blanks)
{
    str_copy(lang_selected, "ja");
    EXPECT_EQ(span(90), "1 分钟30 秒");
    EXPECT_EQ(span(3725), "1 小时2 分钟5 秒");
    EXPECT_EQ(span(-3725), "-1 小时2 分钟5 秒");
    EXPECT_EQ(span(0), "0 秒");
}

TEST_F(list_cfg_span, other_languages_join_with_blanks)
{
    for (const char *code : {"", "ko", "fr"}) {
        str_copy(lang_selected, code);
        EXPECT_EQ(span(90), "1 分钟 30 秒");
    }
}

TEST_F(list_cfg_span, text_is_cut_at_the_size)
{
    EXPECT_EQ(span(3725, 4), "1 \xE5");
    EXPECT_EQ(span(90, 2), "1");
    EXPECT_EQ(span(90, 1), "");
    const std::string whole = span(3725);
    for (size_t size = 1; size < whole.size() + 3; size++)
        EXPECT_EQ(span(3725, size), whole.substr(0, size - 1));
}

TEST_F(list_cfg_span, size_of_nothing_writes_nothing)
{
    char text[2] = {'#', 0};
    EXPECT_EQ(list_cfg_span2str(90, text, 0), 0);
    EXPECT_EQ(text[0], '#');
}
