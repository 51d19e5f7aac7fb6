#include "view/play/play_cover.h"

#include "makers/maker_audio.h"
#include "platform/base/fault.h"
#include "support/allocations.h"
#include "support/png_bytes.h"
#include "unit/view/play/play_fixture.h"

#include <jpeglib.h>
#include <png.h>

constexpr uint32_t blue = 0xFF0000FF;

/* Red. */
static std::string jpeg_bytes(uint32_t width, uint32_t height)
{
    jpeg_compress_struct encoder;
    jpeg_error_mgr errors;
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char *data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &data, &size);
    encoder.image_width = width;
    encoder.image_height = height;
    encoder.input_components = 3;
    encoder.in_color_space = JCS_RGB;
    jpeg_set_defaults(&encoder);
    jpeg_start_compress(&encoder, TRUE);
    std::vector<JSAMPLE> row(width * 3);
    for (size_t i = 0; i < row.size(); i += 3)
        row[i] = 255;
    JSAMPROW rows[] = {row.data()};
    while (encoder.next_scanline < encoder.image_height)
        jpeg_write_scanlines(&encoder, rows, 1);
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    free(data);
    return bytes;
}

static void write_track(const std::string &path, const std::string &cover,
                        const std::string &mime = "image/jpeg")
{
    maker_file file;
    file.cover = cover;
    file.cover_mime = mime;
    ASSERT_EQ(maker_track(path, file), 0);
}

/* "WIDTHxHEIGHT" of the picture in a file, "none" without one. */
static std::string picture_of(const std::string &path)
{
    image *picture = tag_image_read(path.c_str());
    if (!picture)
        return "none";
    const std::string size = std::to_string(picture->width) + "x" + std::to_string(picture->height);
    (void)image_free(picture);
    return size;
}

struct play_cover_test : play_test {
    static void ask()
    {
        start_cover_loader();
        ASSERT_EQ(thread_settle(10000), 0);
    }
    /* "" without a cover. */
    static std::string held()
    {
        const sys_guard guard(play_view_lock);
        const play_cover *cover = play_view.cover_image;
        return cover ? std::to_string(cover->width) + "x" + std::to_string(cover->height) : "";
    }
    static uint32_t loaded_for()
    {
        const sys_guard guard(play_lock);
        return cover_loaded_for;
    }
};

using tag_image = play_cover_test;

TEST_F(tag_image, reads_jpeg_and_png)
{
    write_track("a.mp3", jpeg_bytes(30, 20));
    write_track("b.mp3", jpeg_bytes(30, 20), "image/jpg");
    write_track("c.mp3", png_bytes(40, 10, blue), "image/png");
    EXPECT_EQ(picture_of("a.mp3"), "30x20");
    EXPECT_EQ(picture_of("b.mp3"), "30x20");
    EXPECT_EQ(picture_of("c.mp3"), "40x10");
}

TEST_F(tag_image, takes_the_mime_type_by_the_letter)
{
    for (const char *mime : {"IMAGE/JPEG", "image/gif", "image/Png", "image/", "JPG", "", "-->"}) {
        write_track("a.mp3", jpeg_bytes(30, 20), mime);
        EXPECT_EQ(picture_of("a.mp3"), "none") << mime;
    }
}

/* A picture frame of its own making: one more than the tag writer would put there. */
static std::string picture_frame(const std::string &mime, char kind, const std::string &data)
{
    const std::string body =
        std::string(1, '\0') + mime + std::string(1, '\0') + kind + std::string(1, '\0') + data;
    const size_t size = body.size();
    std::string head = "APIC";
    for (const int shift : {24, 16, 8, 0})
        head += static_cast<char>(size >> shift & 0xff);
    return head + std::string(2, '\0') + body;
}

static std::string tag_with(const std::string &frames)
{
    std::string head("ID3\3\0\0", 6);
    for (const int shift : {21, 14, 7, 0})
        head += static_cast<char>(frames.size() >> shift & 0x7f);
    return head + frames;
}

