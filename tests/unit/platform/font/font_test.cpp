/* font: text as it stands on surfaces. */
#include "platform/font/font.h"

#include "platform/base/fault.h"
#include "platform/draw/fb.h"
#include "support/scratch.h"
#include "support/seed.h"
#include "tests/makers/maker_font.h"
#include "tests/makers/maker_picture.h"
#include "unit/platform/draw/guarded_surface.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

/* ---- Every allocation of the program and its libraries is counted ---- */

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define COUNTS_ALLOCATIONS 0
#endif
#endif
#ifndef COUNTS_ALLOCATIONS
#define COUNTS_ALLOCATIONS 1
#endif

static std::atomic<uint64_t> allocations{0};

#if COUNTS_ALLOCATIONS
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *old, size_t size);
void *malloc(size_t size)
{
    allocations++;
    return __libc_malloc(size);
}
void *calloc(size_t count, size_t size)
{
    allocations++;
    return __libc_calloc(count, size);
}
void *realloc(void *old, size_t size)
{
    allocations++;
    return __libc_realloc(old, size);
}
}
#endif

class font : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        ASSERT_EQ(font_open(maker_font_path), 0);
    }
    void TearDown() override
    {
        fault_set("");
        fb_keep_texts = false;
        (void)font_close();
    }
};

/* Where anything was drawn, on a black surface; all -1 when nowhere. */
struct ink {
    int32_t left = -1, top = -1, right = -1, bottom = -1; /* first and last pixels */
    int32_t count = 0;
};

static ink ink_of(const guarded_surface &on)
{
    ink found;
    for (int32_t y = 0; y < on.surface.height; y++)
        for (int32_t x = 0; x < on.surface.width; x++) {
            if (on.at(x, y) == 0)
                continue;
            found.left = found.count ? std::min(found.left, x) : x;
            found.right = std::max(found.right, x);
            found.top = found.count ? found.top : y;
            found.bottom = y;
            found.count++;
        }
    return found;
}

static ink drawn(const char *text, int32_t x, int32_t y, int32_t w, int32_t h, int32_t size,
                 uint32_t align = 0)
{
    guarded_surface target(200, 100);
    EXPECT_EQ(fb_draw_text(&target.surface, text, x, y, w, h, size, 0xFFFF, align), 0);
    EXPECT_TRUE(target.guards_hold());
    return ink_of(target);
}

static std::vector<uint16_t> pixels_of(const char *text, int32_t size, int32_t w = 0)
{
    guarded_surface target(320, 60);
    EXPECT_EQ(fb_draw_text(&target.surface, text, 5, 10, w, 0, size, 0xFFFF, 0), 0);
    return target.pixels();
}

TEST_F(font, every_script_of_the_interface_draws_something)
{
    for (const int size : {8, 12, 16, 20, 32})
        for (const char *text : {"Latin", "Кино", "Ελλάς", "한국어", "ひらがな", "カタカナ", "音楽",
                                 "播放列表", "0:42", "♪", "★", "עברית", "مرحبا"}) {
            const ink found = drawn(text, 20, 20, 0, 0, size);
            EXPECT_GT(found.count, size) << text << " at " << size;
            EXPECT_GT(font_text_width(text, size), size / 4) << text;
        }
}

TEST_F(font, every_letter_of_a_word_is_its_own)
{
    std::vector<std::vector<uint16_t>> seen;
    for (const char *letter : {"가", "나", "한", "あ", "い", "ア", "中", "国", "音", "Д", "Ж", "Ω",
                               "λ", "a", "é", "♪", "ש", "م", "\xEF\xBF\xBD"}) {
        seen.push_back(pixels_of(letter, 16));
        for (size_t i = 0; i + 1 < seen.size(); i++)
            EXPECT_NE(seen[i], seen.back()) << letter;
    }
}

TEST_F(font, han_and_hangul_are_as_wide_as_high)
{
    for (const int size : {12, 16, 20}) {
        EXPECT_EQ(font_text_width("国", size), size);
        EXPECT_EQ(font_text_width("国国国", size), 3 * size);
        EXPECT_NEAR(font_text_width("한", size), size, 1);
    }
}

