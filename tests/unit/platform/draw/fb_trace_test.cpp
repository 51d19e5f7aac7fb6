/* Pictures of which a part changes: what is told, and that no pixel is missed. */
#include "platform/draw/fb.h"

#include "platform/base/fault.h"
#include "support/seed.h"
#include "unit/platform/draw/guarded_surface.h"
#include "unit/platform/manual_device.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

struct trace_owner {
    fb_trace *trace = fb_trace_new();
    trace_owner() = default;
    trace_owner(const trace_owner &) = delete;
    ~trace_owner() { fb_trace_free(trace); }
};

/* A picture made of rectangles. */
struct picture {
    std::vector<std::pair<fb_rect, uint16_t>> parts;

    void paint(fb_surface *to) const
    {
        fb_clear(to, 0xFFFF);
        for (const auto &[area, colour] : parts)
            fb_draw_rect(to, area.x, area.y, area.w, area.h, colour);
    }
};

static fb_changes changes_of(fb_surface *surface, fb_trace *trace, const picture &next,
                             uint32_t before)
{
    fb_trace_begin(surface, trace);
    next.paint(surface);
    EXPECT_TRUE(fb_trace_end(surface));
    return fb_trace_changes(trace, before);
}

static bool covers(const fb_changes &changes, int32_t x, int32_t y)
{
    for (uint32_t i = 0; i < changes.count; i++) {
        const fb_rect &each = changes.rects[i];
        if (x >= each.x && x < each.x + each.w && y >= each.y && y < each.y + each.h)
            return true;
    }
    return !changes.partial;
}

static void draw_marked(fb_surface *surface, fb_trace *trace, const picture &next)
{
    const uint32_t before = surface->content;
    const fb_changes changes = changes_of(surface, trace, next, before);
    next.paint(surface);
    fb_mark(surface, trace, before, &changes);
}

TEST(fb_trace, notes_and_draws_nothing)
{
    const surface_owner surface(fb_create(40, 30));
    const trace_owner owner;
    fb_clear(surface.get(), 0x1234);
    const fb_changes changes =
        changes_of(surface.get(), owner.trace, {{{{1, 2, 3, 4}, 0xF800}}}, 0);
    EXPECT_FALSE(changes.partial) << "there is no picture before";
    for (int32_t i = 0; i < 40 * 30; i++)
        EXPECT_EQ(surface->pixels[i], 0x1234);
}

TEST(fb_trace, tells_the_place_that_changes)
{
    const surface_owner surface(fb_create(100, 100));
    const trace_owner owner;
    picture at = {{{{0, 0, 100, 50}, 0x1111}, {{10, 20, 5, 6}, 0x2222}, {{60, 60, 90, 90}, 3}}};
    draw_marked(surface.get(), owner.trace, at);
    at.parts[1].second = 0x3333;
    const fb_changes changes = changes_of(surface.get(), owner.trace, at, surface->content);
    ASSERT_TRUE(changes.partial);
    ASSERT_EQ(changes.count, 1u);
    EXPECT_EQ(changes.rects[0].x, 10);
    EXPECT_EQ(changes.rects[0].y, 20);
    EXPECT_EQ(changes.rects[0].w, 5);
    EXPECT_EQ(changes.rects[0].h, 6);
    EXPECT_FALSE(changes_of(surface.get(), owner.trace, at, surface->content + 1).partial)
        << "of another picture nothing is known";
}

/* A line's place from end to end, whichever one is named first. */
TEST(fb_trace, tells_the_place_of_a_line_that_changes)
{
    const int32_t lines[][4] = {
        {3, 5, 30, 8}, {30, 8, 3, 5}, {7, 2, 7, 25}, {4, 20, 25, 3}, {1, 9, 31, 9}};
    for (const auto &line : lines) {
        const int32_t x1 = line[0], y1 = line[1], x2 = line[2], y2 = line[3];
        const surface_owner surface(fb_create(40, 30));
        const trace_owner owner;
        const auto note = [&](uint16_t colour) {
            fb_trace_begin(surface.get(), owner.trace);
            EXPECT_EQ(fb_draw_line(surface.get(), x1, y1, x2, y2, colour), 0);
            EXPECT_TRUE(fb_trace_end(surface.get()));
            return fb_trace_changes(owner.trace, surface->content);
        };
        const fb_changes first = note(1);
        fb_mark(surface.get(), owner.trace, 0, &first);
        const fb_changes changes = note(2);
        ASSERT_TRUE(changes.partial);
        ASSERT_EQ(changes.count, 1u);
        EXPECT_EQ(changes.rects[0].x, std::min(x1, x2));
        EXPECT_EQ(changes.rects[0].y, std::min(y1, y2));
        EXPECT_EQ(changes.rects[0].w, std::abs(x1 - x2) + 1);
        EXPECT_EQ(changes.rects[0].h, std::abs(y1 - y2) + 1);
    }
}

