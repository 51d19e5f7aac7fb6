/* What of the font's file stays in memory once letters are drawn. */
#include "platform/font/font.h"

#include "platform/draw/fb.h"
#include "tests/makers/maker_font.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

constexpr int32_t width = 600, height = 24;

/* Han from all over the font, so that many pages of it are read. */
static const char *const rare = "一丁七万丈三上下不与丐丑专且世丘丙业丛东丝鼎鼓鼠鼻齐齿龄龙龟";
static const char *const other = "春眠不觉晓处处闻啼鸟夜来风雨声花落知多少";

struct font_rest_test : testing::Test {
    void SetUp() override { ASSERT_EQ(font_open(maker_font_path), 0); }
    void TearDown() override { (void)font_close(); }
};

static std::vector<uint16_t> drawn(const char *text)
{
    std::vector<uint16_t> pixels(size_t{width} * height);
    fb_surface surface = {};
    surface.width = surface.stride = width;
    surface.height = height;
    surface.pixels = pixels.data();
    EXPECT_EQ(fb_draw_text(&surface, text, 0, 0, width, height, 16, 0xFFFF, 0), 0);
    return pixels;
}

/* KiB of the font's file that this process has in memory. */
static long resident()
{
    const std::unique_ptr<char, decltype(&free)> real(realpath(maker_font_path, nullptr), free);
    std::ifstream maps("/proc/self/smaps");
    long all = 0;
    bool here = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find('-') < line.find(' '))
            here = line.ends_with(real.get());
        else if (here && line.starts_with("Rss:"))
            all += strtol(line.c_str() + 4, nullptr, 10);
    }
    return all;
}

TEST_F(font_rest_test, pages_of_the_file_go_once_no_new_letter_is_drawn)
{
    (void)drawn(rare);
    EXPECT_GT(resident(), 100);
    font_rest();
    EXPECT_GT(resident(), 100) << "letters may follow that were drawn just now";
    font_rest();
    EXPECT_EQ(resident(), 0);
}

TEST_F(font_rest_test, letters_look_the_same_afterwards)
{
    const std::vector<uint16_t> known = drawn(rare), fresh = drawn(other);
    ASSERT_EQ(font_open(maker_font_path), 0);
    EXPECT_EQ(drawn(rare), known);
    for (int i = 0; i < 3; i++)
        font_rest();
    EXPECT_EQ(drawn(rare), known);
    EXPECT_EQ(drawn(other), fresh);
    EXPECT_NE(known, fresh);
}

TEST(font_rest, without_a_font_nothing_happens)
{
    (void)font_close();
    font_rest();
    EXPECT_EQ(font_text_width("a", 12), 0);
}