TEST_F(font, text_stands_in_the_line_of_its_size)
{
    for (const int size : {12, 16, 20, 24}) {
        for (const char *text : {"H", "国", "한", "あ", "7"}) {
            const ink found = drawn(text, 20, 20, 0, 0, size);
            EXPECT_GE(found.top, 20 - 1) << text << size;
            EXPECT_LE(found.bottom, 20 + size - 1) << text << size;
        }
        /* Capitals are in the middle of it. */
        const ink capital = drawn("H", 20, 20, 0, 0, size);
        EXPECT_NEAR(capital.top + capital.bottom, 40 + size - 1, 3) << size;
    }
}

TEST_F(font, accents_and_descenders_are_whole_in_a_box_of_the_size)
{
    for (const int size : {12, 16, 20}) {
        guarded_surface boxed(100, 60), unlimited(100, 60);
        fb_draw_text(&boxed.surface, "ÄÉgjy", 5, 20, 90, size, size, 0xFFFF, 0);
        fb_draw_text(&unlimited.surface, "ÄÉgjy", 5, 20, 0, 0, size, 0xFFFF, 0);
        EXPECT_EQ(boxed.pixels(), unlimited.pixels()) << size;
    }
}

TEST_F(font, alignment_moves_the_text_in_its_box)
{
    const int32_t width = font_text_width("Hallo", 16);
    const ink left = drawn("Hallo", 20, 30, 150, 40, 16);
    const auto shifted = [&](uint32_t align) {
        const ink found = drawn("Hallo", 20, 30, 150, 40, 16, align);
        EXPECT_EQ(found.count, left.count);
        return std::pair<int32_t, int32_t>(found.left - left.left, found.top - left.top);
    };
    using by = std::pair<int32_t, int32_t>;
    EXPECT_EQ(shifted(fb_align_center), by((150 - width) / 2, 0));
    EXPECT_EQ(shifted(fb_align_right), by(150 - width, 0));
    EXPECT_EQ(shifted(fb_align_middle), by(0, 12));
    EXPECT_EQ(shifted(fb_align_bottom), by(0, 24));
    EXPECT_EQ(shifted(fb_align_center | fb_align_right), by((150 - width) / 2, 0));
    EXPECT_EQ(shifted(fb_align_middle | fb_align_bottom), by(0, 12));
    EXPECT_EQ(shifted(fb_align_right | fb_align_bottom), by(150 - width, 24));
}

TEST_F(font, a_box_without_a_limit_anchors_left_and_top)
{
    const ink plain = drawn("Hallo", 20, 30, 0, 0, 16);
    const ink aligned = drawn("Hallo", 20, 30, 0, 0, 16, fb_align_right | fb_align_bottom);
    EXPECT_EQ(plain.left, aligned.left);
    EXPECT_EQ(plain.top, aligned.top);
}

TEST_F(font, text_is_clipped_to_a_box_smaller_than_itself)
{
    for (const uint32_t align : {0u, fb_align_right, fb_align_middle, fb_align_bottom}) {
        const ink found = drawn("WWWW国国", 50, 40, 30, 9, 20, align);
        EXPECT_GE(found.left, 50);
        EXPECT_LE(found.right, 79);
        EXPECT_GE(found.top, 40);
        EXPECT_LE(found.bottom, 48);
        EXPECT_GT(found.count, 0);
    }
}

TEST_F(font, drawing_stays_on_the_surface_wherever_it_is)
{
    for (const int32_t x : {INT_MIN, -1000, -30, -3, 0, 190, 199, 1000, INT_MAX})
        for (const int32_t y : {INT_MIN, -1000, -10, 0, 90, 99, INT_MAX})
            for (const int32_t w : {0, 1, 40, INT_MAX})
                for (const int32_t h : {0, 1, 20, INT_MAX})
                    for (const uint32_t align : {0u, 0x11u, 0x22u})
                        (void)drawn("Ägypten 国国 gjpqy", x, y, w, h, 16, align);
}