TEST(fb_trace, changes_of_two_pictures_are_those_of_each)
{
    const fb_changes one = {.partial = true, .count = 1, .rects = {{0, 0, 4, 4}}};
    const fb_changes two = {.partial = true, .count = 2, .rects = {{90, 90, 4, 4}, {2, 80, 4, 4}}};
    const fb_changes sum = fb_changes_add(&one, &two);
    ASSERT_TRUE(sum.partial);
    for (const auto &[x, y] : {std::pair{0, 0}, {3, 3}, {90, 90}, {93, 93}, {2, 80}, {5, 83}})
        EXPECT_TRUE(covers(sum, x, y)) << x << ' ' << y;
    const fb_changes all = {};
    EXPECT_FALSE(fb_changes_add(&one, &all).partial);
    EXPECT_FALSE(fb_changes_add(&all, &one).partial);
    const fb_changes none = {.partial = true, .count = 0, .rects = {}};
    EXPECT_EQ(fb_changes_add(&none, &none).count, 0u);
}

TEST(fb_trace, nothing_changes_in_an_equal_picture)
{
    const surface_owner surface(fb_create(100, 100));
    const trace_owner owner;
    const picture at = {{{{0, 0, 100, 50}, 0x1111}}};
    draw_marked(surface.get(), owner.trace, at);
    const fb_changes changes = changes_of(surface.get(), owner.trace, at, surface->content);
    EXPECT_TRUE(changes.partial);
    EXPECT_EQ(changes.count, 0u);
    fb_draw_rect(surface.get(), 0, 0, 1, 1, 5);
    EXPECT_EQ(surface->content, 0u) << "a picture that was drawn on is not that picture any more";
}

TEST(fb_trace, a_drawing_that_differs_from_its_notes_is_found)
{
    const surface_owner surface(fb_create(20, 20));
    const trace_owner owner;
    for (const bool changes : {false, true}) {
        picture at = {{{{1, 1, 5, 5}, 7}}};
        fb_trace_begin(surface.get(), owner.trace);
        at.paint(surface.get());
        fb_trace_draw(surface.get());
        at.parts[0].second = changes ? 8 : 7;
        at.paint(surface.get());
        EXPECT_EQ(fb_trace_end(surface.get()), !changes);
    }
}

TEST(fb_trace, drawings_that_are_missing_or_too_many_are_found)
{
    const surface_owner surface(fb_create(20, 20));
    const trace_owner owner;
    const picture one = {{{{1, 1, 5, 5}, 7}}}, two = {{{{1, 1, 5, 5}, 7}, {{9, 9, 5, 5}, 1}}};
    for (const auto &[noted, drawn] : {std::pair{one, two}, {two, one}}) {
        fb_trace_begin(surface.get(), owner.trace);
        noted.paint(surface.get());
        fb_trace_draw(surface.get());
        drawn.paint(surface.get());
        EXPECT_FALSE(fb_trace_end(surface.get()));
    }
}

/* More drawings than are noted: neither equal nor known is what follows. */
TEST(fb_trace, a_picture_of_too_many_drawings_is_drawn_whole)
{
    for (const int count : {4096, 4097}) {
        const surface_owner surface(fb_create(20, 20));
        const trace_owner owner;
        const picture many = {{static_cast<size_t>(count), {{1, 1, 5, 5}, uint16_t{7}}}};
        for (int round = 0; round < 2; round++) {
            fb_trace_begin(surface.get(), owner.trace);
            many.paint(surface.get());
            const fb_changes changes = fb_trace_changes(owner.trace, surface->content);
            EXPECT_EQ(changes.partial, round > 0 && count == 4096) << count;
            fb_trace_draw(surface.get());
            many.paint(surface.get());
            EXPECT_EQ(fb_trace_end(surface.get()), count == 4096) << count;
            fb_mark(surface.get(), owner.trace, surface->content, &changes);
        }
    }
}

/* What a longer picture left behind the notes of a shorter one is not compared. */
TEST(fb_trace, a_picture_of_fewer_drawings_equals_its_notes)
{
    const surface_owner surface(fb_create(20, 20));
    const trace_owner owner;
    const picture pictures[] = {{{{{1, 1, 5, 5}, 7}, {{9, 9, 5, 5}, 1}}},
                                {{{{1, 1, 5, 5}, 7}, {{9, 9, 5, 5}, 2}}},
                                {{{{1, 1, 5, 5}, 7}}}};
    for (const picture &at : pictures) {
        const uint32_t before = surface->content;
        fb_trace_begin(surface.get(), owner.trace);
        at.paint(surface.get());
        fb_trace_draw(surface.get());
        at.paint(surface.get());
        EXPECT_TRUE(fb_trace_end(surface.get()));
        const fb_changes changes = fb_trace_changes(owner.trace, before);
        fb_mark(surface.get(), owner.trace, before, &changes);
    }
}