TEST_F(tag_image, takes_the_first_picture_whatever_it_shows)
{
    const std::string sound = maker_mp3_bytes(maker_sine(440, 0.2));
    const std::string back = picture_frame("image/png", 4, png_bytes(11, 11, blue));
    const std::string front = picture_frame("image/png", 3, png_bytes(22, 22, blue));
    ASSERT_EQ(maker_audio_save("a.mp3", tag_with(back + front) + sound), 0);
    EXPECT_EQ(picture_of("a.mp3"), "11x11");
    const std::string other = picture_frame("image/gif", 3, png_bytes(33, 33, blue));
    ASSERT_EQ(maker_audio_save("b.mp3", tag_with(other + front) + sound), 0);
    EXPECT_EQ(picture_of("b.mp3"), "none") << "only the first one is looked at";
}

TEST_F(tag_image, finds_none_where_there_is_none)
{
    ASSERT_EQ(maker_track("plain.mp3"), 0);
    maker_file untagged;
    untagged.id3.version = 0;
    ASSERT_EQ(maker_track("untagged.mp3", untagged), 0);
    scratch_write("empty.mp3", "");
    scratch_write("garbage.mp3", std::string(5000, '\x55'));
    for (const char *path :
         {"plain.mp3", "untagged.mp3", "empty.mp3", "garbage.mp3", "missing.mp3", ".", ""})
        EXPECT_EQ(picture_of(path), "none") << path;
}

TEST_F(tag_image, finds_none_in_other_formats)
{
    maker_file file;
    file.cover = png_bytes(5, 5, blue);
    file.cover_mime = "image/png";
    ASSERT_EQ(maker_track("a.flac", file), 0);
    ASSERT_EQ(maker_track("a.ogg", file), 0);
    EXPECT_EQ(picture_of("a.flac"), "none");
    EXPECT_EQ(picture_of("a.ogg"), "none");
}

TEST_F(tag_image, survives_a_broken_picture)
{
    const std::string good = jpeg_bytes(300, 200);
    write_track("a.mp3", "no picture at all");
    write_track("b.mp3", good.substr(0, 20));
    write_track("c.mp3", "");
    write_track("d.mp3", png_bytes(30, 20, blue).substr(0, 40), "image/png");
    for (const char *path : {"a.mp3", "b.mp3", "c.mp3", "d.mp3"})
        EXPECT_EQ(picture_of(path), "none") << path;
}

TEST_F(tag_image, survives_a_tag_cut_at_any_place)
{
    const std::string frame = picture_frame("image/png", 3, png_bytes(4, 4, blue));
    const std::string whole = tag_with(frame);
    for (size_t size = 0; size < whole.size(); size += 7) {
        ASSERT_EQ(maker_audio_save("cut.mp3", whole.substr(0, size)), 0);
        (void)picture_of("cut.mp3");
    }
}

TEST_F(play_cover_test, is_loaded_off_the_main_thread_and_asks_for_a_frame)
{
    write_track("a.mp3", jpeg_bytes(30, 20));
    load_part({"show=\"album_cover\"|<text format=\"with\"/>", "|<text format=\"without\"/>"});
    EXPECT_EQ(layout_index(), 1u);
    set_track({.path = "a.mp3"});
    play_paused = 1;
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(held(), "30x20");
    EXPECT_EQ(layout_index(), 0u);
    draw();
    EXPECT_EQ(shown_texts(), std::vector<std::string>{"with"}) << "also while paused";
}

TEST_F(play_cover_test, is_loaded_once_a_track)
{
    write_track("a.mp3", jpeg_bytes(30, 20));
    set_track({.path = "a.mp3"});
    ask();
    EXPECT_EQ(held(), "30x20");
    ASSERT_EQ(remove("a.mp3"), 0);
    const play_cover *first = nullptr;
    {
        const sys_guard guard(play_view_lock);
        first = play_view.cover_image;
    }
    ask();
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_image, first);
}