TEST_F(font, negative_boxes_and_sizes_below_one_draw_nothing)
{
    EXPECT_EQ(drawn("Text", 20, 20, -1, 20, 16).count, 0);
    EXPECT_EQ(drawn("Text", 20, 20, 20, INT_MIN, 16).count, 0);
    EXPECT_EQ(drawn("Text", 20, 20, 0, 0, 0).count, 0);
    EXPECT_EQ(drawn("Text", 20, 20, 0, 0, INT_MIN).count, 0);
    EXPECT_EQ(drawn("", 20, 20, 0, 0, 16).count, 0);
    EXPECT_EQ(drawn(nullptr, 20, 20, 0, 0, 16).count, 0);
    EXPECT_EQ(fb_draw_text(nullptr, "Text", 0, 0, 0, 0, 16, 0, 0), 0);
}

TEST_F(font, enormous_sizes_are_survived)
{
    EXPECT_GT(drawn("W国", -20, -100, 0, 0, 512).count, 0);
    (void)drawn("W国", -300, -200, 0, 0, INT_MAX);
    EXPECT_EQ(font_text_width("国", INT_MAX), font_text_width("国", 512));
}

TEST_F(font, full_coverage_has_the_colour_asked_for)
{
    for (const uint16_t colour : {0xF800, 0x07E0, 0x001F, 0x1234, 0xFFFF}) {
        guarded_surface target(60, 60, 0x8410);
        fb_draw_text(&target.surface, "█", 5, 5, 0, 0, 40, colour, 0);
        const std::vector<uint16_t> all = target.pixels();
        EXPECT_GT(std::count(all.begin(), all.end(), colour), 300);
    }
}

/* Several pixels are mixed at once where there is room for them, and one at a time at an edge. */
TEST_F(font, a_pixel_is_mixed_alike_wherever_the_surface_ends)
{
    uint32_t noise = seed_or(1);
    const auto next = [&noise] {
        noise = noise * 1664525 + 1013904223;
        return static_cast<uint16_t>(noise >> 12);
    };
    for (int round = 0; round < 40; round++) {
        guarded_surface whole(120, 40);
        for (int32_t i = 0; i < 40 * 120; i++)
            whole.surface.pixels[i / 120 * whole.surface.stride + i % 120] = next();
        const std::vector<uint16_t> before = whole.pixels();
        const uint16_t colour = next();
        fb_draw_text(&whole.surface, "Wgo国%", 3, 4, 0, 0, 24, colour, 0);
        for (int32_t width = 1; width < 40; width++) {
            guarded_surface part(width, 40);
            for (int32_t i = 0; i < 40 * width; i++)
                part.surface.pixels[i / width * part.surface.stride + i % width] =
                    before[static_cast<size_t>(i / width * 120 + i % width)];
            fb_draw_text(&part.surface, "Wgo国%", 3, 4, 0, 0, 24, colour, 0);
            for (int32_t i = 0; i < 40 * width; i++)
                ASSERT_EQ(part.at(i % width, i / width), whole.at(i % width, i / width)) << i;
        }
    }
}

TEST_F(font, edges_are_grey)
{
    const std::vector<uint16_t> all = pixels_of("Oo", 20);
    EXPECT_GT(std::count_if(all.begin(), all.end(),
                            [](uint16_t pixel) { return pixel != 0 && pixel != 0xFFFF; }),
              20);
}

TEST_F(font, decomposed_letters_look_like_composed_ones)
{
    EXPECT_EQ(pixels_of("e\xCC\x81 a\xCC\x88 n\xCC\x83", 16), pixels_of("é ä ñ", 16));
    EXPECT_EQ(pixels_of("\xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB", 16), pixels_of("한", 16));
    EXPECT_EQ(pixels_of("\xE3\x81\x8B\xE3\x82\x99", 16), pixels_of("が", 16));
}

TEST_F(font, an_accent_that_does_not_compose_takes_no_room)
{
    EXPECT_EQ(font_text_width("x\xCC\x81y", 20), font_text_width("xy", 20));
    EXPECT_NE(pixels_of("x\xCC\x81y", 20), pixels_of("xy", 20));
}

