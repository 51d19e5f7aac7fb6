/* fb_texts: which texts stand on a surface after copies and clears. */
#include "platform/draw/fb.h"

#include "support/allocations.h"
#include "unit/platform/draw/guarded_surface.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>

class fb_texts : public testing::Test
{
  protected:
    void SetUp() override
    {
        before = allocated_bytes;
        fb_keep_texts = true;
        one.reset(fb_create(100, 50));
        other.reset(fb_create(100, 50));
        screen.reset(fb_create(100, 50));
    }
    void TearDown() override
    {
        fb_keep_texts = false;
        for (surface_owner *each : {&one, &other, &screen})
            each->reset();
        EXPECT_EQ(allocated_bytes, before) << "nothing stays behind";
    }

    static void note(const surface_owner &surface, const char *text, int32_t x, int32_t y,
                     int32_t w = 40, int32_t h = 12)
    {
        const fb_text added = {x, y, w, h, 12, 0xF800, fb_align_center, text};
        fb_text_note(surface.get(), &added);
    }

    /* All texts with their places. */
    static std::string listed(const surface_owner &surface)
    {
        std::string all;
        for (uint32_t i = 0; i < fb_text_count(surface.get()); i++) {
            const fb_text *text = fb_text_at(surface.get(), i);
            all += std::string(text->text) + "@" + std::to_string(text->x) + "," +
                   std::to_string(text->y) + " ";
        }
        return all;
    }

    /* How often something stands in the screen's list. */
    int times(const char *part) const
    {
        int count = 0;
        const std::string all = listed(screen);
        for (size_t at = all.find(part); at != std::string::npos; at = all.find(part, at + 1))
            count++;
        return count;
    }

    surface_owner one, other, screen;
    int64_t before = 0;
};

TEST_F(fb_texts, are_kept_in_the_order_drawn_with_all_their_fields)
{
    char buffer[] = "first";
    note(one, buffer, 5, 6);
    buffer[0] = 'X'; /* a copy is kept */
    note(one, "second", 7, 8, 0, 0);
    ASSERT_EQ(fb_text_count(one.get()), 2u);
    const fb_text *text = fb_text_at(one.get(), 0);
    EXPECT_STREQ(text->text, "first");
    EXPECT_EQ(text->x, 5);
    EXPECT_EQ(text->y, 6);
    EXPECT_EQ(text->w, 40);
    EXPECT_EQ(text->h, 12);
    EXPECT_EQ(text->size, 12);
    EXPECT_EQ(text->colour, 0xF800);
    EXPECT_EQ(text->align, fb_align_center);
    EXPECT_STREQ(fb_text_at(one.get(), 1)->text, "second");
    EXPECT_EQ(fb_text_at(one.get(), 2), nullptr);
}

TEST_F(fb_texts, are_not_kept_unless_asked_for)
{
    fb_keep_texts = false;
    surface_owner plain(fb_create(100, 50));
    note(plain, "text", 0, 0);
    EXPECT_EQ(fb_text_count(plain.get()), 0u);
    EXPECT_EQ(fb_text_count(nullptr), 0u);
    EXPECT_EQ(fb_copy(plain.get(), one.get(), 0, 0, 100, 50, 0, 0), 0);
    EXPECT_EQ(fb_copy(one.get(), plain.get(), 0, 0, 100, 50, 0, 0), 0);
}

TEST_F(fb_texts, clearing_drops_them)
{
    note(one, "text", 0, 0);
    fb_clear(one.get(), 0);
    EXPECT_EQ(listed(one), "");
}

TEST_F(fb_texts, copying_a_whole_surface_replaces_those_below)
{
    note(screen, "old", 10, 10);
    note(one, "new", 20, 20);
    fb_copy(screen.get(), one.get(), 0, 0, 100, 50, 0, 0);
    EXPECT_EQ(listed(screen), "new@20,20 ");
    EXPECT_EQ(listed(one), "new@20,20 ");
    fb_copy(screen.get(), one.get(), 0, 0, 100, 50, 0, 0);
    EXPECT_EQ(listed(screen), "new@20,20 ");
}

TEST_F(fb_texts, move_along_with_a_shifted_copy)
{
    note(one, "text", 20, 20);
    fb_copy(screen.get(), one.get(), 30, -5, 100, 50, 0, 0);
    EXPECT_EQ(listed(screen), "text@50,15 ");
    fb_copy(other.get(), one.get(), 0, 0, 50, 30, 15, 15);
    EXPECT_EQ(listed(other), "text@5,5 ");
}

TEST_F(fb_texts, out_of_sight_are_left_out)
{
    note(one, "left", -50, 0);
    note(one, "below", 0, 50);
    note(one, "", 0, 0);
    note(one, "inside", 95, 45);
    EXPECT_EQ(listed(one), "inside@95,45 ");
    fb_copy(screen.get(), one.get(), 10, 0, 100, 50, 0, 0);
    EXPECT_EQ(listed(screen), "");
}

TEST_F(fb_texts, outside_a_small_copy_stay)
{
    note(screen, "stays", 0, 0);
    note(screen, "goes", 50, 20);
    fb_copy(screen.get(), one.get(), 45, 18, 50, 20, 0, 0);
    EXPECT_EQ(listed(screen), "stays@0,0 ");
    fb_copy(screen.get(), one.get(), 10, 5, 5, 5, 0, 0); /* a hole in the middle */
    EXPECT_EQ(listed(screen), "stays@0,0 ");
}

