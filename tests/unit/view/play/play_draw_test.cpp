#include "view/play/play_draw.h"

#include "platform/font/font.h"
#include "support/seed.h"
#include "unit/view/play/play_fixture.h"

#include <png.h>

using texts = std::vector<std::string>;

static void write_png(const std::string &path, uint32_t width, uint32_t height, uint32_t argb)
{
    const std::vector<uint32_t> pixels(static_cast<size_t>(width) * height, argb);
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = width;
    picture.height = height;
    picture.format = PNG_FORMAT_BGRA;
    ASSERT_NE(png_image_write_to_file(&picture, path.c_str(), 0, pixels.data(), 0, nullptr), 0);
}

struct play_draw_test : play_test {
    void SetUp() override
    {
        play_test::SetUp();
        ASSERT_EQ(setenv("TZ", "UTC", 1), 0);
        tzset();
        wall_seconds = 12 * 3600;
    }
    static void mark_redraw() { play_screen.redraw = 1; }
};

TEST_F(play_draw_test, draws_only_when_something_changed)
{
    load_part({"|<text format=\"x\"/>"});
    EXPECT_TRUE(draw());
    EXPECT_FALSE(draw());
    EXPECT_FALSE(draw());
    mark_redraw();
    EXPECT_TRUE(draw());
    EXPECT_EQ(play_screen.redraw, 0);
}

TEST_F(play_draw_test, redraws_once_a_second_while_playing)
{
    load_part({"|<text format=\"$mins:$02secs\"/>"});
    set_track();
    EXPECT_TRUE(draw());
    for (int32_t ms = 1; ms < 1000; ms += 37) {
        play_pos = ms;
        EXPECT_FALSE(draw());
    }
    play_pos = 1000;
    EXPECT_TRUE(draw());
    EXPECT_EQ(shown_texts(), texts{"0:01"});
}

TEST_F(play_draw_test, watches_the_second_or_the_line_that_it_shows)
{
    load_part({"|<text format=\"$mins:$02secs\"/>"});
    set_track();
    play_pos = 4321;
    EXPECT_TRUE(draw());
    EXPECT_EQ(watched_first, 4000);
    EXPECT_EQ(watched_last, 4999);
    hold_lyrics({{4100, "a"}, {4700, "b"}});
    play_pos = 4400;
    (void)draw();
    EXPECT_EQ(watched_first, 4100);
    EXPECT_EQ(watched_last, 4699);
    play_pos = INT32_MAX;
    (void)draw();
    EXPECT_EQ(watched_last, INT32_MAX);
    EXPECT_LE(watched_first, INT32_MAX - 7);
}

TEST_F(play_draw_test, redraws_once_a_minute_while_paused)
{
    load_part({"|<text format=\"$time\"/>"});
    set_track();
    play_paused = 1;
    EXPECT_TRUE(draw());
    EXPECT_EQ(shown_texts(), texts{"12:00"});
    int frames = 0;
    for (int i = 0; i < 180; i++) {
        wall_seconds++;
        frames += draw();
    }
    EXPECT_EQ(frames, 3);
    EXPECT_EQ(shown_texts(), texts{"12:03"});
}

TEST_F(play_draw_test, redraws_for_a_new_track)
{
    load_part({"|<text format=\"$title\"/>"});
    set_track({.title = "One"});
    EXPECT_TRUE(draw());
    set_track({.title = "Two"});
    EXPECT_TRUE(draw());
    EXPECT_EQ(shown_texts(), texts{"Two"});
    set_no_track();
    EXPECT_TRUE(draw());
    EXPECT_EQ(shown_texts(), texts{}) << "an empty text is no text";
}

TEST_F(play_draw_test, drops_what_belonged_to_the_last_track)
{
    load_part({"show=\"album_cover\"|", "show=\"lyrics\"|", "|"});
    set_track();
    hold_cover();
    hold_lyrics({{1, "line"}});
    draw();
    EXPECT_EQ(choose_layout(-1), 0u);
    set_track({.path = "no such file.mp3"});
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(layout_index(), 2u);
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_image, nullptr);
    EXPECT_EQ(play_view.lyrics_texts, nullptr);
    EXPECT_EQ(play_view.lyrics_times, nullptr);
}