/* Random pictures that follow each other: only what is told is drawn anew and copied, and the outcome is
 * that of drawing everything. */
TEST(fb_trace, no_pixel_is_missed)
{
    uint32_t noise = seed_or(1);
    const auto next = [&noise](uint32_t most) {
        noise = noise * 1664525 + 1013904223;
        return static_cast<int32_t>((noise >> 8) % most);
    };
    const surface_owner drawn(fb_create(64, 48)), copied(fb_create(64, 48)),
        whole(fb_create(64, 48));
    const trace_owner owner;
    picture at;
    for (int round = 0; round < 2000; round++) {
        for (int i = next(4); i > 0; i--) {
            const fb_rect area = {next(90) - 20, next(70) - 20, next(40), next(40)};
            const std::pair<fb_rect, uint16_t> part = {area, static_cast<uint16_t>(next(65536))};
            const size_t place = static_cast<size_t>(next(8));
            if (place < at.parts.size() && next(4) == 0)
                at.parts.erase(at.parts.begin() + static_cast<ptrdiff_t>(place));
            else if (place < at.parts.size())
                at.parts[place] = part;
            else
                at.parts.push_back(part);
        }
        const uint32_t before = drawn->content;
        const fb_changes changes = changes_of(drawn.get(), owner.trace, at, before);
        for (uint32_t i = 0; changes.partial && i < changes.count; i++) {
            drawn->clip = changes.rects[i];
            at.paint(drawn.get());
        }
        drawn->clip = {};
        if (!changes.partial)
            at.paint(drawn.get());
        fb_mark(drawn.get(), owner.trace, before, &changes);
        if (next(5) == 0)
            fb_draw_rect(copied.get(), 3, 3, 9, 9, 0x5555); /* as a message would be */
        ASSERT_EQ(fb_copy_changes(copied.get(), drawn.get()), 0);
        at.paint(whole.get());
        const size_t bytes = 64 * 48 * sizeof(uint16_t);
        ASSERT_EQ(memcmp(drawn->pixels, whole->pixels, bytes), 0) << round;
        ASSERT_EQ(memcmp(copied->pixels, whole->pixels, bytes), 0) << round;
        for (int32_t i = 0; i < 64 * 48; i += 7)
            ASSERT_TRUE(!covers(changes, i % 64, i / 64) || fb_row_changes(drawn.get(), i / 64));
    }
}

TEST(fb_trace, drawing_reaches_no_further_than_the_clip)
{
    guarded_surface target(50, 40);
    target.surface.clip = {10, 8, 20, 16};
    fb_draw_rect(&target.surface, -5, -5, 100, 100, 1);
    fb_draw_line(&target.surface, 0, 0, 49, 39, 2);
    fb_draw_line(&target.surface, 49, 0, 0, 39, 2);
    fb_draw_line(&target.surface, 15, -3, 15, 99, 2);
    for (int32_t y = 0; y < 40; y++)
        for (int32_t x = 0; x < 50; x++) {
            const bool within = x >= 10 && x < 30 && y >= 8 && y < 24;
            EXPECT_EQ(target.at(x, y) != 0, within) << x << " " << y;
        }
    EXPECT_TRUE(target.guards_hold());
}

/* ---- what a device is told ---- */

static fb_changes told;

static void expect_told(bool partial, uint32_t count)
{
    told = {.partial = true, .count = 99, .rects = {}};
    ASSERT_EQ(fb_flip(), 0);
    EXPECT_EQ(told.partial, partial);
    EXPECT_EQ(told.count, count);
}

TEST(fb_trace, a_device_is_told_what_it_does_not_show_yet)
{
    device screen = manual_device;
    screen.screen_show = [](const fb_surface *frame) {
        told = frame->changes;
        return manual_result;
    };
    device_current = &screen;
    ASSERT_EQ(fb_open(100, 100), 0);
    const surface_owner surface(fb_create(100, 100));
    const trace_owner owner;
    picture at = {{{{0, 0, 100, 50}, 0x1111}, {{10, 20, 5, 6}, 0x2222}}};
    draw_marked(surface.get(), owner.trace, at);
    fb_copy_changes(fb_cur, surface.get());
    expect_told(false, 0);
    at.parts[1].second = 0x3333;
    draw_marked(surface.get(), owner.trace, at);
    fb_copy_changes(fb_cur, surface.get());
    expect_told(true, 1);
    expect_told(true, 0);
    fb_clear(fb_cur, 0); /* as before the display goes dark */
    expect_told(false, 0);
    fb_copy_changes(fb_cur, surface.get());
    expect_told(false, 0);
    at.parts[1].second = 0x4444;
    draw_marked(surface.get(), owner.trace, at);
    fb_copy_changes(fb_cur, surface.get());
    manual_result = -1;
    EXPECT_EQ(fb_flip(), -1);
    manual_result = 0;
    expect_told(false, 0);
    (void)fb_close();
    device_current = nullptr;
}