TEST_F(font, broken_text_draws_a_replacement_sign_and_goes_on)
{
    EXPECT_EQ(pixels_of("a\xFF"
                        "b",
                        16),
              pixels_of("a\xEF\xBF\xBD"
                        "b",
                        16));
    EXPECT_EQ(pixels_of("국\xED\x95", 16), pixels_of("국\xEF\xBF\xBD", 16));
    EXPECT_EQ(pixels_of("a\n\tb", 16), pixels_of("ab", 16));
    EXPECT_NE(pixels_of("a\xFF"
                        "b",
                        16),
              pixels_of("ab", 16));
}

TEST_F(font, any_bytes_are_survived)
{
    uint32_t state = seed_or(31);
    guarded_surface target(120, 40);
    for (int round = 0; round < 3000; round++) {
        char text[40] = {};
        for (int i = 0; i < 39; i++) {
            state = state * 1664525u + 1013904223u;
            text[i] = static_cast<char>(state >> 24);
        }
        fb_draw_text(&target.surface, text, 0, 5, round % 3 ? 100 : 0, 30, 8 + round % 20, 0xFFFF,
                     static_cast<uint32_t>(round) & 0x33);
    }
    EXPECT_TRUE(target.guards_hold());
}

TEST_F(font, any_characters_are_survived)
{
    uint32_t state = seed_or(77);
    guarded_surface target(120, 40);
    for (int round = 0; round < 1500; round++) {
        std::string text;
        for (int i = 0; i < 12; i++) {
            state = state * 1664525u + 1013904223u;
            uint32_t character = (state >> 8) % 0x3000;
            if (character >= 0x800) {
                text += static_cast<char>(0xE0 | character >> 12);
                text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
            } else {
                character = 0x80 + character % 0x700;
                text += static_cast<char>(0xC0 | character >> 6);
            }
            text += static_cast<char>(0x80 | (character & 0x3F));
        }
        fb_draw_text(&target.surface, text.c_str(), 0, 5, round % 2 ? 70 : 0, 30, 14, 0xFFFF, 0);
        ASSERT_GE(font_text_width(text.c_str(), 14), 0);
    }
    EXPECT_TRUE(target.guards_hold());
}

TEST_F(font, a_text_wider_than_its_box_ends_in_an_ellipsis)
{
    const char *text = "A title that is much too long";
    const int32_t whole = font_text_width(text, 16);
    EXPECT_EQ(pixels_of(text, 16, whole), pixels_of(text, 16));
    EXPECT_NE(pixels_of(text, 16, whole - 1), pixels_of(text, 16));
    const int32_t cut = font_text_width("A title...", 16);
    EXPECT_EQ(pixels_of(text, 16, cut), pixels_of("A title...", 16));
    /* No blank before the dots. */
    EXPECT_EQ(pixels_of("ab      cdefghijklmnop", 16, font_text_width("ab   ...", 16)),
              pixels_of("ab...", 16));
    for (int32_t w = 1; w < whole; w++) {
        guarded_surface target(320, 40);
        fb_draw_text(&target.surface, text, 10, 10, w, 0, 16, 0xFFFF, 0);
        ASSERT_LT(ink_of(target).right, 10 + w);
    }
}

TEST_F(font, a_box_too_narrow_for_dots_shows_what_fits)
{
    const ink found = drawn("WWWW", 20, 20, 5, 0, 16);
    EXPECT_GT(found.count, 0);
    EXPECT_GE(found.left, 20);
    EXPECT_LE(found.right, 24);
    const ink right = drawn("WWWl", 20, 20, 5, 0, 16, fb_align_right);
    EXPECT_EQ(right.count, found.count);
}

TEST_F(font, right_to_left_text_runs_from_right_to_left)
{
    const std::string alef = "א", tav = "ת";
    /* In one word the first letter stands at the right. */
    EXPECT_EQ(pixels_of((alef + tav).c_str(), 20),
              pixels_of(("\xE2\x80\xAD" + tav + alef).c_str(), 20)); /* forced left to right */
    EXPECT_NE(pixels_of((alef + tav).c_str(), 20), pixels_of((tav + alef).c_str(), 20));
    /* Digits inside stay in their order; joined letters take another form. */
    EXPECT_NE(pixels_of("مم", 20), pixels_of("م\xE2\x80\x8Cم", 20)); /* kept apart */
    EXPECT_EQ(font_text_width("abc אבג 123", 16), font_text_width("abc אבג 321", 16));
}