TEST_F(play_draw_test, keeps_what_a_quick_worker_brought_for_the_new_track)
{
    load_part({"show=\"album_cover\"|", "|"});
    set_track();
    draw();
    set_track();
    hold_cover();
    hold_lyrics({{1, "line"}});
    draw();
    const sys_guard guard(play_view_lock);
    EXPECT_NE(play_view.cover_image, nullptr);
    EXPECT_NE(play_view.lyrics_texts, nullptr);
    EXPECT_EQ(play_view.current_layout_index, 0u);
}

TEST_F(play_draw_test, gives_the_text_its_box_size_alignment_and_colour)
{
    load_part({"|<text x=\"3\" y=\"4\" width=\"100\" height=\"20\" font_size=\"14\" "
               "font_color=\"#00ff00\" text_align=\"right middle\" format=\"$stopped\"/>"});
    draw();
    ASSERT_EQ(fb_text_count(play_screen.surface), 1u);
    const fb_text *text = fb_text_at(play_screen.surface, 0);
    EXPECT_STREQ(text->text, "Stopped");
    EXPECT_EQ(text->x, 3);
    EXPECT_EQ(text->y, 4);
    EXPECT_EQ(text->w, 100);
    EXPECT_EQ(text->h, 20);
    EXPECT_EQ(text->size, 14);
    EXPECT_EQ(text->colour, 0x07E0);
    EXPECT_EQ(text->align, fb_align_right | fb_align_middle);
}

TEST_F(play_draw_test, draws_elements_in_order_on_white)
{
    load_part({"|<rect x=\"0\" y=\"0\" width=\"20\" height=\"20\" color=\"#ff0000\"/>"
               "<rect x=\"10\" y=\"10\" width=\"20\" height=\"20\" color=\"#0000ff\"/>"
               "<rect show=\"pause\" hide=\"pause\" width=\"5\" height=\"5\" color=\"#00ff00\"/>"
               "<unknown width=\"5\" height=\"5\"/>"});
    draw();
    EXPECT_EQ(pixel(5, 5), 0xF800);
    EXPECT_EQ(pixel(15, 15), 0x001F);
    EXPECT_EQ(pixel(2, 2), 0xF800);
    EXPECT_EQ(pixel(100, 100), 0xFFFF);
}

TEST_F(play_draw_test, hides_elements_before_it_draws)
{
    load_part({"|<rect show=\"play\" width=\"10\" height=\"10\" color=\"#ff0000\"/>"});
    draw();
    EXPECT_EQ(pixel(5, 5), 0xFFFF);
    set_track();
    draw();
    EXPECT_EQ(pixel(5, 5), 0xF800);
}

TEST_F(play_draw_test, puts_the_position_on_its_bar_in_thousandths)
{
    load_part({"|<scroll action=\"play\"/>"});
    draw();
    EXPECT_EQ(element(0)->value, 0);
    set_track({.length = 441000, .rate = 44100});
    const std::pair<int32_t, int32_t> wanted[] = {{0, 0}, {2500, 250}, {5000, 500}, {9999, 1000}};
    for (const auto &[position, value] : wanted) {
        play_pos = position;
        mark_redraw();
        draw();
        EXPECT_EQ(element(0)->value, value) << position;
    }
    set_track({.length = 13230000, .rate = 44100});
    play_pos = 187000;
    draw();
    EXPECT_EQ(element(0)->value, 623);
}

TEST_F(play_draw_test, survives_tracks_without_a_length)
{
    load_part({"|<scroll action=\"play\"/>"});
    for (const int64_t length : {0, 1}) {
        set_track({.length = length});
        play_pos = 5000;
        draw();
        EXPECT_EQ(element(0)->value, 0) << length;
    }
    set_track({.length = 2, .rate = 384000});
    play_pos = INT32_MAX;
    draw();
    EXPECT_EQ(element(0)->value, INT32_MAX);
}