TEST_F(play_cover_test, needs_a_track)
{
    set_track();
    set_no_track();
    ask();
    EXPECT_EQ(loaded_for(), play_handle_id);
    EXPECT_EQ(held(), "");
}

TEST_F(play_cover_test, of_a_track_that_ended_meanwhile_is_dropped)
{
    write_track("a.mp3", jpeg_bytes(1000, 1000));
    for (int i = 0; i < 20; i++) {
        set_track({.path = "a.mp3"});
        start_cover_loader();
        set_track({.path = "none.mp3"});
        draw();
        const uint32_t now = play_handle_id;
        ASSERT_EQ(thread_settle(10000), 0);
        const sys_guard guard(play_view_lock);
        if (play_view.cover_image) {
            EXPECT_EQ(play_view.cover_id, now);
        }
    }
    EXPECT_EQ(held(), "");
}

TEST_F(play_cover_test, of_a_track_that_changes_before_it_arrives_is_dropped)
{
    write_track("a.mp3", jpeg_bytes(30, 20));
    set_track({.path = "a.mp3"});
    {
        const sys_guard guard(play_view_lock);
        start_cover_loader();
        EXPECT_TRUE(wait_for_waiter(play_view_lock));
        set_track({.path = "none.mp3"});
    }
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(held(), "");
}

TEST_F(play_cover_test, of_a_closed_screen_is_dropped)
{
    write_track("a.mp3", jpeg_bytes(30, 20));
    set_track({.path = "a.mp3"});
    start_cover_loader();
    play_view_open(false);
    {
        const sys_guard guard(play_view_lock);
        play_drop_cover_locked();
    }
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(held(), "");
    set_track({.path = "a.mp3"});
    ask();
    EXPECT_EQ(held(), "");
}

TEST_F(play_cover_test, keeps_little_of_a_large_picture)
{
    write_track("a.mp3", jpeg_bytes(2000, 1000));
    set_track({.path = "a.mp3"});
    ask();
    EXPECT_EQ(held(), "2000x1000");
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_image->picture->width, 640);
    EXPECT_EQ(play_view.cover_image->picture->height, 320);
}