TEST_F(font, words_of_both_directions_stand_in_the_order_of_the_first)
{
    const std::string forced = "\xE2\x80\xAD"; /* what follows runs from left to right */
    EXPECT_EQ(pixels_of("אב x", 20), pixels_of((forced + "x בא").c_str(), 20));
    EXPECT_EQ(pixels_of("x אב", 20), pixels_of((forced + "x בא").c_str(), 20));
    EXPECT_EQ(pixels_of("אב 12 גד", 20), pixels_of((forced + "דג 12 בא").c_str(), 20));
}

TEST_F(font, a_long_right_to_left_text_is_shortened_at_its_end)
{
    const char *text = "שלום שלום שלום שלום שלום";
    const int32_t whole = font_text_width(text, 16);
    for (int32_t w = 10; w < whole; w += 7) {
        guarded_surface target(320, 40);
        fb_draw_text(&target.surface, text, 10, 10, w, 0, 16, 0xFFFF, 0);
        ASSERT_LT(ink_of(target).right, 10 + w);
        ASSERT_GT(ink_of(target).count, 0);
    }
}

TEST_F(font, very_long_texts_end_somewhere)
{
    const std::string text(100000, 'i');
    EXPECT_EQ(font_text_width(text.c_str(), 12), 2048 * font_text_width("i", 12));
    EXPECT_GT(drawn(text.c_str(), -5000, 20, 0, 0, 12).count, 0);
    std::string han;
    for (int i = 0; i < 5000; i++)
        han += "国";
    EXPECT_EQ(drawn(han.c_str(), 10, 20, 100, 0, 12).right < 110, true);
}

TEST_F(font, more_glyphs_than_the_cache_holds_draw_the_same)
{
    const std::vector<uint16_t> before = pixels_of("国字幕音楽 Text", 24);
    guarded_surface target(60, 60);
    for (uint32_t character = 0x4E00; character < 0x5A00; character++) {
        const char text[] = {static_cast<char>(0xE0 | character >> 12),
                             static_cast<char>(0x80 | (character >> 6 & 0x3F)),
                             static_cast<char>(0x80 | (character & 0x3F)), 0};
        fb_draw_text(&target.surface, text, 5, 5, 0, 0, 24, 0xFFFF, 0);
    }
    EXPECT_EQ(pixels_of("国字幕音楽 Text", 24), before);
}

TEST_F(font, one_size_does_not_disturb_another)
{
    const std::vector<uint16_t> twelve = pixels_of("Text 国", 12);
    const std::vector<uint16_t> twenty = pixels_of("Text 国", 20);
    EXPECT_NE(twelve, twenty);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(pixels_of("Text 国", 12), twelve);
        EXPECT_EQ(pixels_of("Text 国", 20), twenty);
    }
    const std::vector<uint16_t> fresh = pixels_of("字母 xyz", 12);
    ASSERT_EQ(font_open(maker_font_path), 0);
    EXPECT_EQ(pixels_of("字母 xyz", 12), fresh);
}

/* As a screen does in a second: the same texts again, and a time that moves. */
static void draw_screen(fb_surface *surface, int second)
{
    char time[16];
    snprintf(time, sizeof time, "%d:%02d", second / 60, second % 60);
    fb_draw_text(surface, time, 5, 5, 60, 16, 12, 0xFFFF, fb_align_right);
    fb_draw_text(surface, "音楽 — Title of a track that is too long", 5, 20, 100, 16, 16, 0xFFFF,
                 0);
    fb_draw_text(surface, "가수 ♪ Ägypten", 5, 40, 150, 16, 16, 0xFFFF, fb_align_center);
    fb_draw_text(surface, "שלום مرحبا", 5, 60, 150, 16, 16, 0xFFFF, fb_align_right);
}

TEST_F(font, warm_drawing_allocates_nothing)
{
    if (!COUNTS_ALLOCATIONS)
        GTEST_SKIP() << "a sanitizer brings its own heap; the plain build counts";
    guarded_surface target(200, 90);
    for (int second = 0; second < 600; second++)
        draw_screen(&target.surface, second);
    const uint64_t before = allocations;
    for (int second = 0; second < 600; second++)
        draw_screen(&target.surface, second);
    EXPECT_EQ(allocations - before, 0u);
    EXPECT_GT(allocations, 0u);
}