TEST_F(play_draw_test, puts_the_battery_on_its_bar)
{
    load_part({"|<scroll action=\"battery\"/><scroll action=\"volume\"/><scroll/>"
               "<rect action=\"battery\"/>"});
    element(1)->value = 123;
    draw();
    EXPECT_EQ(element(0)->value, 570);
    EXPECT_EQ(element(1)->value, 123);
    EXPECT_EQ(element(2)->value, 0);
    EXPECT_EQ(element(3)->value, 0);
}

TEST_F(play_draw_test, says_that_no_lyrics_were_found_while_a_track_plays)
{
    load_part({"|<lyrics x=\"1\" y=\"2\" width=\"30\" height=\"40\"/>"});
    draw();
    EXPECT_EQ(shown_texts(), texts{});
    set_track({.path = "no such file.mp3"});
    draw();
    ASSERT_EQ(shown_texts(), texts{"没有找到歌词"});
    const fb_text *text = fb_text_at(play_screen.surface, 0);
    EXPECT_EQ(text->y, 2);
    EXPECT_EQ(text->h, 40);
}

TEST_F(play_draw_test, stacks_the_shown_lines_in_equal_bands)
{
    load_part({"|<lyrics x=\"5\" y=\"10\" width=\"200\" height=\"100\" font_size=\"13\"/>"});
    set_track();
    draw();
    hold_lyrics({{10, "a"}, {10, "b"}, {10, "c"}, {5000, "d"}});
    EXPECT_TRUE(draw()) << "as their worker asks";
    EXPECT_FALSE(draw());
    play_pos = 10;
    EXPECT_TRUE(draw());
    ASSERT_EQ(shown_texts(), (texts{"a", "b", "c"}));
    /* The gap is 6, so 100 - 12 = 88 are shared by three. */
    const int32_t tops[] = {10, 10 + 29 + 6, 10 + 58 + 12};
    for (uint32_t i = 0; i < 3; i++) {
        const fb_text *text = fb_text_at(play_screen.surface, i);
        EXPECT_EQ(text->x, 5);
        EXPECT_EQ(text->w, 200);
        EXPECT_EQ(text->y, tops[i]);
        EXPECT_EQ(text->h, 29);
    }
    play_pos = 5000;
    EXPECT_TRUE(draw());
    ASSERT_EQ(shown_texts(), texts{"d"});
    EXPECT_EQ(fb_text_at(play_screen.surface, 0)->h, 100);
}

TEST_F(play_draw_test, shows_nothing_before_the_first_line)
{
    load_part({"|<lyrics width=\"200\" height=\"100\"/>"});
    set_track();
    draw();
    hold_lyrics({{10000, "a"}});
    mark_redraw();
    draw();
    EXPECT_EQ(shown_texts(), texts{});
}

TEST_F(play_draw_test, survives_a_box_too_low_for_its_gaps)
{
    load_part({"|<lyrics width=\"200\" height=\"10\" font_size=\"40\"/>"});
    set_track();
    draw();
    hold_lyrics({{10, "a"}, {10, "b"}, {10, "c"}});
    play_pos = 10;
    EXPECT_TRUE(draw());
}

TEST_F(play_draw_test, centres_the_fitted_cover_in_its_box)
{
    load_part({"|<album_cover x=\"10\" y=\"20\" width=\"100\" height=\"100\"/>"});
    set_track();
    draw();
    hold_cover(100, 50, 0xFFFF0000);
    mark_redraw();
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_TRUE(draw()) << "the fitted cover asks for a frame";
    EXPECT_EQ(pixel(10, 45), 0xF800);
    EXPECT_EQ(pixel(109, 94), 0xF800);
    EXPECT_EQ(pixel(10, 44), 0xFFFF);
    EXPECT_EQ(pixel(10, 95), 0xFFFF);
    EXPECT_EQ(pixel(9, 50), 0xFFFF);
    EXPECT_EQ(pixel(110, 50), 0xFFFF);
}

TEST_F(play_draw_test, fits_a_cover_once)
{
    load_part({"|<album_cover width=\"50\" height=\"50\"/>"});
    set_track();
    draw();
    hold_cover();
    mark_redraw();
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    const image *fitted = nullptr;
    {
        const sys_guard guard(play_view_lock);
        fitted = play_view.cover_scaled;
    }
    ASSERT_NE(fitted, nullptr);
    EXPECT_NE(fitted->rgb565, nullptr) << "at the depth of the screen";
    for (int i = 0; i < 5; i++) {
        mark_redraw();
        draw();
    }
    EXPECT_EQ(thread_running(), 0);
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_scaled, fitted);
}