/* A text of 40 x 12 in quarters: what hides a corner leaves no rectangle. */
TEST_F(fb_texts, go_when_two_halves_are_covered_and_stay_when_a_corner_is)
{
    struct part {
        int x, y, w, h;
    };
    const auto cover = [&](const part &at) {
        fb_copy(screen.get(), one.get(), 20 + at.x, 20 + at.y, at.w, at.h, 0, 0);
    };
    const part left = {0, 0, 20, 12}, right = {20, 0, 20, 12}, upper = {0, 0, 40, 6},
               lower = {0, 6, 40, 6};
    const std::pair<part, part> halves[] = {
        {left, right}, {right, left}, {upper, lower}, {lower, upper}};
    for (const auto &[first, second] : halves) {
        note(screen, "text", 20, 20);
        cover(first);
        EXPECT_EQ(listed(screen), "text@20,20 ");
        cover(second);
        EXPECT_EQ(listed(screen), "");
    }
    for (const part &corner : {part{0, 0, 20, 6}, {20, 0, 20, 6}, {0, 6, 20, 6}, {20, 6, 20, 6}})
        for (const part &half : {left, right, upper, lower}) {
            if (half.x == corner.x && half.y == corner.y)
                continue; /* which covers the corner as well */
            note(screen, "text", 20, 20);
            cover(corner);
            cover(half);
            EXPECT_EQ(listed(screen), "text@20,20 ");
            fb_clear(screen.get(), 0);
        }
}

TEST_F(fb_texts, do_not_pile_up_while_two_screens_slide)
{
    note(one, "one", 0, 0, 100);
    note(one, "right", 60, 20, 40);
    note(other, "other", 0, 0, 0, 0);
    for (int x = 0; x >= -100; x -= 7) {
        fb_copy(screen.get(), one.get(), x, 0, 100, 50, 0, 0);
        fb_copy(screen.get(), other.get(), x + 100, 0, 100, 50, 0, 0);
        EXPECT_LE(fb_text_count(screen.get()), 3u);
        EXPECT_EQ(listed(screen).rfind("one@" + std::to_string(x), 0), 0u) << listed(screen);
    }
    fb_copy(screen.get(), other.get(), 0, 0, 100, 50, 0, 0);
    EXPECT_EQ(listed(screen), "other@0,0 ");
}

TEST_F(fb_texts, do_not_pile_up_while_two_screens_slide_back_or_up)
{
    note(one, "one", 0, 0, 100);
    note(one, "left", 0, 20, 40);
    note(other, "other", 0, 0, 0, 0);
    for (int x = 0; x <= 100; x += 7) {
        fb_copy(screen.get(), one.get(), x, 0, 100, 50, 0, 0);
        fb_copy(screen.get(), other.get(), x - 100, 0, 100, 50, 0, 0);
        EXPECT_LE(fb_text_count(screen.get()), 3u);
    }
    fb_clear(screen.get(), 0);
    for (const int step : {-1, 1}) {
        for (int y = 0; y <= 50; y += 3) {
            fb_copy(screen.get(), one.get(), 0, y * step, 100, 50, 0, 0);
            fb_copy(screen.get(), other.get(), 0, (y - 50) * step, 100, 50, 0, 0);
            EXPECT_LE(times("one@"), 1) << y * step;
            EXPECT_LE(times("other@"), 1) << y * step;
        }
        for (int y = 0; y <= 50; y += 3) {
            fb_copy(screen.get(), other.get(), 0, (y - 50) * step, 100, 50, 0, 0);
            fb_copy(screen.get(), one.get(), 0, y * step, 100, 50, 0, 0);
            EXPECT_LE(times("one@"), 1) << y * step;
            EXPECT_LE(times("other@"), 1) << y * step;
        }
    }
}

TEST_F(fb_texts, survive_the_far_corners_of_the_numbers)
{
    note(one, "wide", INT_MIN, 0, INT_MAX, 12);
    note(one, "wider", -10, INT_MIN, INT_MAX, INT_MAX);
    note(one, "all", -2000000000, -2000000000, INT_MAX, INT_MAX);
    EXPECT_EQ(listed(one), "all@-2000000000,-2000000000 ");
    surface_owner large(fb_create(4096, 1));
    fb_copy(screen.get(), one.get(), -90, -40, 100, 50, 0, 0);
    EXPECT_EQ(fb_text_count(screen.get()), 1u);
}

TEST_F(fb_texts, have_a_limit)
{
    for (int i = 0; i < 10000; i++)
        note(one, "again", 0, 0);
    EXPECT_LE(fb_text_count(one.get()), 4096u);
    EXPECT_GE(fb_text_count(one.get()), 1000u);
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST_F(fb_texts, for_which_there_is_no_memory_are_left_out)
{
    for (int i = 0; i < 40; i++) { /* more than the first room holds */
        int failed = 0;
        for (const uint32_t count = fb_text_count(one.get()); fb_text_count(one.get()) == count;) {
            allocation_to_fail = ++failed;
            note(one, "a text that is longer than what a string holds by itself", 5, 6);
            if (allocation_to_fail == 0) {
                ASSERT_EQ(fb_text_count(one.get()), count) << i;
            }
            allocation_to_fail = 0;
        }
        ASSERT_GT(failed, 1) << i;
    }
    EXPECT_EQ(fb_text_count(one.get()), 40u);
    allocation_to_fail = 1;
    EXPECT_EQ(fb_create(10, 10), nullptr);
    EXPECT_EQ(allocation_to_fail, 0);
}
#endif
