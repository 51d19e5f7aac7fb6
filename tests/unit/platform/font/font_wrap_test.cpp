/* Texts that are set in two lines where a box has room for them. */
#include "platform/draw/fb.h"
#include "platform/font/font.h"
#include "tests/makers/maker_font.h"
#include "unit/platform/draw/guarded_surface.h"

#include <gtest/gtest.h>
#include <string>

struct font_wrap_lines : testing::Test {
    void SetUp() override { ASSERT_EQ(font_open(maker_font_path), 0); }
    void TearDown() override
    {
        fb_keep_texts = false;
        (void)font_close();
    }
};

/* Draws into a box of 160 x `h` at 20, 20; the picture. */
static std::vector<uint16_t> picture(const std::string &text, int32_t h, uint32_t align)
{
    guarded_surface target(200, 120);
    EXPECT_EQ(fb_draw_text(&target.surface, text.c_str(), 20, 20, 160, h, 16, 0xFFFF, align), 0);
    EXPECT_TRUE(target.guards_hold());
    return target.pixels();
}

/* The same made of two calls. */
static std::vector<uint16_t> two(const std::string &first, const std::string &second, int32_t top)
{
    guarded_surface target(200, 120);
    for (const std::string &each : {first, second}) {
        (void)fb_draw_text(&target.surface, each.c_str(), 20, top, 160, 0, 16, 0xFFFF, 0);
        top += 20;
    }
    return target.pixels();
}

TEST_F(font_wrap_lines, a_long_text_is_parted_in_its_middle)
{
    const uint32_t wrap = fb_align_two_lines;
    EXPECT_EQ(picture("and the long road bends to the sea", 40, wrap),
              two("and the long road", "bends to the sea", 20));
    EXPECT_EQ(picture("风从海上来带着你的名字去远方的海", 40, wrap),
              two("风从海上来带着你", "的名字去远方的海", 20));
}

TEST_F(font_wrap_lines, scripts_without_blanks_break_from_their_first_character_to_their_last)
{
    const std::string word = "wwwwwwwwww";
    const auto breaks_before = [&](const std::string &character) {
        const std::string text = word + character + word;
        return picture(text, 40, fb_align_two_lines) != picture(text, 40, 0);
    };
    for (const char *first : {"\u3041", "\u9FFF", "\uF900", "\uFAFF", "\U00020000"})
        EXPECT_TRUE(breaks_before(first)) << first;
    for (const char *other : {"\u3040", "\uA000", "\uF8FF", "\uFB00", "\U0001FFFF", "\u30FC"})
        EXPECT_FALSE(breaks_before(other)) << other;
}

TEST_F(font_wrap_lines, blanks_at_either_end_are_no_place)
{
    const std::string word = "wwwwwwwww", blanks(40, ' ');
    for (const std::string &text : {word + blanks, "  " + word + word, "  \u98CE" + word + word})
        EXPECT_EQ(picture(text, 40, fb_align_two_lines), picture(text, 40, 0)) << text;
}

TEST_F(font_wrap_lines, both_lines_stand_in_the_box_as_it_says)
{
    const std::string text = "and the long road bends to the sea", first = "and the long road",
                      second = "bends to the sea";
    EXPECT_EQ(picture(text, 60, fb_align_two_lines | fb_align_middle), two(first, second, 32));
    EXPECT_EQ(picture(text, 60, fb_align_two_lines | fb_align_bottom), two(first, second, 44));
}

TEST_F(font_wrap_lines, without_need_or_room_it_is_one_line)
{
    const std::string text = "and the long road bends to the sea";
    EXPECT_EQ(picture("a short one", 40, fb_align_two_lines), picture("a short one", 40, 0));
    EXPECT_EQ(picture(text, 35, fb_align_two_lines), picture(text, 35, 0)) << "one pixel too low";
    EXPECT_NE(picture(text, 36, fb_align_two_lines), picture(text, 36, 0));
    const std::string word(60, 'a');
    EXPECT_EQ(picture(word, 40, fb_align_two_lines), picture(word, 40, 0)) << "nowhere to part it";
    std::string endless;
    while (endless.size() < 600)
        endless += "word ";
    EXPECT_EQ(picture(endless, 40, fb_align_two_lines), picture(endless, 40, 0));
}

TEST_F(font_wrap_lines, a_second_line_that_is_too_long_ends_in_an_ellipsis)
{
    const std::string text = "one two three four five six seven eight nine ten eleven twelve";
    const std::vector<uint16_t> made = picture(text, 40, fb_align_two_lines);
    EXPECT_NE(made, picture(text, 40, 0));
    for (int y = 0; y < 120; y++)
        for (int x = 182; x < 200; x++)
            ASSERT_EQ(made[static_cast<size_t>(y * 200 + x)], 0) << "nothing leaves the box";
}

TEST_F(font_wrap_lines, any_bytes_are_survived)
{
    std::string text;
    uint32_t seed = 7;
    for (int i = 0; i < 3000; i++) {
        text.clear();
        for (int j = 0; j < 60; j++) {
            seed = seed * 1664525 + 1013904223;
            const char c = static_cast<char>(seed >> 24);
            text += c == '\0' ? ' ' : (seed & 7) == 0 ? ' ' : c;
        }
        (void)picture(text, 40, fb_align_two_lines);
    }
}

TEST_F(font_wrap_lines, the_surface_remembers_one_text)
{
    fb_keep_texts = true;
    fb_surface *target = fb_create(200, 100);
    ASSERT_NE(target, nullptr);
    (void)fb_draw_text(target, "and the long road bends to the sea", 1, 2, 160, 50, 16, 0xFFFF,
                       fb_align_two_lines | fb_align_middle);
    ASSERT_EQ(fb_text_count(target), 1u);
    EXPECT_EQ(fb_text_at(target, 0)->align, fb_align_middle);
    EXPECT_STREQ(fb_text_at(target, 0)->text, "and the long road bends to the sea");
    (void)fb_free(target);
}