TEST_F(play_draw_test, outlines_elements_on_request)
{
    const std::string elements =
        "<rect x=\"10\" y=\"10\" width=\"20\" height=\"20\" color=\"#0000ff\"/>"
        "<text x=\"50\" y=\"10\" width=\"20\" height=\"20\"/>"
        "<img x=\"90\" y=\"10\" width=\"20\" height=\"20\"/>"
        "<text x=\"130\" y=\"10\" width=\"20\"/>"
        "<text x=\"170\" y=\"10\" width=\"20\" height=\"20\" show=\"play\"/>"
        "<rect x=\"20\" y=\"10\" width=\"20\" height=\"20\" color=\"#0000ff\"/>";
    for (const bool by_skin : {false, true}) {
        cfg_debug = by_skin ? 0 : 1;
        load_part({(by_skin ? "debug=\"1\"|" : "|") + elements}, by_skin ? "a" : "b");
        draw();
        for (const int32_t x : {10, 50, 90}) {
            EXPECT_EQ(pixel(x, 10), 0xF800) << x;
            EXPECT_EQ(pixel(x + 19, 29), 0xF800) << x;
            EXPECT_EQ(pixel(x, 29), 0xF800) << x;
            EXPECT_EQ(pixel(x + 19, 10), 0xF800) << x;
            EXPECT_EQ(pixel(x + 20, 9), 0xFFFF) << x;
        }
        EXPECT_EQ(pixel(29, 20), 0xF800) << "outlines lie on top";
        EXPECT_EQ(pixel(15, 15), 0x001F);
        EXPECT_EQ(pixel(130, 10), 0xFFFF);
        EXPECT_EQ(pixel(170, 10), 0xFFFF);
    }
    cfg_debug = 0;
    load_part({"|" + elements}, "c");
    draw();
    EXPECT_EQ(pixel(50, 10), 0xFFFF);
}

TEST_F(play_draw_test, survives_boxes_at_the_ends_of_numbers)
{
    cfg_debug = 1;
    load_part({"|<album_cover x=\"2147483647\" y=\"2147483647\" width=\"100\" height=\"100\"/>"
               "<album_cover width=\"-2147483648\" height=\"-2147483648\"/>"
               "<text x=\"2147483647\" y=\"50\" width=\"2147483647\" height=\"2147483647\"/>"
               "<text x=\"100\" y=\"100\" width=\"2147483647\" height=\"2147483647\"/>"
               "<text x=\"-2147483648\" y=\"-2147483648\" width=\"-1\" height=\"-1\"/>"
               "<lyrics y=\"2147483647\" width=\"9\" height=\"2147483647\"/>"});
    set_track();
    draw();
    hold_cover();
    hold_lyrics({{1, "a"}, {1, "b"}});
    {
        const sys_guard guard(play_view_lock);
        play_view.cover_scaled = image_create(30, 30);
    }
    play_pos = 1;
    EXPECT_TRUE(draw());
    EXPECT_EQ(pixel(160, 50), 0xFFFF);
    EXPECT_EQ(pixel(100, 200), 0xF800) << "what is on the screen of a box has its outline";
    EXPECT_EQ(pixel(300, 100), 0xF800);
    EXPECT_EQ(pixel(300, 200), 0xFFFF);
}