TEST_F(tag_image, comes_reduced_with_its_size_in_the_file)
{
    write_track("a.mp3", jpeg_bytes(300, 200));
    write_track("b.mp3", png_bytes(300, 200, blue), "image/png");
    write_track("c.mp3", "no picture at all");
    for (const char *path : {"a.mp3", "b.mp3"}) {
        int32_t width = 0, height = 0;
        image *picture = tag_image_read_reduced(path, 150, &width, &height);
        ASSERT_NE(picture, nullptr) << path;
        EXPECT_EQ(picture->width, 150);
        EXPECT_EQ(picture->height, 100);
        EXPECT_EQ(width, 300);
        EXPECT_EQ(height, 200);
        (void)image_free(picture);
        EXPECT_EQ(picture_of(path), "300x200") << "and whole on request";
    }
    int32_t width = -1, height = -1;
    EXPECT_EQ(tag_image_read_reduced("c.mp3", 150, &width, &height), nullptr);
    EXPECT_EQ(tag_image_read_reduced("missing.mp3", 150, &width, &height), nullptr);
    EXPECT_EQ(width, -1);
    EXPECT_EQ(height, -1);
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST_F(play_cover_test, of_a_huge_picture_needs_little_memory)
{
    write_track("a.mp3", jpeg_bytes(4000, 4000));
    write_track("b.mp3", png_bytes(4000, 4000, blue), "image/png");
    for (const char *path : {"a.mp3", "b.mp3"}) {
        set_track({.path = path});
        const int64_t before = allocated_bytes;
        allocated_peak = before;
        ask();
        EXPECT_LT(allocated_peak - before, 12 << 20) << path;
        EXPECT_EQ(held(), "4000x4000");
    }
}
#endif

TEST_F(play_cover_test, fits_by_the_size_of_the_picture_in_the_file)
{
    write_track("a.mp3", jpeg_bytes(801, 800));
    load_part({"|<album_cover width=\"100\" height=\"100\"/>"});
    set_track({.path = "a.mp3"});
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    int32_t width = 801, height = 800;
    ASSERT_EQ(image_resize_ratio(&width, &height, 100, 100), 0);
    const sys_guard guard(play_view_lock);
    ASSERT_NE(play_view.cover_scaled, nullptr);
    EXPECT_EQ(play_view.cover_scaled->width, width);
    EXPECT_EQ(play_view.cover_scaled->height, height);
}

TEST_F(play_cover_test, is_fitted_anew_for_another_layout)
{
    load_part({"|<album_cover width=\"50\" height=\"50\"/>",
               "|<album_cover width=\"80\" height=\"80\"/>"});
    set_track();
    draw();
    hold_cover(10, 10);
    const int32_t sides[] = {50, 80, 50};
    for (const int32_t side : sides) {
        play_screen.redraw = 1;
        draw();
        ASSERT_EQ(thread_settle(10000), 0);
        {
            const sys_guard guard(play_view_lock);
            ASSERT_NE(play_view.cover_scaled, nullptr);
            EXPECT_EQ(play_view.cover_scaled->width, side);
        }
        choose_layout(layout_index() == 0 ? 1 : 0);
    }
}

TEST_F(play_cover_test, is_fitted_once_even_when_that_fails)
{
    load_part({"|<album_cover width=\"50\" height=\"50\"/>"});
    set_track();
    draw();
    hold_cover(10, 10);
    for (const char *fault : {"image_create", static_cast<const char *>(nullptr)}) {
        fault_set(fault);
        play_screen.redraw = 1;
        draw();
        ASSERT_EQ(thread_settle(10000), 0);
        const sys_guard guard(play_view_lock);
        EXPECT_EQ(play_view.cover_scaled, nullptr);
    }
}

/* Whether a fitting was dropped because of what changed before its worker could look. */
static bool fitting_is_dropped(void (*change)())
{
    {
        const sys_guard guard(play_view_lock);
        play_drop_scaled_locked();
        play_cover_fit_locked(&play_layout_current()->elements[0], play_handle_id);
        EXPECT_TRUE(wait_for_waiter(play_view_lock));
        change();
    }
    EXPECT_EQ(thread_settle(10000), 0);
    const sys_guard guard(play_view_lock);
    return play_view.cover_scaled == nullptr;
}

TEST_F(play_cover_test, is_fitted_only_for_what_it_was_asked_for)
{
    load_part({"|<album_cover width=\"50\" height=\"50\"/>"
               "<album_cover width=\"60\" height=\"60\"/>"});
    set_track();
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    hold_cover(10, 10);
    EXPECT_FALSE(fitting_is_dropped([] {}));
    EXPECT_TRUE(fitting_is_dropped([] { set_track(); })) << "another track";
    hold_cover(10, 10);
    EXPECT_TRUE(fitting_is_dropped([] { hold_cover(20, 20); })) << "another picture";
    EXPECT_TRUE(fitting_is_dropped([] {
        const sys_guard guard(play_view_lock);
        play_view.cover_scaled_for = element(1);
    })) << "another element";
    EXPECT_TRUE(fitting_is_dropped([] {
        const sys_guard guard(play_view_lock);
        (void)choose_layout(-1);
        play_view.cover_scaled_for = element(0);
    })) << "another layout";
}

TEST_F(play_cover_test, is_not_fitted_to_a_box_without_a_size)
{
    load_part({"|<album_cover/>"});
    set_track();
    draw();
    hold_cover(10, 10);
    play_screen.redraw = 1;
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_scaled, nullptr);
}

