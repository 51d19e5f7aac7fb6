/* Which way lines run: what turns one, and that the next is asked anew. */
#include "platform/draw/fb.h"
#include "platform/font/font.h"
#include "support/allocations.h"
#include "tests/makers/maker_font.h"
#include "unit/platform/draw/guarded_surface.h"

#include <gtest/gtest.h>
#include <string>

struct font_bidi : testing::Test {
    void SetUp() override { ASSERT_EQ(font_open(maker_font_path), 0); }
    void TearDown() override { (void)font_close(); }

    static std::vector<uint16_t> picture(const std::string &text)
    {
        guarded_surface target(320, 60);
        EXPECT_EQ(fb_draw_text(&target.surface, text.c_str(), 5, 10, 0, 0, 20, 0xFFFF, 0), 0);
        return target.pixels();
    }
    /* The same letters, each to the right of the one before. */
    static std::vector<uint16_t> as_written(const std::string &text)
    {
        return picture("\u202D" + text);
    }
};

/* Lines without such a character are never asked about their direction. */
TEST_F(font_bidi, the_first_characters_of_the_scripts_that_run_to_the_left_turn_a_line)
{
    for (const std::string first : {"\u0590", "\u200F", "\uFB1D", "\U00010800"})
        EXPECT_EQ(picture(first + " ab"), as_written("ab " + first)) << first;
    EXPECT_EQ(picture("\u202Eab"), as_written("ba"));
}

TEST_F(font_bidi, brackets_follow_what_they_stand_around)
{
    EXPECT_EQ(picture("a (ב) ג"), as_written("a (ב) ג"));
}

TEST_F(font_bidi, a_line_does_not_turn_the_next_one)
{
    const std::vector<uint16_t> alone = picture("wxyz");
    ASSERT_EQ(font_open(maker_font_path), 0);
    (void)picture("אבגדהוז");
    EXPECT_EQ(picture("wxyz"), alone);
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST_F(font_bidi, without_memory_for_its_direction_a_line_runs_to_the_right)
{
    const std::string text = "אבג דהו";
    const std::vector<uint16_t> turned = picture(text), straight = as_written(text);
    ASSERT_NE(turned, straight);
    int straight_ones = 0;
    fail_each_allocation([&] {
        const int wanted = allocation_to_fail;
        allocation_to_fail = 0;
        ASSERT_EQ(font_open(maker_font_path), 0);
        (void)picture("גגג דדד"); /* its glyphs, and a line that was turned */
        guarded_surface target(320, 60);
        allocation_to_fail = wanted;
        (void)fb_draw_text(&target.surface, text.c_str(), 5, 10, 0, 0, 20, 0xFFFF, 0);
        const int left = allocation_to_fail;
        allocation_to_fail = 0;
        straight_ones += target.pixels() == straight;
        allocation_to_fail = left;
    });
    EXPECT_GT(straight_ones, 0);
    EXPECT_EQ(picture(text), turned);
}
#endif