/* Whatever changes from one picture to the next, it looks as if all of it had been drawn. */
TEST_F(play_draw_test, what_is_drawn_in_parts_looks_like_the_whole)
{
    load_part({"|<rect x=\"0\" y=\"0\" width=\"320\" height=\"40\" color=\"#102030\"/>"
               "<text x=\"5\" y=\"5\" width=\"80\" height=\"20\" font_size=\"16\" "
               "font_color=\"#ff8800\" format=\"$mins:$02secs\"/>"
               "<rect x=\"20\" y=\"10\" width=\"200\" height=\"90\" color=\"#334455\" "
               "show=\"pause\"/>"
               "<lyrics x=\"5\" y=\"60\" width=\"200\" height=\"60\" font_size=\"13\"/>"
               "<text x=\"100\" y=\"200\" font_size=\"18\" format=\"$title\"/>"});
    set_track();
    hold_lyrics({{3000, "one"}, {6000, "two lines of it"}, {9000, "three"}});
    uint32_t noise = seed_or(1);
    for (int round = 0; round < 120; round++) {
        noise = noise * 1664525 + 1013904223;
        play_pos = static_cast<int32_t>((noise >> 8) % 12000);
        play_paused = noise >> 30 == 0;
        play_screen.redraw = 1;
        EXPECT_TRUE(draw());
        const texts in_parts_texts = shown_texts();
        const fb_surface *shown = play_screen.surface;
        const std::vector<uint16_t> in_parts(shown->pixels, shown->pixels + 320 * 240);
        if (round % 3 != 0)
            continue; /* what follows draws everything */
        play_draw_reset();
        play_screen.redraw = 1;
        EXPECT_TRUE(draw());
        shown = play_screen.surface;
        EXPECT_EQ(shown_texts(), in_parts_texts) << round;
        EXPECT_EQ(std::vector<uint16_t>(shown->pixels, shown->pixels + 320 * 240), in_parts)
            << round;
    }
}

TEST_F(play_draw_test, a_new_second_changes_no_more_than_its_place)
{
    load_part({"|<text x=\"5\" y=\"5\" width=\"80\" height=\"20\" font_size=\"16\" "
               "format=\"$mins:$02secs\"/>"
               "<text x=\"100\" y=\"200\" font_size=\"18\" format=\"what stays\"/>"});
    set_track();
    EXPECT_TRUE(draw());
    play_pos = 1000;
    EXPECT_TRUE(draw());
    const fb_changes &changes = play_screen.surface->changes;
    ASSERT_TRUE(changes.partial);
    ASSERT_EQ(changes.count, 1u);
    EXPECT_EQ(changes.rects[0].x, 5);
    EXPECT_EQ(changes.rects[0].w, 80);
    EXPECT_LE(changes.rects[0].h, 28) << "the box and what letters reach beyond it";
    EXPECT_EQ(shown_texts(), (texts{"0:01", "what stays"}));
}

TEST_F(play_draw_test, draws_an_empty_screen_without_a_part)
{
    EXPECT_TRUE(draw());
    EXPECT_EQ(pixel(160, 120), 0xFFFF);
}

TEST_F(play_draw_test, draws_bars_and_images_of_the_skin)
{
    ASSERT_EQ(mkdir("pack", 0755), 0);
    write_png("pack/bar.png", 10, 10, 0xFF0000FF);
    scratch_write("pack/play.xml",
                  "<skin version=\"0.1\"><scroll x=\"0\" y=\"0\" width=\"100\" height=\"10\" "
                  "type=\"fill-x\" action=\"battery\" src=\"bar.png\"/>"
                  "<img x=\"200\" y=\"0\" src=\"bar.png\"/></skin>");
    ASSERT_EQ(play_layout_load_skin("pack"), 0);
    draw();
    EXPECT_EQ(pixel(56, 5), 0x001F);
    EXPECT_EQ(pixel(57, 5), 0xFFFF);
    EXPECT_EQ(pixel(205, 5), 0x001F);
}

TEST_F(play_draw_test, a_wish_wakes_the_main_loop)
{
    static std::atomic<int> wakes{0};
    device counting = hand_clock;
    counting.wake = [] { wakes++; };
    device_current = &counting;
    play_screen.redraw = 0;
    play_view_request_redraw();
    device_current = &hand_clock;
    EXPECT_EQ(play_screen.redraw, 1);
    EXPECT_EQ(wakes, 1);
}

TEST_F(play_draw_test, keeps_a_wish_that_comes_while_it_draws)
{
    load_part({"|<text format=\"$battery\"/>"});
    draw();
    mark_redraw();
    in_battery = [] { std::thread(play_view_request_redraw).join(); };
    EXPECT_TRUE(draw());
    in_battery = nullptr;
    EXPECT_TRUE(draw());
    EXPECT_FALSE(draw());
}
