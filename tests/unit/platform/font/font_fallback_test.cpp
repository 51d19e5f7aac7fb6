/* Fonts of the folder beside the chosen one, and emoji that are joined to one sign. */
#include "platform/draw/fb.h"
#include "platform/file/file.h"
#include "platform/font/font.h"
#include "tests/makers/maker_font.h"
#include "unit/platform/draw/guarded_surface.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

/* A folder with the chosen font, whose folder "fonts" each test fills. */
struct font_fallback : testing::Test {
    void SetUp() override
    {
        (void)file_remove("fallback");
        ASSERT_EQ(mkdir("fallback", 0755), 0);
        ASSERT_EQ(mkdir("fallback/fonts", 0755), 0);
        ASSERT_EQ(symlink(maker_font_path, "fallback/chosen.ttc"), 0);
    }
    void TearDown() override
    {
        (void)font_close();
        (void)file_remove("fallback");
    }

    static void add(const char *name, const char *path)
    {
        ASSERT_EQ(access(path, R_OK), 0) << "the fonts of the packages list are not there";
        ASSERT_EQ(symlink(path, (std::string("fallback/fonts/") + name).c_str()), 0);
    }
    static std::vector<uint16_t> picture(const char *text)
    {
        guarded_surface target(320, 60);
        EXPECT_EQ(fb_draw_text(&target.surface, text, 5, 10, 0, 0, 20, 0xFFFF, 0), 0);
        EXPECT_TRUE(target.guards_hold());
        return target.pixels();
    }
};

static const char thai[] = "สวัสดี", hindi[] = "नमस्ते";
static const char noto_thai[] = "/usr/share/fonts/truetype/noto/NotoSansThai-Regular.ttf";
static const char noto_serif_thai[] = "/usr/share/fonts/truetype/noto/NotoSerifThai-Regular.ttf";
static const char noto_devanagari[] =
    "/usr/share/fonts/truetype/noto/NotoSansDevanagari-Regular.ttf";
static const char symbola[] = "/usr/share/fonts/truetype/ancient-scripts/Symbola_hint.ttf";

TEST_F(font_fallback, letters_that_the_chosen_font_lacks_come_from_the_folder)
{
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    const std::vector<uint16_t> boxes = picture(thai), hindi_boxes = picture(hindi),
                                latin = picture("Latin 漢字 ☀");
    add("1.ttf", noto_thai);
    add("2.ttf", noto_devanagari);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    EXPECT_NE(picture(thai), boxes);
    EXPECT_NE(picture(hindi), hindi_boxes);
    EXPECT_EQ(picture("Latin 漢字 ☀"), latin) << "what was there stays";
    const int width = font_text_width(thai, 20);
    ASSERT_EQ(font_open(noto_thai), 0);
    EXPECT_EQ(font_text_width(thai, 20), width) << "as the font has it";
}

TEST_F(font_fallback, fonts_are_tried_in_the_order_of_their_names)
{
    add("1.ttf", noto_thai);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    const std::vector<uint16_t> sans = picture(thai);
    add("0.ttf", noto_serif_thai);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    const std::vector<uint16_t> serif = picture(thai);
    EXPECT_NE(serif, sans);
    ASSERT_EQ(rename("fallback/fonts/0.ttf", "fallback/fonts/10.ttf"), 0);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    EXPECT_EQ(picture(thai), sans) << "10 stands behind 1";
}

TEST_F(font_fallback, what_is_no_font_is_passed_over)
{
    ASSERT_EQ(mkfifo("fallback/fonts/0", 0644), 0);
    ASSERT_EQ(mkdir("fallback/fonts/1", 0755), 0);
    ASSERT_EQ(symlink("gone", "fallback/fonts/2"), 0);
    FILE *file = fopen("fallback/fonts/3", "w");
    ASSERT_NE(file, nullptr);
    fputs("no font", file);
    fclose(file);
    add("4", noto_thai);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    const std::vector<uint16_t> drawn = picture(thai);
    ASSERT_EQ(unlink("fallback/fonts/4"), 0);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    EXPECT_NE(picture(thai), drawn);
}

TEST_F(font_fallback, more_fonts_than_are_opened_do_no_harm)
{
    char name[16];
    for (int i = 0; i < 100; i++) {
        snprintf(name, sizeof(name), "%d.ttf", i);
        add(name, i % 2 ? noto_serif_thai : noto_devanagari);
    }
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    EXPECT_NE(picture(thai), picture(hindi));
    (void)picture("\U000F0000"); /* no font has it */
}

TEST_F(font_fallback, joined_emoji_are_one_sign)
{
    add("emoji.ttf", symbola);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    const struct {
        const char *joined, *sign;
    } cases[] = {
        {"👨\u200D👩\u200D👧\u200D👦", "👨"}, {"👍🏽", "👍"}, {"🏳\uFE0F\u200D🌈", "🏳"},
        {"👩🏿\u200D🚀", "👩"},     {"😀\u200D🚀", "😀"}, {"❤\uFE0F\u200D🔥", "❤"},
    };
    for (const auto &it : cases) {
        EXPECT_EQ(picture(it.joined), picture(it.sign)) << it.joined;
        EXPECT_EQ(picture((std::string("a") + it.joined + "b").c_str()),
                  picture((std::string("a") + it.sign + "b").c_str()));
    }
    EXPECT_NE(picture("👨👩"), picture("👨")) << "without a joiner they are two";
    EXPECT_NE(picture("🏽"), picture("")) << "a colour alone is seen";
    EXPECT_NE(picture("🇰🇷"), picture("🇰")) << "letters of a flag stay two";
    EXPECT_NE(picture("a\u200Db"), picture("a")) << "letters are not emoji";
}

/* The cap of a key is drawn around no digit of another font, but across it and its neighbours. */
TEST_F(font_fallback, keys_are_their_digits)
{
    add("emoji.ttf", symbola);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    EXPECT_EQ(picture("1\uFE0F\u20E32\u20E3 #\uFE0F\u20E3x*\u20E3"), picture("12 #x*"));
    EXPECT_NE(picture("\u20E3"), picture("")) << "alone it is seen";
    EXPECT_NE(picture("e\u20E3"), picture("e")) << "so it is around other letters";
    EXPECT_NE(picture("1\u20E3\u20E3"), picture("1")) << "and so is a second one";
}

TEST_F(font_fallback, a_cut_text_never_ends_within_a_sign)
{
    add("emoji.ttf", symbola);
    ASSERT_EQ(font_open("fallback/chosen.ttc"), 0);
    std::string text;
    for (int i = 0; i < 400; i++)
        text += "👨\u200D👩\u200D👧 ";
    for (int width = 1; width < 200; width++) {
        guarded_surface target(320, 60);
        EXPECT_EQ(fb_draw_text(&target.surface, text.c_str(), 5, 10, width, 0, 20, 0xFFFF, 0), 0);
        EXPECT_TRUE(target.guards_hold());
    }
}