TEST_F(play_cover_test, is_shared_by_two_elements)
{
    load_part({"|<album_cover width=\"50\" height=\"50\"/>"
               "<album_cover x=\"100\" width=\"50\" height=\"50\"/>"});
    set_track();
    draw();
    hold_cover(10, 10);
    play_screen.redraw = 1;
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    draw();
    EXPECT_EQ(thread_running(), 0);
    EXPECT_EQ(pixel(25, 25), 0xF800);
    EXPECT_EQ(pixel(125, 25), 0xF800);
}

TEST_F(play_cover_test, never_lands_on_a_part_that_replaced_its_own)
{
    set_track();
    load_part({"|<album_cover width=\"50\" height=\"50\"/>"});
    draw();
    hold_cover(10, 10);
    for (int i = 0; i < 50; i++) {
        play_screen.redraw = 1;
        draw();
        ASSERT_EQ(play_layout_load_skin("pack"), 0);
    }
    ASSERT_EQ(thread_settle(10000), 0);
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_scaled, nullptr);
}

TEST_F(play_cover_test, tries_again_after_a_thread_did_not_start)
{
    write_track("a.mp3", jpeg_bytes(30, 20));
    set_track({.path = "a.mp3"});
    fault_set("thread_start");
    ask();
    fault_set(nullptr);
    ask();
    EXPECT_EQ(held(), "30x20");
    load_part({"|<album_cover width=\"50\" height=\"50\"/>"});
    fault_set("thread_start");
    play_screen.redraw = 1;
    draw();
    fault_set(nullptr);
    play_screen.redraw = 1;
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    const sys_guard guard(play_view_lock);
    EXPECT_NE(play_view.cover_scaled, nullptr);
}

TEST_F(play_cover_test, survives_a_user_who_skips_through_two_hundred_tracks)
{
    write_track("a.mp3", jpeg_bytes(700, 700));
    write_track("b.mp3", png_bytes(50, 50, blue), "image/png");
    load_part({"show=\"album_cover\"|<album_cover width=\"50\" height=\"50\"/>",
               "|<album_cover width=\"90\" height=\"90\"/>"});
    int32_t most = 0;
    for (int i = 0; i < 200; i++) {
        set_track({.path = i % 2 ? "a.mp3" : "b.mp3"});
        draw();
        draw();
        most = std::max(most, thread_running());
        const sys_guard guard(play_view_lock);
        if (play_view.cover_image) {
            EXPECT_EQ(play_view.cover_id, play_handle_id);
        }
    }
    EXPECT_LE(most, 4) << "a loader, a fitter and those of the lyrics";
    ASSERT_EQ(thread_settle(10000), 0);
    draw();
    EXPECT_EQ(held(), "700x700");
}

/* The picture takes a while to decode and to fit; the screen goes on meanwhile. */
TEST_F(play_cover_test, of_a_huge_picture_holds_up_no_pass)
{
    write_track("a.mp3", png_bytes(4000, 4000, blue), "image/png");
    load_part({"show=\"album_cover\"|<album_cover width=\"120\" height=\"120\"/>", "|<text/>"});
    set_track({.path = "a.mp3"});
    using clock = std::chrono::steady_clock;
    const auto begin = clock::now();
    clock::duration longest{};
    const auto pass = [&] {
        play_screen.redraw = 1;
        const auto before = clock::now();
        draw();
        longest = std::max(longest, clock::now() - before);
        std::this_thread::yield();
    };
    do
        pass();
    while (thread_running() > 0 && clock::now() - begin < std::chrono::seconds(60));
    const auto total = clock::now() - begin;
    ASSERT_EQ(held(), "4000x4000");
    const auto ms = [](clock::duration span) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(span).count();
    };
    EXPECT_LT(longest, total / 4) << "longest pass " << ms(longest) << " ms of " << ms(total);
}