TEST_F(font, the_surface_remembers_its_texts)
{
    fb_keep_texts = true;
    surface_owner surface(fb_create(100, 50));
    fb_draw_text(surface.get(), "Hallo", 5, 6, 70, 20, 12, 0xF800, fb_align_right);
    fb_draw_text(surface.get(), "nowhere", 5, 6, -70, 20, 12, 0xF800, fb_align_right);
    ASSERT_EQ(fb_text_count(surface.get()), 1u);
    const fb_text *text = fb_text_at(surface.get(), 0);
    EXPECT_STREQ(text->text, "Hallo");
    EXPECT_EQ(text->x, 5);
    EXPECT_EQ(text->y, 6);
    EXPECT_EQ(text->w, 70);
    EXPECT_EQ(text->h, 20);
    EXPECT_EQ(text->size, 12);
    EXPECT_EQ(text->colour, 0xF800);
    EXPECT_EQ(text->align, fb_align_right);
}

TEST_F(font, open_refuses_what_is_no_font_and_keeps_the_old_one)
{
    const std::vector<uint16_t> before = pixels_of("Text", 16);
    maker_save("garbage.ttf", maker_bytes(5000, 0x5A));
    maker_save("empty.ttf", {});
    for (const char *path : {"missing.ttf", "garbage.ttf", "empty.ttf", ".", ""})
        EXPECT_EQ(font_open(path), -1) << path;
    EXPECT_EQ(font_open(nullptr), -1);
    EXPECT_EQ(pixels_of("Text", 16), before);
}

TEST_F(font, open_waits_for_nobody_at_a_pipe)
{
    const scratch folder;
    ASSERT_EQ(mkfifo("pipe.ttf", 0600), 0);
    EXPECT_EQ(font_open("pipe.ttf"), -1);
}

TEST_F(font, open_again_replaces_the_font)
{
    const std::vector<uint16_t> before = pixels_of("Text", 16);
    ASSERT_EQ(font_open("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"), 0);
    EXPECT_NE(pixels_of("Text", 16), before);
    EXPECT_GT(drawn("国", 20, 20, 0, 0, 16).count, 16) << "from a fallback";
    ASSERT_EQ(font_open(maker_font_path), 0);
    EXPECT_EQ(pixels_of("Text", 16), before);
}

static maker_bytes file_bytes(const char *path)
{
    FILE *file = fopen(path, "rb");
    maker_bytes bytes;
    for (int byte = fgetc(file); byte != EOF; byte = fgetc(file))
        bytes.push_back(static_cast<uint8_t>(byte));
    fclose(file);
    return bytes;
}

TEST_F(font, a_truncated_font_never_crashes)
{
    const maker_bytes whole = file_bytes("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
    for (size_t size = 0; size < whole.size(); size += size < 512 ? 16 : whole.size() / 40) {
        maker_save("cut.ttf",
                   maker_bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)));
        if (font_open("cut.ttf") == 0)
            (void)drawn("Ägypten 国 مرحبا", 10, 10, 100, 0, 16);
    }
}

TEST_F(font, without_a_font_nothing_is_drawn)
{
    EXPECT_EQ(font_close(), 0);
    EXPECT_EQ(font_close(), 0);
    EXPECT_EQ(font_text_width("Text", 16), 0);
    guarded_surface target(40, 40);
    EXPECT_EQ(fb_draw_text(&target.surface, "Text", 5, 5, 0, 0, 16, 0xFFFF, 0), -1);
    EXPECT_EQ(ink_of(target).count, 0);
}

TEST_F(font, operations_fail_on_request)
{
    fault_set("font_open");
    EXPECT_EQ(font_open(maker_font_path), -1);
    EXPECT_GT(font_text_width("Text", 16), 0) << "the old one stays";
    fault_set("font_close");
    EXPECT_EQ(font_close(), -1);
    EXPECT_EQ(font_text_width("Text", 16), 0) << "closed all the same";
}
